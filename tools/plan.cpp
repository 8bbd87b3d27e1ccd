#include "plan.h"

#include <algorithm>
#include <variant>

#include "column_binder.h"
#include "column_test.h"
#include "overloaded.h"
#include "result_binder.h"

namespace mipo::tools {
namespace {

// A condition whose columns are bound: negations are pushed down to the tests, and tests on one column that stand
// beside each other are one test.
struct BoundJunction;
using BoundCondition = std::variant<ColumnTest, BoundJunction>;
struct BoundJunction {
  Junction::Kind kind;
  std::vector<BoundCondition> operands;
};

class ConditionBinder {
public:
  explicit ConditionBinder(const ColumnBinder &columns) : columns_(columns) {}

  BoundCondition condition(const Condition &condition, bool negated) const;

private:
  BoundCondition junction(const Junction &junction, bool negated) const;

  const ColumnBinder &columns_;
};

BoundCondition ConditionBinder::condition(const Condition &condition, bool negated) const {
  const auto test = [&](ColumnTest bound) -> BoundCondition {
    return negated ? negation(std::move(bound)) : std::move(bound);
  };
  return std::visit(
      Overloaded{
          [&](const Comparison &leaf) {
            return test(test_comparison(columns_.tested(leaf.operand), leaf.op, leaf.constant));
          },
          [&](const Between &leaf) { return test(test_between(columns_.tested(leaf.operand), leaf)); },
          [&](const InList &leaf) { return test(test_in_list(columns_.tested(leaf.operand), leaf)); },
          [&](const Like &leaf) { return test(test_like(columns_.tested(leaf.operand), leaf)); },
          [&](const NullTest &leaf) { return test(test_is_null(columns_.column(leaf.value), leaf.negated)); },
          [&](const Junction &node) { return junction(node, negated); },
          [&](const Negation &node) { return this->condition(node.operand.front(), !negated); },
      },
      condition.node);
}

BoundCondition ConditionBinder::junction(const Junction &node, bool negated) const {
  const bool conjunction = (node.kind == Junction::Kind::conjunction) != negated;
  BoundJunction bound{conjunction ? Junction::Kind::conjunction : Junction::Kind::disjunction, {}};
  const auto add = [&](BoundCondition &&operand) {
    if (auto *test = std::get_if<ColumnTest>(&operand)) {
      for (BoundCondition &other : bound.operands) {
        auto *neighbour = std::get_if<ColumnTest>(&other);
        if (neighbour == nullptr || neighbour->column != test->column) continue;
        *neighbour = combination(bound.kind, *neighbour, *test);
        return;
      }
    }
    bound.operands.push_back(std::move(operand));
  };
  for (const Condition &part : node.operands) {
    BoundCondition operand = condition(part, negated);
    auto *inner = std::get_if<BoundJunction>(&operand);
    if (inner == nullptr || inner->kind != bound.kind) {
      add(std::move(operand));
    } else {
      for (BoundCondition &innermost : inner->operands) add(std::move(innermost));
    }
  }
  if (bound.operands.size() == 1) return std::move(bound.operands.front());
  return bound;
}

PlanNode plan_node(const BoundCondition &condition) {
  PlanNode node;
  if (const auto *test = std::get_if<ColumnTest>(&condition)) {
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

const host::Column *source_column(const BoundExpression &value, const Plan &plan) {
  if (value.kind == BoundExpression::Kind::column) return value.column;
  if (value.kind != BoundExpression::Kind::aggregate) return nullptr;
  const PlannedAggregate &aggregate = plan.aggregates[value.index];
  const bool extreme =
      aggregate.function == AggregateFunction::minimum || aggregate.function == AggregateFunction::maximum;
  return extreme && aggregate.argument->kind == BoundExpression::Kind::column ? aggregate.argument->column : nullptr;
}

bool is_number(const BoundExpression &value, const Plan &plan) {
  const host::Column *source = source_column(value, plan);
  return source == nullptr || source->type().kind == host::ValueKind::integer ||
         source->type().kind == host::ValueKind::decimal;
}

Plan plan_query(const Query &query, const host::Table &table) {
  const ColumnBinder columns(query.table, table);
  Plan plan;
  plan.table = &table;
  if (query.where) plan.where = plan_node(ConditionBinder(columns).condition(*query.where, false));
  bind_result(query, columns, plan);
  return plan;
}

} // namespace mipo::tools
