// Every built predicate of every level against a model that works one row at a time.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "check/levels.h"
#include "check/predicate_case.h"

namespace {

using namespace mipo::check;
using namespace mipo::reference;

// A way to store a column: what the kernels of the family are held against, and how their input is made.
struct Family {
  ub4 family, variant;
  std::vector<unsigned> widths;
  const char *name; // as in the kernels' names
  const char *suffix;
  EncodeCodes *encode;
  PredicateOutcome (*model)(const PredicateCall &);
};

const std::vector<unsigned> byte_aligned_widths = {8, 16, 32, 64};
const std::vector<unsigned> packed_widths = {2, 3, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15, 17, 18, 19, 20, 24};

const Family families[] = {
    {MIPO_FAMILY_DICT, MIPO_VARIANT_PLAIN, byte_aligned_widths, "dict", "", encode_byte_aligned,
     byte_aligned_dict_predicate},
    {MIPO_FAMILY_DICT, MIPO_VARIANT_NULL_AWARE, byte_aligned_widths, "dict", "_null", encode_byte_aligned,
     byte_aligned_null_aware_predicate},
    {MIPO_FAMILY_DICT, MIPO_VARIANT_PLAIN, packed_widths, "dict", "", encode_packed, packed_dict_predicate},
    {MIPO_FAMILY_DICT, MIPO_VARIANT_NULL_AWARE, packed_widths, "dict", "_null", encode_packed,
     packed_null_aware_predicate},
    {MIPO_FAMILY_DICT, MIPO_VARIANT_PLAIN, {1}, "dict", "", encode_packed, one_bit_predicate},
    {MIPO_FAMILY_DICT, MIPO_VARIANT_NULL_AWARE, {1}, "dict", "_null", encode_packed, one_bit_null_aware_predicate},
};

const Family *family_of(const ListedKernel &kernel) {
  if (kernel.shape != Shape::one_sided && kernel.shape != Shape::two_sided) return nullptr;
  for (const Family &family : families)
    if (family.family == kernel.family && family.variant == kernel.variant &&
        std::count(family.widths.begin(), family.widths.end(), kernel.bits()) != 0)
      return &family;
  return nullptr;
}

ub8 greatest_code(unsigned width) {
  return width == 64 ? ~ub8{0} : (ub8{1} << width) - 1;
}

// The values at which comparisons go wrong: both ends, the sign bit and its neighbours, and anything.
ub8 telling_value(unsigned width, Random &random) {
  const ub8 greatest = greatest_code(width), sign = greatest / 2 + 1;
  switch (random.below(8)) {
  case 0:
    return 0;
  case 1:
    return greatest;
  case 2:
    return sign;
  case 3:
    return sign - 1;
  case 4:
    return (1 + random.below(2)) & greatest;
  case 5:
    return greatest - random.below(3);
  case 6:
    return random.below(100) & greatest;
  default:
    return random.next() & greatest;
  }
}

void choose_constants(PredicateCall &call, Random &random) {
  const ub8 greatest = greatest_code(call.width);
  call.first = telling_value(call.width, random);
  switch (random.below(6)) {
  case 0:
    call.second = call.first;
    break;
  case 1:
    call.second = (call.first + 1) & greatest;
    break;
  case 2:
    call.second = (call.first - 1) & greatest;
    break;
  case 3:
    call.second = (call.first + 2 + random.below(50)) & greatest;
    break;
  default:
    call.second = telling_value(call.width, random);
  }
  if (random.chance(50) && call.second < call.first) std::swap(call.first, call.second);
}

// Half of them at or beside the constants and the ends.
std::vector<ub8> choose_codes(std::size_t rows, const PredicateCall &call, Random &random) {
  const ub8 greatest = greatest_code(call.width);
  const ub8 near[] = {call.first,      call.first - 1,   call.first + 1, call.second, call.second - 1,
                      call.second + 1, greatest / 2 + 1, greatest / 2,   0,           greatest};
  std::vector<ub8> codes(rows);
  for (ub8 &code : codes) code = (random.chance(50) ? near[random.below(std::size(near))] : random.next()) & greatest;
  return codes;
}

enum Selection { none, all, sparse, dense, exactly_8, exactly_16, first_rows, selection_kinds };

std::vector<bool> choose_selection(std::size_t rows, ub8 kind, Random &random) {
  std::vector<bool> selection(rows, kind == all);
  if (kind == sparse || kind == dense)
    for (std::size_t row = 0; row < rows; ++row) selection[row] = random.chance(kind == sparse ? 4 : 85);
  if (kind == exactly_8 || kind == exactly_16)
    for (std::size_t left = std::min<std::size_t>(rows, kind == exactly_8 ? 8 : 16); left != 0;)
      if (const std::size_t row = random.below(rows); !selection[row]) selection[row] = true, --left;
  if (kind == first_rows) std::fill_n(selection.begin(), rows / 3, true);
  return selection;
}

void choose_host(PredicateCall &call, const Family &family, Random &random) {
  call.decomp_size = static_cast<ub4>(family.encode(call.codes, call.width).size());
  call.decomp_hint = random.next();
  call.host_flags = random.chance(50) ? random.next() : random.next() & ~ub8{0x30};
  call.decode_fails = random.chance(30);
  call.already_decompressed = random.chance(25);
  call.burst_nset = static_cast<ub4>(random.next());
  call.burst_result = static_cast<ub4>(random.next());
}

// What can be combined in a call: all of it has to come up with every kernel.
PredicateCall choose_call(const ListedKernel &kernel, const Family &family, std::size_t rows, Random &random) {
  PredicateCall call;
  call.operation = predicate_operation(kernel.operation);
  call.width = kernel.bits();
  call.name_tail = std::string("_") + family.name + "_" + std::to_string(call.width) + "bit" + family.suffix;
  if (call.width == 1) {
    call.has_selective_path = false;
    call.reads_constants = one_bit_reads_constants(*call.operation, family.variant == MIPO_VARIANT_NULL_AWARE);
  }
  choose_constants(call, random);
  call.codes = choose_codes(rows, call, random);
  if (call.width < 32 && random.chance(20)) {
    call.first |= random.next() << call.width & 0xffffffff;
    call.second |= random.next() << call.width & 0xffffffff;
  }
  call.has_ctx = random.chance(85);
  if (random.chance(40)) call.filter = choose_selection(rows, random.chance(20) ? none : dense, random);
  if (call.has_ctx) {
    call.selective_flag = random.chance(60);
    if (random.chance(75)) call.selection = choose_selection(rows, random.below(selection_kinds), random);
    call.run_length = random.chance(20);
    call.compressed = random.chance(20);
    choose_host(call, family, random);
  }
  return call;
}

#if defined(__aarch64__) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int calls_per_count = 2; // emulated or instrumented
#else
constexpr int calls_per_count = 5;
#endif

std::vector<std::size_t> row_counts() {
  std::vector<std::size_t> counts = {0, 1, 5, 999, 1024};
  for (const std::size_t boundary : {16, 32, 64, 128, 192, 256})
    for (const std::size_t rows : {boundary - 1, boundary, boundary + 1}) counts.push_back(rows);
  return counts;
}

void compare_kernel(const ListedKernel &kernel, const Family &family, Random &random) {
  for (const std::size_t rows : row_counts())
    for (int repeat = 0; repeat < calls_per_count; ++repeat) {
      const PredicateCall call = choose_call(kernel, family, rows, random);
      const PredicateOutcome expected = family.model(call);
      PredicateCase in_memory(call, family.encode, random);
      for (const Level &level : levels()) {
        const std::string what = kernel.name + " at level " + level.name + ", " + std::to_string(rows) + " rows";
        running(what.c_str(), test_seed());
        const mipo_kernel built = level.record->dispatch_table[kernel.key()];
        in_memory.forget_decompressed();
        std::string wrong = in_memory.run(kernel.shape, built, expected);
        if (wrong.empty() && call.compressed) {
          PredicateCall again = call;
          again.already_decompressed = true;
          wrong = in_memory.run(kernel.shape, built, family.model(again));
          if (!wrong.empty()) wrong = "called again, " + wrong;
        }
        ASSERT_EQ(wrong, "") << what << ", call " << repeat << ", seed " << test_seed() << ", constants " << std::hex
                             << call.first << " " << call.second << (call.selective() ? ", selective" : "")
                             << (call.has_ctx ? "" : ", no ctx") << (call.selection ? ", selection" : "")
                             << (call.filter ? ", filter" : "") << (call.run_length ? ", run-length" : "")
                             << (call.compressed ? ", compressed" : "");
      }
    }
}

class PredicateTest : public testing::Test {
protected:
  static void SetUpTestSuite() {
    report_faults();
    test_seed();
  }
};

TEST_F(PredicateTest, EveryBuiltKernelDoesAsItsModel) {
  ASSERT_FALSE(built_kernels().empty());
  for (const ListedKernel &kernel : built_kernels()) {
    const Family *family = family_of(kernel);
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
    compare_kernel(kernel, *family, random);
  }
}

// The paths disagree over stray bits above a narrow constant: one ignores them, the other finds them in no row.
TEST_F(PredicateTest, StrayBitsOfAConstantCountInTheSelectivePathOnly) {
  for (const Level &level : levels())
    for (const unsigned width : {8u, 16u}) {
      const ListedKernel kernel{"", Shape::one_sided, MIPO_OP_EQ, MIPO_FAMILY_DICT, width - 1, MIPO_VARIANT_PLAIN};
      Random random(1);
      PredicateCall call;
      call.operation = predicate_operation(MIPO_OP_EQ);
      call.width = width;
      call.codes.assign(200, 7);
      call.first = 7 | ub8{1} << width;
      call.has_ctx = true;
      call.selection = std::vector<bool>(200, true);
      for (const bool selective : {false, true}) {
        call.selective_flag = selective;
        PredicateOutcome expected;
        expected.bits.assign(200, !selective);
        expected.nset = selective ? 0 : 200;
        expected.code = selective ? 1 : 0;
        expected.done_flags = MIPO_DONE_PREDICATE;
        PredicateCase in_memory(call, encode_byte_aligned, random);
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
TEST_F(PredicateTest, HostMayLeaveACallbackAndCallAgain) {
  using Callback = TestHost::Callback;
  Random random(test_seed());
  for (const ListedKernel &kernel : built_kernels()) {
    const Family *family = family_of(kernel);
    if (family == nullptr) continue;
    for (const bool selective : {false, true}) {
      PredicateCall call = choose_call(kernel, *family, 150, random);
      call.has_ctx = call.compressed = call.decode_fails = true;
      call.already_decompressed = call.run_length = false;
      call.selective_flag = selective;
      call.selection = choose_selection(150, dense, random);
      choose_host(call, *family, random);
      call.decode_fails = true;
      call.already_decompressed = false;
      const PredicateOutcome expected = family->model(call);
      PredicateCall reused = call;
      reused.already_decompressed = true;
      for (const Level &level : levels())
        for (const auto way : {TestHost::Leave::by_jump, TestHost::Leave::by_exception})
          for (const auto callback : {Callback::alloc, Callback::decode, Callback::hostierr}) {
            const std::string what = kernel.name + " at level " + level.name + " left from callback " +
                                     std::to_string(static_cast<int>(callback)) +
                                     (way == TestHost::Leave::by_jump ? " by a jump" : " by an exception");
            running(what.c_str(), test_seed());
            const mipo_kernel built = level.record->dispatch_table[kernel.key()];
            PredicateCase in_memory(call, family->encode, random);
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
