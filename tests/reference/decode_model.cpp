#include "decode_model.h"

namespace mipo::reference {

Unpacked unpack(const std::vector<ub4> &codes, const std::vector<ub4> &selected, ub4 next_row, ub4 capacity) {
  const auto rows = static_cast<ub4>(codes.size());
  Unpacked result{{}, next_row, next_row < rows ? rows : next_row};
  for (const ub4 row : selected) {
    if (row < next_row) continue;
    if (result.codes.size() == capacity) {
      result.greatest_next_row = row;
      return result;
    }
    result.codes.push_back(codes[row]);
    result.least_next_row = row + 1;
  }
  if (result.codes.size() < capacity) result.least_next_row = result.greatest_next_row;
  return result;
}

DecodedSymbol symbol(const SymbolTable &table, ub4 code) {
  DecodedSymbol decoded{};
  if (table.one_length) {
    decoded.address = table.base + ub8{code} * *table.one_length;
    decoded.length = static_cast<ub2>(*table.one_length);
  } else {
    decoded.address = table.base + table.offsets[code];
    decoded.length = static_cast<ub2>(table.offsets[code + 1] - table.offsets[code]);
  }
  decoded.indicator = decoded.length == 0 ? 2 : 0;
  return decoded;
}

} // namespace mipo::reference
