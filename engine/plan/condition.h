// WHERE and HAVING with their columns found, and joins. Nothing here depends on rows: what a query within a condition
// gives, and which codes of a key have a partner, is found when the plan runs.
#ifndef MIPO_ENGINE_PLAN_CONDITION_H
#define MIPO_ENGINE_PLAN_CONDITION_H

#include <string>
#include <variant>
#include <vector>

#include "engine/plan/column_predicate.h"
#include "engine/sql/ast.h"
#include "mipo/host/table.h"

namespace mipo::engine {

struct Plan;

/// Whether the value of a column is among those that a query gives.
struct InQueryTest {
  const BoundColumn *column = nullptr;
  const Plan *query = nullptr; ///< gives one column, whose values can be equal to the tested one's
  std::string text;
  std::size_t position = 0; ///< in the query's text
};

struct BoundCondition;
struct BoundJunction {
  Junction::Kind kind;
  std::vector<BoundCondition> operands;
};

/// A condition on rows. Negations have been pushed down to the tests.
struct BoundCondition {
  std::variant<ColumnPredicate, InQueryTest, BoundJunction> node;
  bool negated = false; ///< of an InQueryTest
};

/// A join to a table whose join column has no value twice: a row has one partner there, or none.
struct UniqueJoin {
  std::string name; ///< of the joined table in the query
  const host::Table *table;
  const BoundColumn *left;            ///< a column of the tables in front
  BoundColumn right;                  ///< the joined table's
  bool outer;                         ///< rows without partner stay
  std::size_t position;               ///< in the query
  std::vector<BoundColumn *> columns; ///< of the joined table, as the rows see them

  /// The column of the first table whose code tells the partner.
  const BoundColumn &key() const { return left->is_joined() ? *left->key : *left; }
};

} // namespace mipo::engine

#endif
