// Numbers by their place among the distinct ones of an array.
#ifndef MIPO_ENGINE_PLAN_DENSE_RANKS_H
#define MIPO_ENGINE_PLAN_DENSE_RANKS_H

#include <span>
#include <vector>

#include "mipo/integers.h"

namespace mipo::engine {

class DenseRanks {
public:
  /// `numbers` are below `bound`. Takes a pass over a bit for each number below the bound if there are not many more of
  /// those than numbers, else the time of sorting.
  DenseRanks(std::span<const ub8> numbers, ub8 bound);

  /// The distinct numbers, ascending.
  const std::vector<ub8> &numbers() const { return numbers_; }
  /// How many of them are less than `number`, which must be one of them.
  ub4 rank(ub8 number) const;

private:
  std::vector<ub8> numbers_;
  std::vector<ub8> present_;  // a bit for each number below the bound; empty if they were sorted
  std::vector<ub4> in_front_; // of each word: numbers in the words before
};

} // namespace mipo::engine

#endif
