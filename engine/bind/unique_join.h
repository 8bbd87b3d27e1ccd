// Joins to tables whose join column has no value twice: a row has one partner there, or none.
#ifndef MIPO_ENGINE_BIND_UNIQUE_JOIN_H
#define MIPO_ENGINE_BIND_UNIQUE_JOIN_H

#include <vector>

#include "engine/plan/bound_column.h"

namespace mipo::engine {

/// No row of a joined table.
inline constexpr ub4 no_row = 0xffffffff;

/// The rows of a joined table that go with the codes of a column of the first one.
class UniqueJoin {
public:
  /// Rows whose `left`, a column of the rows so far, equals the joined table's `right`. With `outer`, rows without
  /// partner stay. Throws QueryError, at `position`, if a value of `right` is there twice, and for types whose values
  /// cannot be equal.
  UniqueJoin(const BoundColumn &left, const BoundColumn &right, bool outer, std::size_t position);

  /// Another column of the joined table, as the rows see it.
  BoundColumn column(const host::Column &column, std::string name) const;
  /// The column of the first table that tells the rows.
  const BoundColumn &key() const { return *key_; }
  bool outer() const { return outer_; }
  /// Whether a code of the key has a row.
  bool has_row(ub8 key_code) const { return row_of(key_code) != no_row; }

private:
  ub4 row_of(ub8 key_code) const { return row_by_code_[key_code]; }

  const BoundColumn *key_;
  bool outer_;
  CodeMap<ub4> row_by_code_; // of the key
};

/// As host::equal_values(). Throws QueryError, at `position`, if the values of the two cannot be equal, and for columns
/// of more than most_join_codes.
std::vector<ub4> equal_values(const BoundColumn &from, const BoundColumn &to, std::size_t position);

/// Throws QueryError, at `position`, if the values of the two cannot be equal.
void check_comparable(const BoundColumn &a, const BoundColumn &b, std::size_t position);

} // namespace mipo::engine

#endif
