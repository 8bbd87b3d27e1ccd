// The values of expressions for the rows of a batch.
#ifndef MIPO_ENGINE_RUN_VALUE_SOURCE_H
#define MIPO_ENGINE_RUN_VALUE_SOURCE_H

#include <optional>

#include "engine/plan/plan.h"

namespace mipo::engine {

class ValueSource {
public:
  virtual ~ValueSource() = default;

  Value value(const BoundExpression &expression, ub4 number) const;
  /// SQL's three truth values: nothing is unknown. Queries within the condition must have been answered.
  std::optional<bool> holds(const ResultCondition &condition, ub4 number) const;

private:
  /// Of a column or an aggregate.
  virtual Value read(const BoundExpression &expression, ub4 number) const = 0;
};

} // namespace mipo::engine

#endif
