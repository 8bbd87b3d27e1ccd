// Joins to tables whose join column has no value twice: a row has one partner there, or none.
#ifndef MIPO_TOOLS_JOINED_ROWS_H
#define MIPO_TOOLS_JOINED_ROWS_H

#include <vector>

#include "row_column.h"

namespace mipo::tools {

/// No row of a joined table.
inline constexpr ub4 no_row = 0xffffffff;

/// Columns with more codes from their least to their greatest are not joined by: the tables to look them up in would
/// take too much memory.
inline constexpr ub8 most_join_codes = ub8{1} << 24;

/// The rows of a joined table that go with the codes of a column of the first one.
class JoinedRows {
public:
  /// Rows whose `left`, a column of the rows so far, equals the joined table's `right`. With `outer`, rows without
  /// partner stay. Throws QueryError, at `position`, if a value of `right` is there twice, and for types whose values
  /// cannot be equal.
  JoinedRows(const RowColumn &left, const RowColumn &right, bool outer, std::size_t position);

  /// Another column of the joined table, as the rows see it.
  RowColumn column(const host::Column &column, std::string name) const;
  /// The column of the first table that tells the rows.
  const RowColumn &key() const { return *key_; }
  bool outer() const { return outer_; }
  /// Whether a code of the key has a row.
  bool has_row(ub8 key_code) const { return row_of(key_code) != no_row; }

private:
  ub4 row_of(ub8 key_code) const { return row_by_index_[key_code - index_base(key_->domain())]; }

  const RowColumn *key_;
  bool outer_;
  std::vector<ub4> row_by_index_; // of the key's codes
};

/// As host::equal_values(). Throws QueryError, at `position`, if the values of the two cannot be equal, and for columns
/// of more than most_join_codes.
std::vector<ub4> equal_values(const RowColumn &from, const RowColumn &to, std::size_t position);

/// Throws QueryError, at `position`, if the values of the two cannot be equal.
void check_comparable(const RowColumn &a, const RowColumn &b, std::size_t position);

} // namespace mipo::tools

#endif
