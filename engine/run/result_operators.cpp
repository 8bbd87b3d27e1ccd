#include "engine/run/result_operators.h"

#include <algorithm>
#include <numeric>

namespace mipo::engine {
namespace {

using Ranks = std::vector<ub8>; // by candidate: numbers that order as their values do

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

// With the queries within it answered.
ResultCondition settled(const ResultCondition &condition, const InnerQueries &inner) {
  ResultCondition made = condition;
  if (const auto *in = std::get_if<InQueryTest>(&made.test)) made.test = inner.predicate(*in);
  for (ResultCondition &operand : made.operands) operand = settled(operand, inner);
  return made;
}

} // namespace

std::optional<Batch> Having::next() {
  std::optional<Batch> batch = input().next();
  if (!batch) return batch;
  if (!settled_) settled_ = settled(condition_, inner_);
  std::erase_if(batch->numbers(), [&](ub4 number) { return batch->values->holds(*settled_, number) != true; });
  return batch;
}

std::optional<Batch> Distinct::next() {
  std::optional<Batch> all = pull_all(input());
  if (all) keep_first_of_each(plan_, *all->values, all->numbers());
  return all;
}

std::optional<Batch> Order::next() {
  std::optional<Batch> all = pull_all(input());
  if (all) all->numbers() = sorted(plan_, *all->values, all->numbers(), wanted_);
  return all;
}

std::optional<Batch> Limit::next() {
  if (left_ == 0) return std::nullopt;
  std::optional<Batch> batch = input().next();
  if (!batch) return batch;
  std::vector<ub4> &numbers = batch->numbers();
  const auto dropped = static_cast<std::ptrdiff_t>(std::min<ub8>(to_drop_, numbers.size()));
  numbers.erase(numbers.begin(), numbers.begin() + dropped);
  to_drop_ -= static_cast<ub8>(dropped);
  if (numbers.size() > left_) numbers.resize(left_);
  left_ -= numbers.size();
  return batch;
}

} // namespace mipo::engine
