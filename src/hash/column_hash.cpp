// mipo_hash_dydi: a hash for every row of a column, by the host's function. What is here is the way from the row to the
// bytes of its value.
#include "column/row_shapes.h"
#include "column/symbols.h"
#include "interface/entry_functions.h"
#include "mipo/codes.h"

namespace mipo::hash {
namespace {

using column::RowBytes;

// Codes of any width, high bit first. The word after the one that a code begins in is read too.
class AnyWidthCodes {
public:
  AnyWidthCodes(const mipo_vec *column)
      : words_(static_cast<const ub1 *>(column->data)), bits_(MIPO_VEC_ENC_CTX(column)->bits) {}

  ub4 operator[](ub4 row) const {
    const ub8 bit = ub8{row} * bits_;
    return static_cast<ub4>(simd::read_big_endian<ub8>(words_ + bit / 32 * 4) << bit % 32 >> (64 - bits_));
  }

private:
  const ub1 *words_;
  ub4 bits_;
};

class NativeCodes {
public:
  NativeCodes(const mipo_vec *column) : codes_(static_cast<const ub1 *>(column->data)) {}

  ub4 operator[](ub4 row) const { return simd::read_native<ub4>(codes_ + size_t{row} * sizeof(ub4)); }

private:
  const ub1 *codes_;
};

template <class Codes, class Symbols>
class SymbolRows {
public:
  SymbolRows(Codes codes, Symbols symbols) : codes_(codes), symbols_(symbols) {}

  RowBytes at(ub4 row) const {
    const column::Symbol symbol = symbols_.at(codes_[row]);
    return {reinterpret_cast<const ub1 *>(symbol.address), symbol.length};
  }

private:
  Codes codes_;
  Symbols symbols_;
};

struct OneSeed {
  ub8 seed;
  ub8 operator[](ub4) const { return seed; }
};
struct SeedPerRow {
  const ub8 *seeds;
  ub8 operator[](ub4 row) const { return seeds[row]; }
};

// Values with a place of their own are found by their row, the others walked over.
template <class Rows>
RowBytes value_of(Rows &rows, ub4 row) {
  if constexpr (requires { rows.at(row); })
    return rows.at(row);
  else
    return rows.take(row);
}

template <class Rows, class Seeds>
void hash_rows(ub8 *hashes, Rows rows, Seeds seeds, mipo_hash_fn *hash, ub4 count) {
  for (ub4 row = 0; row < count; ++row) {
    const RowBytes value = value_of(rows, row);
    hashes[row] = hash(value.first, value.length, seeds[row]);
  }
}

// One call of the entry, once its form is known.
struct HashCall {
  mipo_vec *res;
  const mipo_vec *column, *seeds;
  mipo_hash_fn *hash;

  template <class Rows>
  ub4 of(Rows rows) const {
    auto *const hashes = static_cast<ub8 *>(res->data);
    const auto *const seed = static_cast<const ub8 *>(seeds->data);
    if (seeds->nrows == 1)
      hash_rows(hashes, rows, OneSeed{*seed}, hash, column->nrows);
    else
      hash_rows(hashes, rows, SeedPerRow{seed}, hash, column->nrows);
    return MIPO_DONE;
  }

  template <class Codes>
  ub4 of_symbols(Codes codes) const {
    const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(column);
    if (enc_ctx->sym_varlen != 0) return of(SymbolRows(codes, column::VariableSymbols(enc_ctx)));
    const ub2 length = simd::read_big_endian<ub2>(enc_ctx->sym_len);
    return of(SymbolRows(codes, column::FixedSymbols(enc_ctx, length)));
  }
};

} // namespace
} // namespace mipo::hash

extern "C" ub4 mipo_hash_dydi(mipo_vec *res, const mipo_vec *column, const mipo_vec *seeds, mipo_hash_fn *hash, ub8) {
  using namespace mipo;
  if (!MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(seeds), MIPO_HASHED)) return MIPO_NO_KERNEL;
  const hash::HashCall call{res, column, seeds, hash};
  const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(column);
  if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_FIXED)) return call.of(column::FixedRows(column, column::fixed_width(column)));
  if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_PACKED)) return call.of_symbols(hash::AnyWidthCodes(column));
  if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_CODES)) return call.of_symbols(hash::NativeCodes(column));
  if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_LV_SEP)) return call.of(column::SeparateLengthRows(column));
  if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_LV)) return call.of(column::InlineLengthRows(column));
  if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_LP_SEP)) return call.of(column::SplitAddresses(column));
  if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_LP)) return call.of(column::AddressRows(column));
  return MIPO_NO_KERNEL;
}
