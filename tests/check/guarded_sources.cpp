#include "guarded_sources.h"

namespace mipo::check {

std::vector<ub8> bit_vector_words(const std::vector<bool> &bits, Random &random) {
  std::vector<ub8> words((bits.size() + 63) / 64);
  if (bits.size() % 64 != 0) words.back() = random.next() << bits.size() % 64;
  for (std::size_t bit = 0; bit < bits.size(); ++bit) words[bit / 64] |= ub8{bits[bit]} << (bit % 64);
  return words;
}

} // namespace mipo::check
