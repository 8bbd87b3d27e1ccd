// What a command prints, as rows and columns of text, and its three forms: for people, for spreadsheets, for programs.
#ifndef MIPO_PROGRAM_OUTPUT_TABLE_H
#define MIPO_PROGRAM_OUTPUT_TABLE_H

#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace mipo::program {

enum class OutputFormat { table, csv, json };

enum class CellKind {
  text,
  number, // aligned to the right; a number in JSON
  truth   // "yes" or "no"; true or false in JSON
};

struct RelationColumn {
  std::string name;
  CellKind kind = CellKind::text;
};

/// Cells are made when they are printed and not kept.
struct OutputTable {
  std::vector<RelationColumn> columns;
  std::size_t row_count = 0;
  /// Appends the text of a cell to `out`; returns false for a cell without value.
  std::function<bool(std::string &out, std::size_t row, std::size_t column)> append_cell;
};

/// What of a table is shown.
struct TableLimits {
  std::size_t rows = std::numeric_limits<std::size_t>::max();
  std::size_t width = std::numeric_limits<std::size_t>::max(); ///< of a line, in characters

  /// On a terminal of this width; without one, and for whoever wants to see all, there are none.
  static TableLimits of(std::optional<std::size_t> terminal_width, bool all);
};

/// Columns aligned under their names, cells without value empty, control characters as escapes. Rows and columns past
/// the limits are left out, and a line at the end says so.
void write_table(std::ostream &out, const OutputTable &relation, const TableLimits &limits = {});

/// A header, lines that end in LF, quotes where they are needed.
void write_csv(std::ostream &out, const OutputTable &relation);

/// An array with one object a row; cells without value are null. Without a final line end.
void write_json(std::ostream &out, const OutputTable &relation);

void write(std::ostream &out, const OutputTable &relation, OutputFormat format, const TableLimits &limits = {});

} // namespace mipo::program

#endif
