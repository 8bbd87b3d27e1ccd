// Codes back to integers and symbols, worked out one row at a time.
#ifndef MIPO_TESTS_REFERENCE_DECODE_MODEL_H
#define MIPO_TESTS_REFERENCE_DECODE_MODEL_H

#include <optional>
#include <string>
#include <vector>

#include "mipo/integers.h"

namespace mipo::reference {

/// What a call that unpacks codes leaves after, with room for `capacity` codes, from row `next_row` on. `selected` are
/// the selected rows, ascending; `codes` those of all rows.
struct Unpacked {
  std::vector<ub4> codes;
  /// Bounds of the first row not done: after the last one written, not after the next one that is wanted.
  ub4 least_next_row, greatest_next_row;
};
Unpacked unpack(const std::vector<ub4> &codes, const std::vector<ub4> &selected, ub4 next_row, ub4 capacity);

/// A dictionary: where each symbol begins after `base`, and after the last one; or one length of all symbols.
struct SymbolTable {
  ub8 base = 0;
  std::optional<ub4> one_length;
  std::vector<ub4> offsets;
};

struct DecodedSymbol {
  ub8 address;
  ub2 length;
  ub2 indicator; ///< 2: no value
};
DecodedSymbol symbol(const SymbolTable &table, ub4 code);

} // namespace mipo::reference

#endif
