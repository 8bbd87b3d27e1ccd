// An encoded column taken apart: what it is, and the pieces of memory that it lies in. A column made of the parts of
// another is the same column.
#ifndef MIPO_HOST_COLUMN_COLUMN_PARTS_H
#define MIPO_HOST_COLUMN_COLUMN_PARTS_H

#include <array>
#include <functional>
#include <string_view>

#include "host/column/run_table.h"
#include "host/column/value_format.h"
#include "mipo/host/column.h"

namespace mipo::host {

struct ColumnShape {
  ValueType type;
  Encoding encoding; ///< with its width
  int cut_bytes = 0; ///< trailing zero bytes that no value stores
  bool has_null = false;
  bool has_long_runs = false;
  ub8 value_count = 0, first_code = 0, code_count = 0;
  ub4 rows = 0, null_rows = 0;
  ub4 runs = 0;               ///< 0 if runs are not stored once
  ub4 decompressed_bytes = 0; ///< 0 if the column is not compressed

  /// Values in the stream.
  ub4 stored_values() const noexcept { return encoding.runs != RunForm::none ? runs : rows; }
};

enum class ColumnPart { values, lengths, positions, runs, run_index, validity, numbers, symbol_bytes, symbol_offsets };
inline constexpr std::size_t column_part_count = 9;
/// "values", "lengths", ...
std::string_view part_name(ColumnPart part) noexcept;

struct ColumnParts;

/// What of a column's contents is looked at: symbols and numbers of the dictionary, or all that the rows have.
enum class CheckedContents { dictionary, rows };
using ContentsCheck = std::function<void(const ColumnParts &, CheckedContents)>;

/// Whether a part belongs to the dictionary.
constexpr bool is_dictionary_part(ColumnPart part) noexcept {
  return part == ColumnPart::numbers || part == ColumnPart::symbol_bytes || part == ColumnPart::symbol_offsets;
}

struct ColumnParts {
  ColumnShape shape;
  std::array<AlignedBuffer, column_part_count> memory;

  AlignedBuffer &operator[](ColumnPart part) noexcept { return memory[static_cast<std::size_t>(part)]; }
  const AlignedBuffer &operator[](ColumnPart part) const noexcept { return memory[static_cast<std::size_t>(part)]; }

  /// The parts of a column, borrowed from it.
  static ColumnParts of(const EncodedColumn &column);
  /// The column, which takes the parts as they are: check_sizes() must have passed. `check` looks at the contents, when
  /// the column is first asked for that, and throws what is wrong with them.
  EncodedColumn column(ContentsCheck check) &&;
};

/// Holds the sizes of the parts against the shape, looking at no contents. Throws Error with what is wrong.
void check_sizes(const ColumnParts &parts);
/// Hold the contents against the shape, first those of the dictionary, then those of the rows: afterwards nothing that
/// is asked of the domain, and of the column, reads outside its parts. Throw Error with what is wrong.
void check_dictionary(const ColumnParts &parts);
void check_rows(const ColumnParts &parts, const Library &library);

} // namespace mipo::host

#endif
