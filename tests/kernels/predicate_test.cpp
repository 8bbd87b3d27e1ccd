// Every built predicate of every level against a model that works one row at a time.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "check/levels.h"
#include "check/predicate_case.h"
#include "check/predicate_families.h"
#include "check/predicate_inputs.h"

namespace {

using namespace mipo::check;
using namespace mipo::reference;

constexpr int calls_per_count = repeats_of(5, 2);

std::vector<std::size_t> row_counts() {
  std::vector<std::size_t> counts = {0, 1, 5, 999, 1024};
  for (const std::size_t boundary : {16, 32, 64, 128, 192, 256})
    for (const std::size_t rows : {boundary - 1, boundary, boundary + 1}) counts.push_back(rows);
  return counts;
}

void compare_kernel(const ListedKernel &kernel, const PredicateFamily &family, ChooseCall *choose, Random &random) {
  for (const std::size_t rows : row_counts())
    for (int repeat = 0; repeat < calls_per_count; ++repeat) {
      const PredicateCall call = choose(kernel, family, rows, random);
      const PredicateOutcome expected = family.model(call);
      PredicateCase in_memory(call, family.format_of(call.width), random);
      for (const Level &level : levels()) {
        const std::string what =
            running(kernel.name + " at level " + level.name + ", " + std::to_string(rows) + " rows");
        const mipo_kernel built = level.record->dispatch_table[kernel.key()];
        in_memory.forget_decompressed();
        std::string wrong = in_memory.run(kernel.shape, built, expected);
        if (wrong.empty() && call.compression.compressed) {
          PredicateCall again = call;
          again.compression.already_decompressed = true;
          wrong = in_memory.run(kernel.shape, built, family.model(again));
          if (!wrong.empty()) wrong = "called again, " + wrong;
        }
        ASSERT_EQ(wrong, "") << what << ", call " << repeat << ", seed " << test_seed() << ", constants " << std::hex
                             << call.first.number << " " << call.second.number << std::dec << ", " << call.bits
                             << " bits stored" << (call.selective() ? ", selective" : "")
                             << (call.has_ctx ? "" : ", no ctx") << (call.selection ? ", selection" : "")
                             << (call.filter ? ", filter" : "") << (call.run_length ? ", run-length" : "")
                             << (call.compression.compressed ? ", compressed" : "");
      }
    }
}

bool has_a_test_of_its_own(Shape shape) {
  return shape == Shape::minmax || shape == Shape::burst || shape == Shape::placeholder || shape == Shape::decode ||
         shape == Shape::arithmetic || shape == Shape::xlate;
}

TEST(PredicateTest, EveryBuiltKernelDoesAsItsModel) {
  ASSERT_FALSE(kernels_under_test().empty());
  for (const ListedKernel &kernel : kernels_under_test()) {
    if (has_a_test_of_its_own(kernel.shape)) continue;
    const PredicateFamily *family = family_of(kernel);
    if (family == nullptr) {
      ADD_FAILURE() << kernel.name << " has no model";
      continue;
    }
    const PredicateOperation *operation = predicate_operation(kernel.operation);
    ASSERT_NE(operation, nullptr) << kernel.name;
    EXPECT_EQ(kernel.shape == Shape::two_sided, operation->two_sided) << kernel.name;
    EXPECT_EQ(kernel.name, std::string("mipo_") + operation->name + "_" + family->name + "_" +
                               std::to_string(kernel.bits()) + "bit" + family->suffix);
    Random random(test_seed() + kernel.key());
    compare_kernel(kernel, *family, choose_call, random);
  }
}

TEST(PredicateTest, ControlBytesWithAnInvalidLengthStandForZeros) {
  for (const ListedKernel &kernel : kernels_under_test()) {
    const PredicateFamily *family = family_of(kernel);
    if (family == nullptr || family->model != dynamic_packed_predicate || kernel.bits() != 64) continue;
    Random random(test_seed() + kernel.key());
    compare_kernel(kernel, *family, choose_call_with_invalid_lengths, random);
  }
}

// Codes of all their bits: the sets of the other tests end where few codes are in use.
TEST(PredicateTest, SetsReachToTheGreatestCodes) {
  for (const ListedKernel &kernel : kernels_under_test()) {
    const PredicateFamily *family = family_of(kernel);
    if (family == nullptr || !family->takes_set || kernel.bits() < 20) continue;
    Random random(test_seed() + kernel.key());
    PredicateCall call = choose_call(kernel, *family, 300, random);
    call.compression.compressed = call.run_length = false;
    call.set.assign(std::size_t{1} << std::min(kernel.bits(), 25u), false);
    for (Value &row : call.rows) {
      row.number = random.below(call.set.size());
      const std::size_t member = random.chance(50) ? row.number : row.number ^ 1u << random.below(20);
      call.set[member] = true;
    }
    const PredicateOutcome expected = family->model(call);
    PredicateCase in_memory(call, family->format_of(call.width), random);
    for (const Level &level : levels()) {
      running(kernel.name + " at level " + level.name);
      EXPECT_EQ(in_memory.run(kernel.shape, level.record->dispatch_table[kernel.key()], expected), "")
          << kernel.name << " at level " << level.name;
    }
  }
}

// The paths disagree over stray bits above a narrow constant: one ignores them, the other finds them in no row.
TEST(PredicateTest, StrayBitsOfAConstantCountInTheSelectivePathOnly) {
  for (const Level &level : levels())
    for (const unsigned width : {8u, 16u}) {
      const ListedKernel kernel{"", Shape::one_sided, MIPO_OP_EQ, MIPO_FAMILY_DICT, width - 1, MIPO_VARIANT_PLAIN};
      Random random(1);
      PredicateCall call;
      call.operation = predicate_operation(MIPO_OP_EQ);
      call.width = width;
      call.bits = width;
      call.rows.assign(200, {7});
      call.first.number = 7 | ub8{1} << width;
      call.has_ctx = true;
      call.selection = std::vector<bool>(200, true);
      for (const bool selective : {false, true}) {
        call.selective_flag = selective;
        PredicateOutcome expected;
        expected.bits.assign(200, !selective);
        expected.nset = selective ? 0 : 200;
        expected.code = selective ? 1 : 0;
        expected.done_flags = MIPO_DONE_PREDICATE;
        PredicateCase in_memory(call, byte_aligned_codes, random);
        EXPECT_EQ(in_memory.run(kernel.shape, level.record->dispatch_table[kernel.key()], expected), "")
            << level.name << ", " << width << " bits, selective " << selective;
      }
    }
}

// Whether the call came to its end. Nothing with a destructor lives in this frame, since a jump may pass over it.
bool comes_back(PredicateCase &in_memory, Shape shape, mipo_kernel kernel) {
  TestHost &host = in_memory.host();
  if (host.leaves == TestHost::Leave::by_jump) {
    if (setjmp(host.target) != 0) return false;
    in_memory.call(shape, kernel);
    return true;
  }
  try {
    in_memory.call(shape, kernel);
    return true;
  } catch (const TestHost::Left &) {
    return false;
  }
}

// A host that does not come back from a callback can make the call again, and loses nothing.
TEST(PredicateTest, HostMayLeaveACallbackAndCallAgain) {
  using Callback = TestHost::Callback;
  Random random;
  for (const ListedKernel &kernel : kernels_under_test()) {
    const PredicateFamily *family = family_of(kernel);
    if (family == nullptr) continue;
    for (const bool selective : {false, true}) {
      PredicateCall call = choose_call(kernel, *family, 150, random);
      call.has_ctx = call.compression.compressed = call.compression.decode_fails = true;
      call.compression.already_decompressed = call.run_length = false;
      call.selective_flag = selective;
      call.selection = choose_selection(150, dense, random);
      choose_host(call, *family, random);
      call.compression.decode_fails = true;
      call.compression.already_decompressed = false;
      const PredicateOutcome expected = family->model(call);
      PredicateCall reused = call;
      reused.compression.already_decompressed = true;
      for (const Level &level : levels())
        for (const auto way : {TestHost::Leave::by_jump, TestHost::Leave::by_exception})
          for (const auto callback : {Callback::alloc, Callback::decode, Callback::hostierr}) {
            const std::string what = running(kernel.name + " at level " + level.name + " left from callback " +
                                             std::to_string(static_cast<int>(callback)) +
                                             (way == TestHost::Leave::by_jump ? " by a jump" : " by an exception"));
            const mipo_kernel built = level.record->dispatch_table[kernel.key()];
            PredicateCase in_memory(call, family->format_of(call.width), random);
            in_memory.host().leaves_from = callback;
            in_memory.host().leaves = way;
            in_memory.prepare(expected.into_runs);
            ASSERT_FALSE(comes_back(in_memory, kernel.shape, built)) << what;
            in_memory.host().leaves_from = Callback::none;
            // After `alloc` the cell is still empty; after `decode` the host empties it; after `hostierr` it counts.
            ASSERT_EQ(in_memory.is_decompressed(), callback != Callback::alloc) << what;
            if (callback == Callback::decode) in_memory.forget_decompressed();
            const bool counts = callback == Callback::hostierr;
            ASSERT_EQ(in_memory.run(kernel.shape, built, counts ? family->model(reused) : expected), "") << what;
          }
    }
  }
}

} // namespace
