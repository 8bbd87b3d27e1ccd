#include "engine/bind/plan_query.h"

#include <algorithm>
#include <iterator>
#include <variant>

#include <fmt/format.h>

#include "engine/bind/bound_conditions.h"
#include "engine/bind/column_binder.h"
#include "engine/bind/result_binder.h"
#include "engine/plan/equal_values.h"
#include "engine/plan/overloaded.h"
#include "engine/sql/query_error.h"

namespace mipo::engine {
namespace {

class ConditionBinder {
public:
  ConditionBinder(const ColumnBinder &columns, const InnerQuery &inner) : columns_(columns), inner_(inner) {}

  BoundCondition condition(const Condition &condition, bool negated) const;

private:
  BoundCondition junction(const Junction &junction, bool negated) const;

  const ColumnBinder &columns_;
  const InnerQuery &inner_;
};

BoundCondition ConditionBinder::condition(const Condition &condition, bool negated) const {
  const auto test = [&](ColumnPredicate bound) -> BoundCondition {
    return {negated ? negation(std::move(bound)) : std::move(bound)};
  };
  return std::visit(
      Overloaded{
          [&](const Comparison &leaf) {
            return test(test_comparison(columns_.tested(leaf.operand), leaf.op, leaf.constant));
          },
          [&](const Between &leaf) { return test(test_between(columns_.tested(leaf.operand), leaf)); },
          [&](const InList &leaf) { return test(test_in_list(columns_.tested(leaf.operand), leaf)); },
          [&](const InQuery &leaf) {
            return BoundCondition{inner_(columns_.tested(leaf.operand), leaf), negated};
          },
          [&](const Like &leaf) { return test(test_like(columns_.tested(leaf.operand), leaf)); },
          [&](const NullTest &leaf) { return test(test_is_null(columns_.column(leaf.value), leaf.negated)); },
          [&](const Junction &node) { return junction(node, negated); },
          [&](const Negation &node) { return this->condition(node.operand.front(), !negated); },
      },
      condition.node);
}

// Operands of a junction within one of its kind are its own.
void add_operand(BoundJunction &junction, BoundCondition operand) {
  auto *inner = std::get_if<BoundJunction>(&operand.node);
  if (inner == nullptr || inner->kind != junction.kind) {
    junction.operands.push_back(std::move(operand));
    return;
  }
  std::move(inner->operands.begin(), inner->operands.end(), std::back_inserter(junction.operands));
}

BoundCondition ConditionBinder::junction(const Junction &node, bool negated) const {
  const bool conjunction = (node.kind == Junction::Kind::conjunction) != negated;
  BoundJunction bound{conjunction ? Junction::Kind::conjunction : Junction::Kind::disjunction, {}};
  for (const Condition &part : node.operands) add_operand(bound, condition(part, negated));
  return {std::move(bound)};
}

InQueryTest bind_in_query(const TestedColumn &tested, const InQuery &in, const TableFinder &find_table, Plan &plan) {
  if (tested.letter_case != LetterCase::as_is)
    throw QueryError("upper() and lower() with a sub-select are not supported yet", in.position);
  const Plan &inner = *plan.inner.emplace_back(std::make_unique<Plan>(plan_query(in.query.front(), find_table)));
  if (inner.output.size() != 1) {
    throw QueryError(fmt::format("a sub-select after IN gives one column: this one gives {}", inner.output.size()),
                     in.position);
  }
  const PlannedColumn &output = inner.output.front();
  const BoundColumn *source = source_column(output.value, inner);
  if (source == nullptr) {
    throw QueryError(fmt::format("a sub-select after IN gives values of a column: {} is calculated, which is not "
                                 "supported yet",
                                 output.name),
                     in.position);
  }
  check_comparable(*source, *tested.column, in.position);
  return {tested.column, &inner, fmt::format("{} IN {}", tested.column->name, in.text), in.position};
}

} // namespace

const BoundColumn *source_column(const BoundExpression &value, const Plan &plan) {
  if (value.kind == BoundExpression::Kind::column) return value.column;
  if (value.kind != BoundExpression::Kind::aggregate) return nullptr;
  const PlannedAggregate &aggregate = plan.aggregates[value.index];
  const bool extreme =
      aggregate.function == AggregateFunction::minimum || aggregate.function == AggregateFunction::maximum;
  return extreme && aggregate.argument->kind == BoundExpression::Kind::column ? aggregate.argument->column : nullptr;
}

bool is_number(const BoundExpression &value, const Plan &plan) {
  const BoundColumn *source = source_column(value, plan);
  return source == nullptr || host::is_number(source->type().kind);
}

Plan plan_query(const Query &query, const TableFinder &find_table) {
  std::vector<const host::Table *> tables = {&find_table(query.table)};
  for (const Join &join : query.joins) tables.push_back(&find_table(join.table));
  Plan plan;
  plan.table = tables.front();
  const ColumnBinder columns(query, tables, plan);
  const InnerQuery inner = [&](const TestedColumn &tested, const InQuery &in) {
    return bind_in_query(tested, in, find_table, plan);
  };
  if (query.where) plan.where = ConditionBinder(columns, inner).condition(*query.where, false);
  bind_result(query, columns, inner, plan);
  return plan;
}

} // namespace mipo::engine
