// Random numbers that are the same on every machine and with every library, from a seed that is printed.
#ifndef MIPO_TESTS_CHECK_RANDOM_H
#define MIPO_TESTS_CHECK_RANDOM_H

#include "mipo/integers.h"

namespace mipo::check {

/// By itself, of the seed of the test run.
class Random {
public:
  Random();
  explicit Random(ub8 seed) : state_(seed) {}

  ub8 next() {
    state_ += 0x9e3779b97f4a7c15;
    ub8 mixed = (state_ ^ (state_ >> 30)) * 0xbf58476d1ce4e5b9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94d049bb133111eb;
    return mixed ^ (mixed >> 31);
  }
  /// 0 to `bound` - 1.
  ub8 below(ub8 bound) { return next() % bound; }
  /// True in `percent` of all cases.
  bool chance(unsigned percent) { return below(100) < percent; }

private:
  ub8 state_;
};

/// How often to repeat what is drawn by chance: fewer times where a call takes long, emulated or instrumented.
constexpr int repeats_of([[maybe_unused]] int native, [[maybe_unused]] int slow) {
#if defined(__aarch64__) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  return slow;
#else
  return native;
#endif
}

/// The seed of a test run: MIPO_TEST_SEED, or a fixed one; printed at the first call.
ub8 test_seed();

} // namespace mipo::check

#endif
