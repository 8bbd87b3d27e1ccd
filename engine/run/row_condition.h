// WHERE as kernel calls, once joined tables have been read and the queries within it answered.
#ifndef MIPO_ENGINE_RUN_ROW_CONDITION_H
#define MIPO_ENGINE_RUN_ROW_CONDITION_H

#include <optional>
#include <string>
#include <vector>

#include "engine/plan/condition.h"
#include "engine/plan/kernel_calls.h"
#include "engine/run/inner_queries.h"

namespace mipo::engine {

/// A condition, free of negations and of SQL's third truth value: its rows are exactly those that the query's
/// condition holds for.
struct RowCondition {
  enum class Kind { column_test, all_of, any_of };
  Kind kind = Kind::column_test;
  const BoundColumn *column = nullptr; // column_test: of the first table
  std::vector<KernelCall> calls;       // column_test: at least one, their rows are united
  std::vector<RowCondition> operands;  // all_of, any_of: at least two
  std::string text;
  std::optional<Junction::Kind> joined; // the text is several conditions, joined so
};

/// Rows that `where` (unless null) holds for and that pass `tests`; nothing if all do. Tests on joined columns become
/// tests on their keys, and tests on one column that stand beside each other become one.
std::optional<RowCondition> row_condition(const BoundCondition *where, std::vector<ColumnPredicate> tests,
                                          const InnerQueries &inner);

} // namespace mipo::engine

#endif
