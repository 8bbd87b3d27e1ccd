// What groups have of one argument of aggregates.
#ifndef MIPO_ENGINE_RUN_INPUT_TOTALS_H
#define MIPO_ENGINE_RUN_INPUT_TOTALS_H

#include <vector>

#include "engine/plan/aggregate_input.h"

namespace mipo::engine {

struct InputTotals {
  InputTotals(const AggregateInput &of, ub8 groups);

  void merge(const InputTotals &other);

  /// The aggregate's value in a group.
  Value value(AggregateFunction function, std::size_t group) const;
  /// Rows of the group that have a value, if the input adds().
  sb8 count(std::size_t group) const;

  const AggregateInput *input;
  std::vector<sb8> words, counts; // counts: where the words have none
  std::vector<WideInteger> wide;
  std::vector<ub8> least, greatest; // codes, or digits above the input's least; of the greatest one more, 0 for none

private:
  WideInteger sum(std::size_t group) const;
  Value extreme(ub8 ordered, bool exists) const;
};

} // namespace mipo::engine

#endif
