// What a query becomes once the tables are known: columns found, constants turned into codes. Binding reads no rows; a
// plan has what an operator tree is made from.
#ifndef MIPO_ENGINE_PLAN_PLAN_H
#define MIPO_ENGINE_PLAN_PLAN_H

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "engine/plan/bound_column.h"
#include "engine/plan/condition.h"
#include "engine/plan/value.h"
#include "engine/sql/ast.h"
#include "mipo/host/table.h"

namespace mipo::engine {

/// A value of a row or of a group, with its columns found.
struct BoundExpression {
  enum class Kind {
    column,
    aggregate, ///< of a group
    constant,
    arithmetic
  };
  Kind kind = Kind::column;
  const BoundColumn *column = nullptr;   // column
  std::size_t index = 0;                 // aggregate: which of the plan's; column, in a grouped plan: which of its keys
  Value constant;                        // constant
  ArithmeticOperator op{};               // arithmetic
  std::vector<BoundExpression> operands; // arithmetic: two

  friend bool operator==(const BoundExpression &, const BoundExpression &) = default;
};

/// Calls take() with each column of the expression.
void each_column(const BoundExpression &expression, const auto &take) {
  if (expression.kind == BoundExpression::Kind::column) take(*expression.column);
  for (const BoundExpression &operand : expression.operands) each_column(operand, take);
}

struct PlannedAggregate {
  AggregateFunction function = AggregateFunction::row_count;
  std::optional<BoundExpression> argument; // a value of a row; none of row_count
  std::string text;

  friend bool operator==(const PlannedAggregate &, const PlannedAggregate &) = default;
};

struct PlannedColumn {
  std::string name;
  BoundExpression value;
};

/// A condition on the rows of the result.
struct ResultCondition {
  enum class Kind {
    coded,      ///< the value is a column's: tested by its code
    comparison, ///< with a number
    null_test,
    all_of,
    any_of,
    negation
  };
  Kind kind = Kind::coded;
  BoundExpression value;                           // coded, comparison, null_test
  std::variant<ColumnPredicate, InQueryTest> test; // coded
  ComparisonOperator op{};                         // comparison
  Value number;                                    // comparison: none if the constant is NULL
  std::vector<ResultCondition> operands;           // all_of, any_of, negation
};

struct SortKey {
  BoundExpression value;
  bool descending = false;
  bool nulls_first = true;
};

struct Plan {
  const host::Table *table = nullptr; // the first, whose rows the query's are
  std::deque<BoundColumn> columns;    // that the query names
  std::deque<UniqueJoin> joins;       // in the query's order
  std::optional<BoundCondition> where;
  std::vector<std::unique_ptr<Plan>> inner; // of the queries in conditions
  bool grouped = false;                     // the result has a row for each group; without keys all rows are one group
  std::vector<const BoundColumn *> keys;
  std::vector<PlannedAggregate> aggregates; // no two alike
  std::vector<PlannedColumn> output;
  std::optional<ResultCondition> having;
  std::vector<SortKey> order;
  bool distinct = false; // of the rows of the result
  std::optional<ub8> limit;
  ub8 offset = 0;
};

/// The column whose values the expression gives: a column itself, or the least or greatest of one. Null for numbers
/// that are calculated.
const BoundColumn *source_column(const BoundExpression &value, const Plan &plan);
/// Whether the expression gives integers, decimals or real numbers.
bool is_number(const BoundExpression &value, const Plan &plan);

} // namespace mipo::engine

#endif
