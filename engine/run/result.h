// The rows of a result: which of the rows or groups there are qualify, in what order, and their values.
#ifndef MIPO_ENGINE_RUN_RESULT_H
#define MIPO_ENGINE_RUN_RESULT_H

#include <cstddef>
#include <vector>

#include "engine/plan/plan.h"
#include "engine/run/aggregation.h"
#include "engine/run/translation.h"

namespace mipo::engine {

/// Where values come from: the rows of the first table or the groups of the plan, by number.
class ValueSource {
public:
  /// `groups` is null for a plan without groups; `joined` has the values of its joined columns. Both must outlive it.
  ValueSource(const Groups *groups, const MaterializedColumns &joined) : groups_(groups), joined_(&joined) {}

  Value value(const BoundExpression &expression, std::size_t number) const;
  /// SQL's three truth values: nothing is unknown.
  std::optional<bool> holds(const ResultCondition &condition, std::size_t number) const;

private:
  const Groups *groups_;
  const MaterializedColumns *joined_;
};

/// Of `candidates`, those that HAVING, DISTINCT, OFFSET and LIMIT leave, in the order that the plan wants.
std::vector<ub4> result_rows(const Plan &plan, const ValueSource &source, std::vector<ub4> candidates);

} // namespace mipo::engine

#endif
