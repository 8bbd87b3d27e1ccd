// What a query becomes once the table is known: columns found, constants turned into codes, conditions into kernel
// calls.
#ifndef MIPO_TOOLS_PLAN_H
#define MIPO_TOOLS_PLAN_H

#include <optional>
#include <string>
#include <vector>

#include "code_set.h"
#include "mipo/host/table.h"
#include "mipo/keys.h"
#include "query.h"

namespace mipo::tools {

/// One call of a predicate kernel, or of the kernel for sets of codes.
struct KernelCall {
  mipo_operation operation;
  ub8 lo = 0; // the constant of a one-sided operation
  ub8 hi = 0;
  bool sees_null_code = false; // whether code 0 is looked at like any other
  bool complemented = false;   // the rows that the kernel leaves out are meant
  CodeSet set;                 // of MIPO_OP_SET
  std::string text;            // the condition that the call stands for
};

/// A condition, free of negations and of SQL's third truth value: its rows are exactly those that the query's
/// condition holds for.
struct PlanNode {
  enum class Kind { column_test, all_of, any_of };
  Kind kind = Kind::column_test;
  const host::Column *column = nullptr; // column_test
  std::vector<KernelCall> calls;        // column_test: at least one, their rows are united
  std::vector<PlanNode> operands;       // all_of, any_of: at least two
  std::string text;
  std::optional<Junction::Kind> joined; // the text is several conditions, joined so
};

struct PlannedColumn {
  std::string name;
  OutputItem::Kind kind = OutputItem::Kind::column; // not all_columns: those are planned one by one
  const host::Column *column = nullptr;             // null: the number of rows
};

struct Plan {
  const host::Table *table = nullptr;
  std::vector<PlannedColumn> output;
  std::optional<PlanNode> where;
  std::optional<ub8> limit;

  /// Whether the output is one row of values made of all rows.
  bool aggregates() const { return is_aggregate(output.front().kind); }
};

/// Binds a query to the table that its FROM names. Throws QueryError for names that the table does not have and for
/// constants that a column cannot be compared with. The table must outlive the plan.
Plan plan_query(const Query &query, const host::Table &table);

} // namespace mipo::tools

#endif
