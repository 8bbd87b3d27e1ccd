#include "engine/run/value_source.h"

namespace mipo::engine {
namespace {

bool satisfies(std::weak_ordering order, ComparisonOperator op) {
  switch (op) {
  case ComparisonOperator::equal:
    return order == 0;
  case ComparisonOperator::not_equal:
    return order != 0;
  case ComparisonOperator::less:
    return order < 0;
  case ComparisonOperator::less_equal:
    return order <= 0;
  case ComparisonOperator::greater:
    return order > 0;
  default:
    return order >= 0;
  }
}

} // namespace

Value ValueSource::value(const BoundExpression &expression, ub4 number) const {
  switch (expression.kind) {
  case BoundExpression::Kind::column:
  case BoundExpression::Kind::aggregate:
    return read(expression, number);
  case BoundExpression::Kind::constant:
    return expression.constant;
  case BoundExpression::Kind::arithmetic:
    break;
  }
  return calculate(expression.op, value(expression.operands[0], number), value(expression.operands[1], number));
}

std::optional<bool> ValueSource::holds(const ResultCondition &condition, ub4 number) const {
  using Kind = ResultCondition::Kind;
  switch (condition.kind) {
  case Kind::coded: {
    const Value tested = value(condition.value, number);
    const auto &test = std::get<ColumnPredicate>(condition.test);
    const bool is_null = tested.is_null();
    if (is_null ? test.null_holds : test.holds.contains(tested.coded()->code)) return true;
    if (is_null ? test.null_fails : test.fails.contains(tested.coded()->code)) return false;
    return std::nullopt;
  }
  case Kind::comparison: {
    const Value tested = value(condition.value, number);
    if (tested.is_null() || condition.number.is_null()) return std::nullopt;
    return satisfies(tested <=> condition.number, condition.op);
  }
  case Kind::null_test:
    return value(condition.value, number).is_null();
  case Kind::negation: {
    const std::optional<bool> operand = holds(condition.operands.front(), number);
    return operand ? std::optional(!*operand) : std::nullopt;
  }
  case Kind::all_of:
  case Kind::any_of:
    break;
  }
  // One operand that is false settles "all of", one that is true "any of"; else an unknown one leaves it unknown.
  const bool settling = condition.kind == Kind::any_of;
  bool unknown = false;
  for (const ResultCondition &operand : condition.operands) {
    const std::optional<bool> held = holds(operand, number);
    if (held == settling) return settling;
    unknown |= !held;
  }
  return unknown ? std::nullopt : std::optional(!settling);
}

} // namespace mipo::engine
