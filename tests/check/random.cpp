#include "random.h"

#include <cstdio>
#include <cstdlib>

namespace mipo::check {

ub8 test_seed() {
  static const ub8 seed = [] {
    const char *text = std::getenv("MIPO_TEST_SEED");
    const ub8 value = text != nullptr ? std::strtoull(text, nullptr, 0) : 20260901;
    std::printf("MIPO_TEST_SEED=%llu\n", static_cast<unsigned long long>(value));
    return value;
  }();
  return seed;
}

Random::Random() : Random(test_seed()) {
}

} // namespace mipo::check
