#include "engine/bind/plan_query.h"

#include <algorithm>
#include <variant>

#include "engine/bind/bound_conditions.h"
#include "engine/bind/column_binder.h"
#include "engine/bind/result_binder.h"
#include "engine/plan/overloaded.h"

namespace mipo::engine {
namespace {

// A condition whose columns are bound: negations are pushed down to the tests, and tests on one column that stand
// beside each other are one test.
struct BoundJunction;
using BoundCondition = std::variant<ColumnPredicate, BoundJunction>;
struct BoundJunction {
  Junction::Kind kind;
  std::vector<BoundCondition> operands;
};

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
    bound = rewrite_to_key(std::move(bound));
    return negated ? negation(std::move(bound)) : std::move(bound);
  };
  return std::visit(
      Overloaded{
          [&](const Comparison &leaf) {
            return test(test_comparison(columns_.tested(leaf.operand), leaf.op, leaf.constant));
          },
          [&](const Between &leaf) { return test(test_between(columns_.tested(leaf.operand), leaf)); },
          [&](const InList &leaf) { return test(test_in_list(columns_.tested(leaf.operand), leaf)); },
          [&](const InQuery &leaf) { return test(test_in_query(columns_.tested(leaf.operand), leaf, inner_(leaf))); },
          [&](const Like &leaf) { return test(test_like(columns_.tested(leaf.operand), leaf)); },
          [&](const NullTest &leaf) { return test(test_is_null(columns_.column(leaf.value), leaf.negated)); },
          [&](const Junction &node) { return junction(node, negated); },
          [&](const Negation &node) { return this->condition(node.operand.front(), !negated); },
      },
      condition.node);
}

// Tests on one column become one test.
void add_operand(BoundJunction &junction, BoundCondition operand) {
  if (auto *inner = std::get_if<BoundJunction>(&operand); inner != nullptr && inner->kind == junction.kind) {
    for (BoundCondition &innermost : inner->operands) add_operand(junction, std::move(innermost));
    return;
  }
  if (const auto *test = std::get_if<ColumnPredicate>(&operand)) {
    for (BoundCondition &other : junction.operands) {
      auto *neighbour = std::get_if<ColumnPredicate>(&other);
      if (neighbour == nullptr || neighbour->column != test->column) continue;
      *neighbour = combination(junction.kind, *neighbour, *test);
      return;
    }
  }
  junction.operands.push_back(std::move(operand));
}

BoundCondition only_operand_of(BoundJunction junction) {
  if (junction.operands.size() == 1) return std::move(junction.operands.front());
  return junction;
}

BoundCondition ConditionBinder::junction(const Junction &node, bool negated) const {
  const bool conjunction = (node.kind == Junction::Kind::conjunction) != negated;
  BoundJunction bound{conjunction ? Junction::Kind::conjunction : Junction::Kind::disjunction, {}};
  for (const Condition &part : node.operands) add_operand(bound, condition(part, negated));
  return only_operand_of(std::move(bound));
}

// WHERE, and that each row has the partners it needs.
std::optional<BoundCondition> row_condition(const Query &query, const ColumnBinder &columns, const InnerQuery &inner) {
  BoundJunction all{Junction::Kind::conjunction, {}};
  if (query.where) add_operand(all, ConditionBinder(columns, inner).condition(*query.where, false));
  for (ColumnPredicate &test : columns.inner_join_predicates()) add_operand(all, std::move(test));
  if (all.operands.empty()) return std::nullopt;
  return only_operand_of(std::move(all));
}

PlanNode plan_node(const BoundCondition &condition) {
  PlanNode node;
  if (const auto *test = std::get_if<ColumnPredicate>(&condition)) {
    node.column = test->column;
    node.calls = kernel_calls(*test);
    node.text = test->text;
    node.joined = test->joined;
    return node;
  }
  const auto &junction = std::get<BoundJunction>(condition);
  const bool conjunction = junction.kind == Junction::Kind::conjunction;
  node.kind = conjunction ? PlanNode::Kind::all_of : PlanNode::Kind::any_of;
  node.joined = junction.kind;
  for (const BoundCondition &part : junction.operands) {
    const PlanNode &operand = node.operands.emplace_back(plan_node(part));
    if (!node.text.empty()) node.text += conjunction ? " AND " : " OR ";
    node.text += text_within(junction.kind, operand.text, operand.joined);
  }
  return node;
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

Plan plan_query(const Query &query, const std::vector<const host::Table *> &tables, const InnerQuery &inner) {
  Plan plan;
  const ColumnBinder columns(query, tables, plan.columns);
  plan.table = tables.front();
  if (const auto condition = row_condition(query, columns, inner)) plan.where = plan_node(*condition);
  bind_result(query, columns, inner, plan);
  return plan;
}

} // namespace mipo::engine
