#include "engine/plan/dense_ranks.h"

#include <algorithm>
#include <bit>

namespace mipo::engine {

DenseRanks::DenseRanks(std::span<const ub8> numbers, ub8 bound) {
  constexpr ub8 bits_per_number = 64, least_bits = 1 << 16; // where sorting takes longer
  if (bound > numbers.size() * bits_per_number + least_bits) {
    numbers_.assign(numbers.begin(), numbers.end());
    std::sort(numbers_.begin(), numbers_.end());
    numbers_.erase(std::unique(numbers_.begin(), numbers_.end()), numbers_.end());
    return;
  }
  present_.resize(bound / 64 + 1);
  for (const ub8 number : numbers) present_[number / 64] |= ub8{1} << number % 64;
  for (std::size_t word = 0; word < present_.size(); ++word) {
    in_front_.push_back(static_cast<ub4>(numbers_.size()));
    for (ub8 left = present_[word]; left != 0; left &= left - 1)
      numbers_.push_back(word * 64 + static_cast<ub8>(std::countr_zero(left)));
  }
}

ub4 DenseRanks::rank(ub8 number) const {
  if (present_.empty())
    return static_cast<ub4>(std::lower_bound(numbers_.begin(), numbers_.end(), number) - numbers_.begin());
  const ub8 below = (ub8{1} << number % 64) - 1;
  return in_front_[number / 64] + static_cast<ub4>(std::popcount(present_[number / 64] & below));
}

} // namespace mipo::engine
