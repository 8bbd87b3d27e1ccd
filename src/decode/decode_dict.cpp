// mipo_decode_dict_<N>bit and mipo_decode_symbol_dict_<N>bit
#include "decode/symbol_arrays.h"

#include "decode/kernels.h"

namespace mipo::decode {
namespace {

// How a dictionary tells its symbols.
enum SymbolForm : ub4 { one_length = 0, own_lengths = 1 };

ub2 symbol_length(const mipo_enc_ctx *enc_ctx) {
  return simd::read_big_endian<ub2>(enc_ctx->sym_len);
}

// The rows of the list, or all.
class DecodedRows {
public:
  DecodedRows(const mipo_vec *src, const mipo_call_ctx *ctx)
      : list_(ctx->ones_list), count_(list_ != nullptr ? ctx->ones_list_len : src->nrows) {}

  ub4 count() const { return count_; }
  // Calls take(row_at) with what turns a place into a row, so that the two ways have loops of their own.
  void with_rows(auto take) const {
    if (list_ != nullptr)
      take([list = list_](ub4 i) { return list[i]; });
    else
      take([](ub4 i) { return i; });
  }
  // All ones if there is none.
  ub4 last() const { return list_ != nullptr ? list_[sb8{count_} - 1] : count_ - 1; }

private:
  const ub4 *list_;
  ub4 count_;
};

template <unsigned bits>
void decode_rows(const DecodedRows &rows, const void *base, SymbolArrays &out, const auto &symbols, auto put) {
  const column::DictionaryCodes<bits, column::PackedLane<bits>> column(base);
  rows.with_rows([&](auto row_at) {
    put(
        out, symbols,
        rows.count(), [&](ub4 i) __attribute__((always_inline)) { return static_cast<ub4>(column.row(row_at(i))); });
  });
}

template <unsigned bits>
ub4 decode(const column::DecompressionLabels &labels, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(src);
  const DecodedRows rows(src, ctx);
  SymbolArrays out(res);
  if (enc_ctx->sym_varlen > own_lengths) return MIPO_INVALID_PARAMETER;
  if (enc_ctx->sym_varlen == own_lengths) {
    out.clear_indicators(ctx->ones_list_len);
    decode_rows<bits>(rows, column::column_base(src, ctx, labels), out, column::VariableSymbols(enc_ctx),
                      [](auto &&...arguments) { put_symbols<true>(arguments...); });
  } else if (const ub2 length = symbol_length(enc_ctx); length == 0) {
    out.fill_empty(ctx->ones_list_len);
  } else {
    out.clear_indicators(ctx->ones_list_len);
    decode_rows<bits>(rows, column::column_base(src, ctx, labels), out, column::FixedSymbols(enc_ctx, length),
                      [](auto &&...arguments) { put_symbols<false>(arguments...); });
  }
  ctx->next_row = rows.last();
  ctx->done_flags |= MIPO_DONE_DECODE;
  res->nset = rows.count();
  return MIPO_DONE;
}

// The symbols of codes in an array, or of the first codes.
template <class Code>
ub4 decode_symbols(mipo_vec *res, const mipo_vec *src, const mipo_call_ctx *ctx) {
  const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(src);
  if (enc_ctx->sym_varlen > own_lengths) return MIPO_INVALID_PARAMETER;
  SymbolArrays out(res);
  const ub4 rows = src->nrows;
  const auto put = [&](const auto &symbols) {
    const auto with_codes = [&](auto code_at) {
      if (out.has_indicators()) {
        out.clear_indicators(rows);
        put_symbols<true>(out, symbols, rows, code_at);
      } else {
        put_symbols<false>(out, symbols, rows, code_at);
      }
    };
    if (src->data == nullptr)
      with_codes([](ub4 i) { return i; });
    else if (sizeof(Code) < sizeof(ub4) && (ctx->eval_flags & MIPO_EVAL_WIDE_CODES) != 0)
      with_codes([codes = static_cast<const ub4 *>(src->data)](ub4 i) { return codes[i]; });
    else
      with_codes([codes = static_cast<const Code *>(src->data)](ub4 i) -> ub4 { return codes[i]; });
  };
  if (enc_ctx->sym_varlen == own_lengths)
    put(column::VariableSymbols(enc_ctx));
  else
    put(column::FixedSymbols(enc_ctx, symbol_length(enc_ctx)));
  res->nset = rows;
  return MIPO_DONE;
}

} // namespace
} // namespace mipo::decode

extern "C" {
#define DEFINE_DECODE(width, ...)                                                             \
  ub4 mipo_decode_dict_##width##bit(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) { \
    static constexpr mipo::column::DecompressionLabels labels =                               \
        MIPO_DECOMPRESSION_LABELS("mipo_decode_dict_" #width "bit");                          \
    return mipo::decode::decode<width>(labels, res, src, ctx);                                \
  }
FOR_EACH_CODE_WIDTH_TO_32(DEFINE_DECODE, )
#undef DEFINE_DECODE

ub4 mipo_decode_symbol_dict_8bit(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  return mipo::decode::decode_symbols<ub1>(res, src, ctx);
}
ub4 mipo_decode_symbol_dict_16bit(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  return mipo::decode::decode_symbols<ub2>(res, src, ctx);
}
ub4 mipo_decode_symbol_dict_32bit(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  return mipo::decode::decode_symbols<ub4>(res, src, ctx);
}
}
