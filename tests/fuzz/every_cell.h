// Reading all that a table has: whatever was read from a file must be able to be printed.
#ifndef MIPO_TESTS_FUZZ_EVERY_CELL_H
#define MIPO_TESTS_FUZZ_EVERY_CELL_H

#include <cstdlib>
#include <string>

#include "mipo/host/table.h"
#include "mipo/host/zstd_decompressor.h"

namespace mipo::fuzz {

inline void read_every_cell(const host::Table &table) {
  host::ZstdDecompressor decompressor;
  std::string text;
  for (const host::Column &column : table.columns) {
    if (column.data.rows() != table.row_count) std::abort();
    column.data.decompress(decompressor);
    for (ub4 row = 0; row < table.row_count; ++row) {
      text.clear();
      if (column.data.append_value(text, row) != column.data.has_value(row)) std::abort();
    }
  }
}

} // namespace mipo::fuzz

#endif
