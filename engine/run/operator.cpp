#include "engine/run/operator.h"

namespace mipo::engine {

void Operator::profile(std::vector<KernelProfile> &calls) const {
  if (input_) input_->profile(calls);
  calls.insert(calls.end(), calls_.begin(), calls_.end());
}

std::optional<Batch> pull_all(Operator &input) {
  std::optional<Batch> all = input.next();
  if (!all) return all;
  std::vector<ub4> &numbers = all->numbers();
  while (std::optional<Batch> more = input.next())
    numbers.insert(numbers.end(), more->numbers().begin(), more->numbers().end());
  return all;
}

} // namespace mipo::engine
