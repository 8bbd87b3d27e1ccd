// The output of decoders: symbols' addresses and lengths, with an indicator for those of no length. The first line of
// each symbol is fetched for the host's next step.
#ifndef MIPO_DECODE_SYMBOL_ARRAYS_H
#define MIPO_DECODE_SYMBOL_ARRAYS_H

#include "column/symbols.h"
#include "decode/unpack.h"

namespace mipo::decode {

enum Indicator : ub2 { has_value = 0, no_value = 2 };

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
  [[gnu::always_inline]] void put(ub8 row, column::Symbol symbol) {
    addresses_[row] = symbol.address;
    lengths_[row] = symbol.length;
  }
  [[gnu::always_inline]] void put_indicator(ub8 row, column::Symbol symbol) {
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
    const column::Symbol symbol = symbols.at(code_at(i));
    out.put(i, symbol);
    if constexpr (with_indicators) out.put_indicator(i, symbol);
  }
}

} // namespace mipo::decode

#endif
