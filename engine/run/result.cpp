#include "engine/run/result.h"

#include <algorithm>
#include <numeric>

namespace mipo::engine {
namespace {

using Ranks = std::vector<ub8>; // by candidate: numbers that order as their values do

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

std::vector<std::size_t> numbers_to(std::size_t count) {
  std::vector<std::size_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), std::size_t{0});
  return numbers;
}

// Ranks from 1; 0 is for no value.
Ranks ranks_of(const BoundExpression &expression, const Plan &plan, const ValueSource &source,
               const std::vector<ub4> &candidates) {
  Ranks ranks(candidates.size());
  if (source_column(expression, plan) != nullptr) {
    for (std::size_t i = 0; i < candidates.size(); ++i) {
      const Value value = source.value(expression, candidates[i]);
      ranks[i] = value.is_null() ? 0 : value.coded()->code + 1;
    }
    return ranks;
  }
  std::vector<Value> values;
  values.reserve(candidates.size());
  for (const ub4 number : candidates) values.push_back(source.value(expression, number));
  std::vector<std::size_t> order = numbers_to(candidates.size());
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return values[a] < values[b]; });
  ub8 rank = 0;
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (values[order[i]].is_null()) continue;
    if (rank == 0 || values[order[i - 1]] < values[order[i]]) ++rank;
    ranks[order[i]] = rank;
  }
  return ranks;
}

void keep_first_of_each(const Plan &plan, const ValueSource &source, std::vector<ub4> &candidates) {
  std::vector<Ranks> ranks;
  for (const PlannedColumn &column : plan.output) ranks.push_back(ranks_of(column.value, plan, source, candidates));
  std::vector<std::size_t> order = numbers_to(candidates.size());
  const auto compare = [&](std::size_t a, std::size_t b) {
    for (const Ranks &of_column : ranks)
      if (const auto ordering = of_column[a] <=> of_column[b]; ordering != 0) return ordering;
    return std::strong_ordering::equal;
  };
  std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    const auto ordering = compare(a, b);
    return ordering != 0 ? ordering < 0 : a < b;
  });
  order.erase(std::unique(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return compare(a, b) == 0; }),
              order.end());
  std::sort(order.begin(), order.end());
  std::vector<ub4> kept;
  for (const std::size_t i : order) kept.push_back(candidates[i]);
  candidates = std::move(kept);
}

// The first `wanted` candidates in the plan's order; equal ones stay in the order in which they are.
std::vector<ub4> sorted(const Plan &plan, const ValueSource &source, const std::vector<ub4> &candidates,
                        std::size_t wanted) {
  std::vector<Ranks> ranks;
  for (const SortKey &key : plan.order) {
    Ranks of_key = ranks_of(key.value, plan, source, candidates);
    for (ub8 &rank : of_key) {
      if (rank == 0)
        rank = key.nulls_first ? 0 : ~ub8{0};
      else if (key.descending)
        rank = ~ub8{0} - rank;
    }
    ranks.push_back(std::move(of_key));
  }
  std::vector<std::size_t> order = numbers_to(candidates.size());
  const auto before = [&](std::size_t a, std::size_t b) {
    for (const Ranks &of_key : ranks)
      if (of_key[a] != of_key[b]) return of_key[a] < of_key[b];
    return a < b;
  };
  const auto end = order.begin() + static_cast<std::ptrdiff_t>(std::min(wanted, order.size()));
  if (end == order.end()) {
    // Groups come in the order of their keys, which is often the one that is asked for.
    if (!std::is_sorted(order.begin(), end, before)) std::sort(order.begin(), end, before);
  } else {
    std::partial_sort(order.begin(), end, order.end(), before);
  }
  std::vector<ub4> rows;
  std::transform(order.begin(), end, std::back_inserter(rows), [&](std::size_t i) { return candidates[i]; });
  return rows;
}

} // namespace

Value ValueSource::value(const BoundExpression &expression, std::size_t number) const {
  switch (expression.kind) {
  case BoundExpression::Kind::column: {
    if (groups_ != nullptr) return groups_->key(number, expression.index);
    const auto row = static_cast<ub4>(number);
    const BoundColumn &column = *expression.column;
    const std::optional<ub8> code = column.is_joined() ? joined_->code(column, row) : column.code(row);
    return code ? Value(CodedValue{&column.domain(), *code}) : Value();
  }
  case BoundExpression::Kind::aggregate:
    return groups_->aggregate(number, expression.index);
  case BoundExpression::Kind::constant:
    return expression.constant;
  case BoundExpression::Kind::arithmetic:
    break;
  }
  return calculate(expression.op, value(expression.operands[0], number), value(expression.operands[1], number));
}

std::optional<bool> ValueSource::holds(const ResultCondition &condition, std::size_t number) const {
  using Kind = ResultCondition::Kind;
  switch (condition.kind) {
  case Kind::coded: {
    const Value tested = value(condition.value, number);
    const ColumnPredicate &test = condition.test;
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

std::vector<ub4> result_rows(const Plan &plan, const ValueSource &source, std::vector<ub4> candidates) {
  if (plan.having) std::erase_if(candidates, [&](ub4 number) { return source.holds(*plan.having, number) != true; });
  if (plan.distinct) keep_first_of_each(plan, source, candidates);
  const std::size_t offset = std::min<ub8>(plan.offset, candidates.size());
  const std::size_t count = std::min<ub8>(plan.limit.value_or(candidates.size()), candidates.size() - offset);
  if (!plan.order.empty()) candidates = sorted(plan, source, candidates, offset + count);
  const auto first = candidates.begin() + static_cast<std::ptrdiff_t>(offset);
  return {first, first + static_cast<std::ptrdiff_t>(count)};
}

} // namespace mipo::engine
