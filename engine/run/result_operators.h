// What happens to rows of a result, told by number: HAVING, DISTINCT, ORDER BY, LIMIT.
#ifndef MIPO_ENGINE_RUN_RESULT_OPERATORS_H
#define MIPO_ENGINE_RUN_RESULT_OPERATORS_H

#include <vector>

#include "engine/run/inner_queries.h"
#include "engine/run/operator.h"

namespace mipo::engine {

/// Rows that the condition holds for.
class Having final : public Operator {
public:
  Having(const ResultCondition &condition, const InnerQueries &inner, std::unique_ptr<Operator> input)
      : Operator(std::move(input)), condition_(condition), inner_(inner) {}
  std::optional<Batch> next() override;

private:
  const ResultCondition &condition_;
  const InnerQueries &inner_;
  std::optional<ResultCondition> settled_; // with the queries within it answered
};

/// Of rows with equal output the first. Takes all of its input at once.
class Distinct final : public Operator {
public:
  Distinct(const Plan &plan, std::unique_ptr<Operator> input) : Operator(std::move(input)), plan_(plan) {}
  std::optional<Batch> next() override;

private:
  const Plan &plan_;
};

/// The first `wanted` rows in the plan's order; equal ones stay in the order in which they are. Takes all of its input
/// at once.
class Order final : public Operator {
public:
  Order(const Plan &plan, ub8 wanted, std::unique_ptr<Operator> input)
      : Operator(std::move(input)), plan_(plan), wanted_(wanted) {}
  std::optional<Batch> next() override;

private:
  const Plan &plan_;
  ub8 wanted_;
};

/// Drops the first `offset` rows, and hands on `limit` at most: it asks for no more batches than that takes.
class Limit final : public Operator {
public:
  Limit(ub8 offset, ub8 limit, std::unique_ptr<Operator> input)
      : Operator(std::move(input)), to_drop_(offset), left_(limit) {}
  std::optional<Batch> next() override;

private:
  ub8 to_drop_, left_;
};

} // namespace mipo::engine

#endif
