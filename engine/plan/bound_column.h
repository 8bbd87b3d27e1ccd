// A column as the rows of a query see it. The rows are those of the first table; each row of it has a row of every
// joined table, or none, and which one hangs on the code that it has in a column of the first table, the key:
//
//   row ──> code of the key ──> value of the joined column        flights.origin ──> airports.state
//
#ifndef MIPO_ENGINE_PLAN_BOUND_COLUMN_H
#define MIPO_ENGINE_PLAN_BOUND_COLUMN_H

#include <optional>
#include <string>
#include <vector>

#include "engine/plan/code_map.h"
#include "mipo/host/table.h"

namespace mipo::engine {

/// Columns with more codes from their least to their greatest are not joined by: the tables to look them up in would
/// take too much memory.
inline constexpr ub8 most_join_codes = ub8{1} << 24;

struct BoundColumn {
  std::string name;                 ///< with the table's in front, if the query has several tables
  const host::Column *values;       ///< the column that the values are of
  const BoundColumn *key = nullptr; ///< of a joined column: a column of the first table
  bool nullable = false;            ///< some rows may be without value

  // Of a joined column, once its join has read the joined table:
  std::vector<ub8> ranked; ///< the codes of values that rows may have, ascending
  CodeMap<ub4> rank;       ///< by code of the key: which of these, or host::no_entry

  const host::Domain &domain() const { return values->domain(); }
  const host::ValueType &type() const { return values->type(); }
  bool is_joined() const { return key != nullptr; }
  /// The column of the first table whose codes the rows have.
  const host::Column &stored() const { return is_joined() ? *key->values : *values; }

  /// The code of the value that goes with a code of stored(); nothing if there is none.
  std::optional<ub8> value_of(ub8 stored_code) const;
  /// The code of a row's value; nothing for a NULL row. stored() must be plain or decompressed.
  std::optional<ub8> code(ub4 row) const;
};

/// What to add to a message about a column with too many codes: that it would have fewer in a dictionary, unless it is
/// one.
std::string dictionary_hint(const BoundColumn &column);

/// What to add to a message about a text column in the place of numbers: which row made it one, if only few did.
std::string number_hint(const host::Column &column);

/// A column of the first table.
BoundColumn own_column(const host::Column &column, std::string name);
/// A column of a joined table; its join fills in the rest.
BoundColumn joined_column(const host::Column &column, std::string name, const BoundColumn &key);

/// Whether kernels unpack the column's codes and look them up in sets: codes of a dictionary, of up to 32 bits.
inline bool has_code_kernels(const host::Column &column) {
  return column.data.has_dictionary() && column.data.bits() <= 32;
}

} // namespace mipo::engine

#endif
