// From codes to symbols: an address into the dictionary, a length, and an indicator for symbols of no length. No byte
// of a symbol is copied; the first line of each is fetched for the host's next step.
//
//   code c ─▶ sym_offs[c] = a, sym_offs[c + 1] = b      big-endian
//             sym_base + a, length b - a                symbols of one length L: sym_base + c L, length L
#ifndef MIPO_DECODE_SYMBOLS_H
#define MIPO_DECODE_SYMBOLS_H

#include "decode/unpack.h"

namespace mipo::decode {

enum Indicator : ub2 { has_value = 0, no_value = 2 };

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

// The three arrays of a decoder's output. `inds` may be null.
class SymbolArrays {
public:
  explicit SymbolArrays(const mipo_vec *res)
      : addresses_(static_cast<ub8 *>(res->data)), lengths_(static_cast<ub2 *>(res->lens)), indicators_(res->inds) {}

  void clear_indicators(ub4 rows) { fill_indicators(rows, has_value); }
  void fill_empty(ub4 rows) {
    memset(lengths_, 0, ub8{rows} * sizeof(ub2));
    fill_indicators(rows, no_value);
  }
  [[gnu::always_inline]] void put(ub8 row, Symbol symbol) {
    addresses_[row] = symbol.address;
    lengths_[row] = symbol.length;
  }
  [[gnu::always_inline]] void put_indicator(ub8 row, Symbol symbol) {
    if (symbol.length == 0) indicators_[row] = no_value;
  }
  bool has_indicators() const { return indicators_ != nullptr; }

private:
  void fill_indicators(ub4 rows, Indicator indicator) {
    for (ub8 row = 0; row < rows; ++row) indicators_[row] = indicator;
  }

  ub8 *addresses_;
  ub2 *lengths_;
  ub2 *indicators_;
};

// Symbols are asked for so many rows before the one that is written.
inline constexpr ub4 symbol_rows_ahead = 16;

// Writes the symbols of `count` codes, which code_at(i) tells, some time ahead for the symbols' sake.
template <bool with_indicators, class Symbols>
[[gnu::always_inline]] inline void put_symbols(SymbolArrays &out, const Symbols &symbols, ub4 count, auto code_at) {
  for (ub4 i = 0; i < count; ++i) {
    if (i + symbol_rows_ahead < count) symbols.prefetch(code_at(i + symbol_rows_ahead));
    const Symbol symbol = symbols.at(code_at(i));
    out.put(i, symbol);
    if constexpr (with_indicators) out.put_indicator(i, symbol);
  }
}

} // namespace mipo::decode

#endif
