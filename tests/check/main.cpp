// Runs the tests of kernels: faults of memory are reported with the call that made them, the seed is printed, and a
// test ends at the first failed assertion, however deep below it.
#include <gtest/gtest.h>

#include "check/guarded_buffer.h"
#include "check/random.h"

namespace {

class ThrowAtFailedAssertions : public testing::EmptyTestEventListener {
  void OnTestPartResult(const testing::TestPartResult &result) override {
    if (result.fatally_failed()) throw testing::AssertionException(result);
  }
};

} // namespace

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::UnitTest::GetInstance()->listeners().Append(new ThrowAtFailedAssertions);
  mipo::check::report_faults();
  mipo::check::test_seed();
  return RUN_ALL_TESTS();
}
