// A table in memory: named columns of one length.
#ifndef MIPO_HOST_TABLE_H
#define MIPO_HOST_TABLE_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mipo/host/column.h"

namespace mipo::host {

/// What keeps a column from being one of numbers: a text, and the line of the file that it stands in first.
struct NotANumber {
  std::string text;
  ub8 line;
};

struct Column {
  std::string name;
  EncodedColumn data;
  ub8 text_bytes = 0; ///< of the fields it was made from
  /// Of a text column that was read from text, all but a few of whose values are numbers: the first that is none.
  std::optional<NotANumber> not_a_number = std::nullopt;

  const ValueType &type() const noexcept { return data.type(); }
  const Domain &domain() const noexcept { return data.domain(); }
  /// Throws ArgumentError if the column has none.
  const Dictionary &dictionary() const { return data.dictionary(); }
};

struct Table {
  std::string name;
  ub4 row_count = 0;
  ub8 text_bytes = 0; ///< of the file it was read from, once decompressed
  char delimiter = 0; ///< of the CSV file that it was read from
  std::vector<Column> columns;

  /// The column of exactly this name, or null.
  const Column *find(std::string_view column_name) const noexcept {
    for (const Column &column : columns)
      if (column.name == column_name) return &column;
    return nullptr;
  }
};

} // namespace mipo::host

#endif
