// The least and the greatest code: every built kernel of every level against a model that works one row at a time.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "check/built_kernels.h"
#include "check/column_data.h"
#include "check/column_format.h"
#include "check/levels.h"
#include "check/stored_runs.h"
#include "reference/minmax_model.h"

namespace {

using namespace mipo::check;
using namespace mipo::reference;
using Selection = MinmaxCall::Selection;

// Where a run walk is told to go on.
struct RunPosition {
  ub4 run_index, run_end;
};

// A call laid out in guarded memory; what the kernel does not read is nowhere, or noise.
class MinmaxCase {
public:
  MinmaxCase(const MinmaxCall &call, unsigned width, RunForm form, RunPosition position, Random &random)
      : next_row_(call.next_row), position_(position), mode_(call.mode) {
    fill_with_noise(random, res_, src_, enc_, ctx_);
    std::vector<Value> values;
    for (const ub4 code : call.codes) values.push_back({code});
    data_.place(call.compression, code_format(width).column(values, width).data, src_, enc_, host_, random);
    src_.enc_ctx = &enc_;
    src_.filter_bv = res_.bv = nowhere_.words();
    src_.nrows = call.rows();
    enc_.sym_count = call.code_count;
    enc_.flags &= ~ub4{MIPO_RLE};
    if (call.run_length) place_runs(enc_, call.run_lengths, form, sources_, nowhere_);

    const bool needs_host = call.compression.compressed || call.run_length;
    ctx_.host = needs_host ? host_.ctx() : nullptr;
    ctx_.ones_vec = nullptr;
    ctx_.ones_list = nullptr;
    if (call.selection == Selection::bits) {
      std::vector<bool> selected(call.rows());
      for (const ub4 row : call.selected) selected[row] = true;
      ctx_.ones_vec = sources_.keep_bits(selected, random);
      // Beside the bits, a list is not looked at.
      if (random.chance(50)) ctx_.ones_list = reinterpret_cast<const ub4 *>(nowhere_.data());
      if (random.chance(50)) ctx_.ones_list_len = 0;
    } else if (call.selection == Selection::list) {
      ctx_.ones_list = sources_.keep(call.selected);
      ctx_.ones_list_len = static_cast<ub4>(call.selected.size());
    }
  }

  void start_anew() {
    data_.forget_decompressed();
    ctx_.next_row = next_row_;
    ctx_.run_index = position_.run_index;
    ctx_.run_end = position_.run_end;
  }

  // What differs from `expected`, or an empty text.
  std::string run(mipo_kernel kernel, const MinmaxOutcome &expected) {
    constexpr ub4 untouched = 0xa5a5a5a5;
    GuardedBuffer result(2 * sizeof(ub4), Edge::end, 0, 0xa5);
    const auto *extremes = reinterpret_cast<const ub4 *>(result.data());
    res_.data = result.data();
    host_.calls.clear();
    mipo_vec res_after = res_;
    if (expected.nset) res_after.nset = *expected.nset;
    const mipo_vec src_before = src_;
    const mipo_enc_ctx enc_before = enc_;
    mipo_call_ctx ctx_after = ctx_;

    const ub4 code = kernel.minmax(&res_, &src_, &ctx_, mode_);

    std::string wrong;
    const auto compare = [&](const char *what, ub4 is, ub4 should_be) {
      if (is != should_be)
        wrong += std::string(what) + " is " + std::to_string(is) + ", not " + std::to_string(should_be) + "; ";
    };
    compare("the code", code, expected.code);
    if (expected.least_is_told)
      compare("the least", extremes[0], expected.extremes ? expected.extremes->least : untouched);
    if (expected.greatest_is_told)
      compare("the greatest", extremes[1], expected.extremes ? expected.extremes->greatest : untouched);
    if (!result.intact()) wrong += "wrote beside the result; ";
    if (expected.next_row) compare("next_row", ctx_.next_row, *expected.next_row);
    compare("nset", res_.nset, res_after.nset);
    wrong += host_.difference_from(expected.calls);
    ctx_after.next_row = ctx_.next_row;
    ctx_after.run_index = ctx_.run_index;
    ctx_after.run_end = ctx_.run_end;
    if (wrong.empty() &&
        !(same(res_, res_after) && same(src_, src_before) && same(enc_, enc_before) && same(ctx_, ctx_after)))
      wrong += "changed a field that is not its own; ";
    return wrong;
  }

private:
  ub4 next_row_;
  RunPosition position_;
  ub8 mode_;
  TestHost host_;
  ColumnData data_;
  GuardedSources sources_;
  GuardedBuffer nowhere_{0};
  mipo_vec res_, src_;
  mipo_enc_ctx enc_;
  mipo_call_ctx ctx_;
};

// Codes that end the search late, early or never.
std::vector<ub4> choose_codes(std::size_t count, ub4 code_count, Random &random) {
  std::vector<ub4> codes(count);
  const ub4 middle = code_count / 2;
  const ub8 kind = random.below(4);
  for (ub4 &code : codes)
    code = kind == 0   ? static_cast<ub4>(random.below(code_count))
           : kind == 1 ? middle
           : kind == 2 ? 0
                       : std::min(code_count / 4 + static_cast<ub4>(random.below(middle + 1)), code_count - 1);
  if (kind != 0 && count != 0)
    for (const ub4 end : {0u, code_count - 1, 1u, code_count - 2})
      if (random.chance(50)) codes[random.below(count)] = std::min(end, code_count - 1);
  return codes;
}

ub4 choose_code_count(unsigned width, Random &random) {
  const ub8 most = width == 32 ? 0xffffffff : ub8{1} << width;
  return static_cast<ub4>(random.chance(50) ? most
                                            : 1 + random.below(random.chance(50) ? most : std::min(most, ub8{9})));
}

MinmaxCall choose_call(const ListedKernel &kernel, std::size_t count, RunForm form, Random &random) {
  MinmaxCall call;
  call.kernel = kernel.name;
  call.null_aware = kernel.variant == MIPO_VARIANT_NULL_AWARE;
  call.code_count = choose_code_count(kernel.bits(), random);
  call.codes = choose_codes(count, call.code_count, random);
  call.run_length = random.chance(50);
  if (call.run_length)
    for (std::size_t run = 0; run < count; ++run)
      call.run_lengths.push_back(1 + static_cast<ub4>(random.below(random.chance(80)   ? 4
                                                                   : random.chance(95) ? 255
                                                                                       : 999)) %
                                         longest_run(form));
  constexpr ub8 modes[] = {0, 1, 2, 3, ub8{1} << 32 | 1, ~ub8{0}};
  call.mode = modes[random.below(std::size(modes))];

  const ub4 rows = call.rows();
  call.selection = static_cast<Selection>(random.below(3));
  if (call.selection != Selection::none) {
    constexpr unsigned percents[] = {0, 1, 10, 60, 100};
    const unsigned percent = percents[random.below(std::size(percents))];
    for (ub4 row = 0; row < rows; ++row)
      if (random.chance(percent)) call.selected.push_back(row);
  }
  if (random.chance(40)) call.next_row = static_cast<ub4>(random.below(rows + 1));

  const ColumnFormat &format = code_format(kernel.bits());
  call.compression = some_compression(format.column(std::vector<Value>(count), kernel.bits()).data.size(), random);
  return call;
}

// Anything that a walk over the runs may find: noise where it does not count, the run of `next_row`, one before it
// that the walk has to pass, or nothing but the row.
RunPosition choose_position(const MinmaxCall &call, Random &random) {
  const auto noise = static_cast<ub4>(random.next());
  if (!call.run_length || call.codes.empty() || call.next_row == 0) return {noise, noise};
  if (random.chance(30)) return {noise, 0};
  const std::vector<ub4> starts = run_starts(call.run_lengths);
  ub4 run = 0;
  while (run + 1 < call.codes.size() && starts[run + 1] <= call.next_row) ++run;
  if (random.chance(50)) run = static_cast<ub4>(random.below(run + 1));
  if (random.chance(30) && run != 0) --run;
  return {run, starts[run + 1]};
}

void expect_extremes(const MinmaxCall &call, const ListedKernel &kernel, RunForm form, Random &random) {
  const MinmaxOutcome expected = minmax(call);
  MinmaxCall rest = call; // what is left to do after a call that saw all rows
  rest.next_row = call.rows();
  rest.compression.already_decompressed = true;
  MinmaxOutcome nothing = minmax(rest);
  nothing.next_row.reset();
  const RunPosition position = choose_position(call, random);
  MinmaxCase in_memory(call, kernel.bits(), form, position, random);
  for (const Level &level : levels()) {
    const std::string what = running(kernel.name + " at level " + level.name);
    const mipo_kernel built = level.record->dispatch_table[kernel.key()];
    in_memory.start_anew();
    std::string wrong = in_memory.run(built, expected);
    if (wrong.empty() && !expected.ended_early)
      if (wrong = in_memory.run(built, nothing); !wrong.empty()) wrong = "called again, " + wrong;
    ASSERT_EQ(wrong, "") << what << ", seed " << test_seed() << ", mode " << call.mode << ", " << call.rows()
                         << " rows, " << call.codes.size() << " codes, " << call.code_count
                         << " in the dictionary, from row " << call.next_row << (call.run_length ? ", run-length" : "")
                         << (call.compression.compressed ? ", compressed" : "") << ", selection "
                         << static_cast<int>(call.selection) << " of " << call.selected.size() << " rows, form "
                         << static_cast<int>(form) << ", run " << position.run_index << " to row " << position.run_end;
  }
}

constexpr int calls_per_count = repeats_of(15, 4);

TEST(MinmaxTest, EveryBuiltKernelDoesAsItsModel) {
  for (const ListedKernel &kernel : kernels_under_test()) {
    if (kernel.shape != Shape::minmax) continue;
    Random random(test_seed() + kernel.key());
    for (const std::size_t count :
         {0, 1, 2, 5, 8, 15, 16, 17, 33, 63, 64, 65, 127, 128, 129, 255, 256, 257, 300, 512, 513, 1000})
      for (int repeat = 0; repeat < calls_per_count; ++repeat) {
        const auto form = static_cast<RunForm>(random.below(3));
        expect_extremes(choose_call(kernel, count, form, random), kernel, form, random);
      }
  }
}

// Stopped at every row, and gone on from there, with the state as a walk leaves it.
TEST(MinmaxTest, WalksGoOnFromEveryRow) {
  for (const ListedKernel &kernel : kernels_under_test()) {
    if (kernel.shape != Shape::minmax) continue;
    Random random(test_seed() + kernel.key());
    for (const auto form : {RunForm::lengths_of_8_bits, RunForm::lengths_of_16_bits, RunForm::starts}) {
      MinmaxCall call = choose_call(kernel, 40, form, random);
      call.compression.compressed = false;
      for (ub4 row = 0; row <= call.rows(); row += call.rows() > 200 ? 1 + row / 8 : 1) {
        call.next_row = row;
        expect_extremes(call, kernel, form, random);
      }
    }
  }
}

} // namespace
