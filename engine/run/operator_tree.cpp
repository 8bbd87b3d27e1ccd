#include "engine/run/operator_tree.h"

#include <algorithm>
#include <limits>

#include "engine/run/filter.h"
#include "engine/run/group.h"
#include "engine/run/inner_queries.h"
#include "engine/run/result_operators.h"
#include "engine/run/row_numbers.h"
#include "engine/run/table_scan.h"
#include "engine/run/translation_join.h"

namespace mipo::engine {
namespace {

constexpr ub8 no_limit = std::numeric_limits<ub8>::max();

void add_once(auto &list, auto item) {
  if (std::find(list.begin(), list.end(), item) == list.end()) list.push_back(item);
}

// All rows of the first table, with the columns of the joined ones.
std::unique_ptr<Operator> scan_and_join(RunContext &context, const Plan &plan,
                                        std::vector<const TranslationJoin *> &joins) {
  std::vector<const host::EncodedColumn *> columns;
  for (const BoundColumn &column : plan.columns) add_once(columns, &column.stored().data);
  std::unique_ptr<Operator> rows = std::make_unique<TableScan>(context, *plan.table, std::move(columns));
  for (const UniqueJoin &join : plan.joins) {
    std::vector<const host::EncodedColumn *> joined_columns = {&join.right.values->data};
    for (const BoundColumn *column : join.columns) add_once(joined_columns, &column->values->data);
    auto joined_table = std::make_unique<TableScan>(context, *join.table, std::move(joined_columns));
    auto made = std::make_unique<TranslationJoin>(context, join, std::move(rows), std::move(joined_table));
    joins.push_back(made.get());
    rows = std::move(made);
  }
  return rows;
}

} // namespace

std::unique_ptr<Output> operator_tree(RunContext &context, const Plan &plan) {
  auto inner = std::make_unique<InnerQueries>();
  for (const auto &query : plan.inner) inner->add(*query, operator_tree(context, *query));

  std::vector<const TranslationJoin *> joins;
  std::unique_ptr<Operator> rows = scan_and_join(context, plan, joins);
  if (plan.where || !joins.empty()) {
    const BoundCondition *where = plan.where ? &*plan.where : nullptr;
    rows = std::make_unique<Filter>(context, where, std::move(joins), *inner, std::move(rows));
  }

  const ub8 limit = plan.limit.value_or(no_limit);
  const bool limits = plan.limit || plan.offset != 0;
  const auto limited = [&](std::unique_ptr<Operator> all) {
    return limits ? std::make_unique<Limit>(plan.offset, limit, std::move(all)) : std::move(all);
  };
  const bool in_row_order = plan.order.empty() && !plan.distinct;
  if (plan.grouped) {
    rows = std::make_unique<Group>(context, plan, std::move(rows));
    if (plan.having) rows = std::make_unique<Having>(*plan.having, *inner, std::move(rows));
  } else {
    std::vector<const host::EncodedColumn *> read;
    std::vector<const BoundColumn *> joined;
    const auto take = [&](const BoundColumn &column) {
      add_once(read, &column.stored().data);
      if (column.is_joined()) add_once(joined, &column);
    };
    for (const PlannedColumn &planned : plan.output) each_column(planned.value, take);
    for (const SortKey &key : plan.order) each_column(key.value, take);
    rows = std::make_unique<RowNumbers>(context, std::move(read), std::move(rows));
    if (in_row_order) rows = limited(std::move(rows)); // nothing is looked up for rows that are not shown
    if (!joined.empty()) rows = std::make_unique<JoinedValues>(context, std::move(joined), std::move(rows));
  }
  if (plan.distinct) rows = std::make_unique<Distinct>(plan, std::move(rows));
  if (!plan.order.empty()) {
    const ub8 wanted = limit > no_limit - plan.offset ? no_limit : limit + plan.offset;
    rows = std::make_unique<Order>(plan, wanted, std::move(rows));
  }
  if (plan.grouped || !in_row_order) rows = limited(std::move(rows));
  return std::make_unique<Output>(plan, std::move(inner), std::move(rows));
}

} // namespace mipo::engine
