#include "engine/run/query_result.h"
#include "engine/bind/plan_query.h"

#include <algorithm>

#include <fmt/format.h>

#include "engine/sql/query_error.h"

namespace mipo::engine {
namespace {

// What a query after IN gives: its one output column must have the values of some column.
QueryValues values_of(const QueryResult &answered, std::size_t position) {
  const Plan &plan = *answered.plan;
  if (plan.output.size() != 1) {
    throw QueryError(fmt::format("a sub-select after IN gives one column: this one gives {}", plan.output.size()),
                     position);
  }
  const PlannedColumn &output = plan.output.front();
  const BoundColumn *source = source_column(output.value, plan);
  if (source == nullptr) {
    throw QueryError(fmt::format("a sub-select after IN gives values of a column: {} is calculated, which is not "
                                 "supported yet",
                                 output.name),
                     position);
  }
  QueryValues values{own_column(*source->values, source->name), {}, false};
  const ValueSource value_source = answered.answer.values();
  for (const ub4 row : answered.answer.rows) {
    const Value value = value_source.value(output.value, row);
    if (value.is_null())
      values.has_null = true;
    else
      values.codes.push_back(value.coded()->code);
  }
  std::sort(values.codes.begin(), values.codes.end());
  values.codes.erase(std::unique(values.codes.begin(), values.codes.end()), values.codes.end());
  return values;
}

} // namespace

QueryResult answer_query(const host::Library &library, const Query &query, const TableFinder &find_table,
                         unsigned threads) {
  std::vector<const host::Table *> tables = {&find_table(query.table)};
  for (const Join &join : query.joins) tables.push_back(&find_table(join.table));
  std::vector<KernelProfile> inner_steps;
  const InnerQuery inner = [&](const InQuery &in) {
    QueryResult answered = answer_query(library, in.query.front(), find_table, threads);
    std::move(answered.answer.steps.begin(), answered.answer.steps.end(), std::back_inserter(inner_steps));
    return values_of(answered, in.position);
  };
  QueryResult answered;
  answered.plan = std::make_unique<const Plan>(plan_query(query, tables, inner));
  answered.answer = execute(library, *answered.plan, threads);
  std::vector<KernelProfile> &steps = answered.answer.steps;
  steps.insert(steps.begin(), std::make_move_iterator(inner_steps.begin()), std::make_move_iterator(inner_steps.end()));
  return answered;
}

} // namespace mipo::engine
