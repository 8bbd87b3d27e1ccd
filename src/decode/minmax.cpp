// mipo_minmax_dict_<N>bit[_null]
#include "decode/minmax.h"

#include "decode/kernels.h"

namespace mipo::decode {

Stretch all_runs(const mipo_vec *src, mipo_call_ctx *ctx) {
  const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(src);
  const Stretch left = column::with_runs(enc_ctx, [&](auto runs) -> Stretch {
    column::RunCursor cursor(runs, enc_ctx, ctx);
    if (ctx->next_row >= src->nrows || !cursor.find(ctx->next_row)) return {0, 0};
    ctx->run_index = enc_ctx->run_count - 1;
    ctx->run_end = src->nrows;
    return {cursor.run(), enc_ctx->run_count};
  });
  ctx->next_row = src->nrows;
  return left;
}

template <bool null_aware>
[[gnu::noinline]] void take_selected_runs(RunCodes &codes, const mipo_vec *src, mipo_call_ctx *ctx,
                                          Extremes &extremes) {
  column::with_runs(MIPO_VEC_ENC_CTX(src), [&](auto runs) {
    column::RunCursor cursor(runs, MIPO_VEC_ENC_CTX(src), ctx);
    column::SelectedRows rows(src, ctx);
    Extremes local = extremes;
    ub4 taken_up_to = 0; // rows below have the run that was taken last
    rows.each([&](ub4 row) {
      if (row < taken_up_to) [[likely]]
        return true;
      if (!cursor.find(row)) return false;
      taken_up_to = cursor.end();
      local.take(codes[cursor.run()], null_aware);
      return !local.settled();
    });
    extremes = local;
    ctx->next_row = rows.end();
    cursor.store(ctx);
  });
}
template void take_selected_runs<false>(RunCodes &, const mipo_vec *, mipo_call_ctx *, Extremes &);
template void take_selected_runs<true>(RunCodes &, const mipo_vec *, mipo_call_ctx *, Extremes &);

ub4 report(const Extremes &extremes, mipo_vec *res, const mipo_enc_ctx *enc_ctx) {
  const bool found = extremes.least() != enc_ctx->sym_count;
  if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_RLE)) res->nset = found ? 2 : 0;
  if (!found) return MIPO_EMPTY;
  const ub4 result[2] = {extremes.least(), extremes.greatest()};
  memcpy(res->data, result, sizeof result);
  return MIPO_DONE;
}

namespace {

// Codes below a byte are unpacked in lanes that can be multiplied, all others in the narrowest that hold them.
template <unsigned bits>
using MinMaxLane = std::conditional_t<(bits > 1 && bits < 8) || bits == 16, ub2, column::PackedLane<bits>>;

template <unsigned bits, mipo_variant variant>
ub4 minmax_of_width(const MinMaxLabels &labels, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx, ub8 mode) {
  constexpr bool null_aware = variant == MIPO_VARIANT_NULL_AWARE;
  using Column = column::DictionaryCodes<bits, MinMaxLane<bits>>;
  return minmax<Column, bits, null_aware>(labels, res, src, ctx, mode);
}

} // namespace
} // namespace mipo::decode

extern "C" {
#define DEFINE_MINMAX(width, suffix, VARIANT)                                                                   \
  ub4 mipo_minmax_dict_##width##bit##suffix(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx, ub8 mode) { \
    static constexpr mipo::decode::MinMaxLabels labels = {                                                      \
        MIPO_DECOMPRESSION_LABELS("mipo_minmax_dict_" #width "bit" #suffix),                                    \
        "mipo_minmax_dict_" #width "bit" #suffix ": [rle] ones_vec size is zero"};                              \
    return mipo::decode::minmax_of_width<width, MIPO_VARIANT_##VARIANT>(labels, res, src, ctx, mode);           \
  }
FOR_EACH_CODE_WIDTH_TO_32(DEFINE_MINMAX, , PLAIN)
FOR_EACH_CODE_WIDTH_TO_32(DEFINE_MINMAX, _null, NULL_AWARE)
#undef DEFINE_MINMAX
}
