// Kernels that fill their slots and do nothing: hosts rely on the answer 0.
#include <gtest/gtest.h>

#include "check/built_kernels.h"
#include "check/guarded_buffer.h"
#include "check/levels.h"

namespace {

using namespace mipo::check;

TEST(Placeholders, AnswerZeroWithoutALookAtTheirArguments) {
  report_faults();
  const GuardedBuffer nowhere(0);
  const auto address = reinterpret_cast<ub8>(nowhere.data());
  unsigned count = 0;
  for (const ListedKernel &kernel : all_kernels()) {
    if (kernel.operation != MIPO_OP_SUM && kernel.operation != MIPO_OP_DISTINCT) continue;
    ASSERT_EQ(kernel.shape, Shape::placeholder) << kernel.name;
    ++count;
    for (const Level &level : levels()) {
      running(kernel.name + " at level " + level.name);
      const mipo_kernel built = level.record->dispatch_table[kernel.key()];
      EXPECT_EQ(built.placeholder(address, address, address, address), 0u) << kernel.name << " at level " << level.name;
    }
  }
  EXPECT_EQ(count, 48u);
}

} // namespace
