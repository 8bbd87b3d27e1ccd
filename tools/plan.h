// What a query becomes once the tables are known: columns found, constants turned into codes, conditions into kernel
// calls.
#ifndef MIPO_TOOLS_PLAN_H
#define MIPO_TOOLS_PLAN_H

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "column_test.h"
#include "mipo/host/table.h"
#include "query.h"
#include "row_column.h"
#include "value.h"

namespace mipo::tools {

/// A condition, free of negations and of SQL's third truth value: its rows are exactly those that the query's
/// condition holds for.
struct PlanNode {
  enum class Kind { column_test, all_of, any_of };
  Kind kind = Kind::column_test;
  const RowColumn *column = nullptr; // column_test: of the first table
  std::vector<KernelCall> calls;     // column_test: at least one, their rows are united
  std::vector<PlanNode> operands;    // all_of, any_of: at least two
  std::string text;
  std::optional<Junction::Kind> joined; // the text is several conditions, joined so
};

/// A value of a row or of a group, with its columns found.
struct BoundExpression {
  enum class Kind {
    column,
    aggregate, ///< of a group
    constant,
    arithmetic
  };
  Kind kind = Kind::column;
  const RowColumn *column = nullptr;     // column
  std::size_t index = 0;                 // aggregate: which of the plan's; column, in a grouped plan: which of its keys
  Value constant;                        // constant
  ArithmeticOperator op{};               // arithmetic
  std::vector<BoundExpression> operands; // arithmetic: two

  friend bool operator==(const BoundExpression &, const BoundExpression &) = default;
};

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
  BoundExpression value;                 // coded, comparison, null_test
  ColumnTest test;                       // coded
  ComparisonOperator op{};               // comparison
  Value number;                          // comparison: none if the constant is NULL
  std::vector<ResultCondition> operands; // all_of, any_of, negation
};

struct SortKey {
  BoundExpression value;
  bool descending = false;
  bool nulls_first = true;
};

struct Plan {
  const host::Table *table = nullptr; // the first, whose rows the query's are
  std::deque<RowColumn> columns;      // that the query names
  std::optional<PlanNode> where;
  bool grouped = false; // the result has a row for each group; without keys all rows are one group
  std::vector<const RowColumn *> keys;
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
const RowColumn *source_column(const BoundExpression &value, const Plan &plan);
/// Whether the expression gives integers, decimals or real numbers.
bool is_number(const BoundExpression &value, const Plan &plan);

/// Answers the query within a condition.
using InnerQuery = std::function<QueryValues(const InQuery &)>;

/// Binds a query to the tables of its FROM and its joins, in the order in which they stand there. Throws QueryError for
/// names that the tables do not have, for constants that a column cannot be compared with, for joins to several rows,
/// and for values that are neither grouped by nor aggregated. The tables, and what `inner` refers to, must outlive the
/// plan.
Plan plan_query(const Query &query, const std::vector<const host::Table *> &tables, const InnerQuery &inner);

} // namespace mipo::tools

#endif
