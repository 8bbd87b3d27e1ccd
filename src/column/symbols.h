// From codes to symbols: an address into the dictionary, a length; no byte of a symbol is copied.
//
//   code c ─▶ sym_offs[c] = a, sym_offs[c + 1] = b      big-endian
//             sym_base + a, length b - a                symbols of one length L: sym_base + c L, length L
#ifndef MIPO_COLUMN_SYMBOLS_H
#define MIPO_COLUMN_SYMBOLS_H

#include "mipo/vec.h"
#include "simd/simd.h"

namespace mipo::column {

struct Symbol {
  ub8 address;
  ub2 length;
};

class VariableSymbols {
public:
  explicit VariableSymbols(const mipo_enc_ctx *enc_ctx) : base_(enc_ctx->sym_base), offsets_(enc_ctx->sym_offs) {}

  [[gnu::always_inline]] Symbol at(ub4 code) const {
    const ub4 *entry = offsets_ + ub8{code};
    const ub4 start = simd::read_big_endian<ub4>(entry), end = simd::read_big_endian<ub4>(entry + 1);
    return {base_ + start, static_cast<ub2>(end - start)};
  }
  [[gnu::always_inline]] void prefetch(ub4 code) const {
    __builtin_prefetch(reinterpret_cast<const void *>(base_ + simd::read_big_endian<ub4>(offsets_ + ub8{code})));
  }

private:
  ub8 base_;
  const ub4 *offsets_;
};

class FixedSymbols {
public:
  FixedSymbols(const mipo_enc_ctx *enc_ctx, ub2 length) : base_(enc_ctx->sym_base), length_(length) {}

  [[gnu::always_inline]] Symbol at(ub4 code) const { return {base_ + ub8{code} * length_, length_}; }
  [[gnu::always_inline]] void prefetch(ub4 code) const {
    __builtin_prefetch(reinterpret_cast<const void *>(base_ + ub8{code} * length_));
  }

private:
  ub8 base_;
  ub2 length_;
};

} // namespace mipo::column

#endif
