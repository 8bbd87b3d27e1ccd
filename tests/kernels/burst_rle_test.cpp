// The kernels that turn selected runs into selected rows.
#include <gtest/gtest.h>

#include <csignal>
#include <numeric>
#include <string>
#include <vector>

#include "check/built_kernels.h"
#include "check/guarded_sources.h"
#include "check/levels.h"
#include "check/stored_runs.h"

namespace {

using namespace mipo::check;
using namespace mipo::reference;

struct Burst {
  ub4 width_field;
  RunForm form;
};

constexpr Burst bursts[] = {{MIPO_BURST_RLE_8BIT, RunForm::lengths_of_8_bits},
                            {MIPO_BURST_RLE_16BIT, RunForm::lengths_of_16_bits},
                            {MIPO_BURST_RLE_8BIT_CLA, RunForm::starts},
                            {MIPO_BURST_RLE_16BIT_CLA, RunForm::starts}};

RunForm form_of(const ListedKernel &kernel) {
  for (const Burst &burst : bursts)
    if (burst.width_field == kernel.width_field) return burst.form;
  ADD_FAILURE() << kernel.name << " has no form";
  return RunForm::starts;
}

std::vector<ListedKernel> built_bursts() {
  std::vector<ListedKernel> kernels;
  for (const ListedKernel &kernel : kernels_under_test())
    if (kernel.shape == Shape::burst) kernels.push_back(kernel);
  return kernels;
}

// A call laid out in guarded memory; what a kernel of `form` does not read is nowhere, or noise.
class BurstCase {
public:
  BurstCase(const std::vector<ub4> &lengths, const std::vector<bool> &selected, RunForm form, Random &random)
      : rows_(rows_of_runs(lengths, selected)) {
    const std::vector<ub4> starts = run_starts(lengths);
    for (std::size_t run = 0; run < lengths.size(); ++run)
      last_rows_are_selected_ |= selected[run] && starts[run + 1] == rows_.size();
    fill_with_noise(random, res_, src_, enc_, aux_);
    enc_.flags |= MIPO_RLE;
    enc_.run_count = static_cast<ub4>(lengths.size());
    enc_.run_lens = enc_.run_bv = nowhere_.words();
    enc_.run_starts = reinterpret_cast<const ub4 *>(nowhere_.data());
    ub1 *runs = store_runs(lengths, form, sources_);
    if (form == RunForm::starts)
      enc_.run_starts = reinterpret_cast<const ub4 *>(runs);
    else
      enc_.run_lens = runs;
    src_.data = nowhere_.data();
    src_.enc_ctx = &enc_;
    aux_.ones_vec = sources_.keep_bits(selected, random);
    res_.nrows = static_cast<ub4>(rows_.size());
  }

  // What differs from the selected rows, or an empty text.
  std::string run(mipo_kernel kernel) {
    const std::size_t words = (rows_.size() + 63) / 64;
    // A run that ends where a word does may store a zero into the next one.
    const bool has_word_behind = rows_.size() % 64 == 0;
    GuardedBuffer output(8 * (words + has_word_behind), Edge::end, 0, 0xa5);
    res_.bv = output.words();
    mipo_vec res_after = res_;
    const mipo_vec src_before = src_;
    const mipo_enc_ctx enc_before = enc_;
    const mipo_call_ctx aux_before = aux_;

    const ub4 code = kernel.burst(&res_, &src_, &aux_);

    const auto selected = static_cast<ub4>(std::accumulate(rows_.begin(), rows_.end(), 0));
    res_after.nset = selected;
    std::string wrong;
    if (code != (selected == 0 ? 1u : 0u)) wrong += "returned " + std::to_string(code) + "; ";
    if (res_.nset != selected)
      wrong += "nset is " + std::to_string(res_.nset) + ", not " + std::to_string(selected) + "; ";
    for (std::size_t row = 0; row < 64 * words && wrong.size() < 100; ++row)
      if ((output.words()[row / 64] >> (row % 64) & 1) != (row < rows_.size() && rows_[row]))
        wrong += "row " + std::to_string(row) + " is wrong; ";
    constexpr ub8 untouched = 0xa5a5a5a5a5a5a5a5;
    if (has_word_behind && output.words()[words] != untouched &&
        !(output.words()[words] == 0 && last_rows_are_selected_))
      wrong += "the word after the last row was written; ";
    if (!output.intact()) wrong += "wrote beside the output; ";
    if (wrong.empty() &&
        !(same(res_, res_after) && same(src_, src_before) && same(enc_, enc_before) && same(aux_, aux_before)))
      wrong += "changed a field that is not its own; ";
    return wrong;
  }

  // A call that breaks a rule, or none: without some flags, or with the selection as its output.
  void call(mipo_kernel kernel, ub4 cleared_flags, bool into_selection) {
    std::vector<ub8> words(rows_.size() / 64 + 1);
    enc_.flags &= ~cleared_flags;
    res_.bv = into_selection ? const_cast<ub8 *>(aux_.ones_vec) : words.data();
    kernel.burst(&res_, &src_, &aux_);
  }

private:
  std::vector<bool> rows_;
  bool last_rows_are_selected_ = false;
  GuardedSources sources_;
  GuardedBuffer nowhere_{0};
  mipo_vec res_, src_;
  mipo_enc_ctx enc_;
  mipo_call_ctx aux_;
};

void expect_selected_rows(const ListedKernel &kernel, std::vector<ub4> lengths, const std::vector<bool> &selected,
                          Random &random) {
  const RunForm form = form_of(kernel);
  for (ub4 &length : lengths) length = std::min(length, longest_run(form));
  for (const Level &level : levels()) {
    const std::string what =
        running(kernel.name + " at level " + level.name + ", " + std::to_string(lengths.size()) + " runs");
    BurstCase in_memory(lengths, selected, form, random);
    ASSERT_EQ(in_memory.run(level.record->dispatch_table[kernel.key()]), "")
        << what << ", seed " << test_seed() << ", runs " << testing::PrintToString(lengths) << ", selected "
        << testing::PrintToString(selected);
  }
}

constexpr ub4 telling_lengths[] = {0, 1, 2, 63, 64, 65, 127, 128, 129, 255, 256, 1000, 100000};

// One selected run of each length after each bit of a word, the last one or with rows after it.
TEST(BurstRleTest, RunsStartAndEndAtEveryBit) {
  for (const ListedKernel &kernel : built_bursts()) {
    Random random(test_seed() + kernel.key());
    for (const ub4 length : telling_lengths)
      for (ub4 before = 0; before < 64; ++before) {
        if (length > 1000 && before % 9 != 0) continue;
        expect_selected_rows(kernel, {before, length}, {false, true}, random);
        expect_selected_rows(kernel, {before, length, 7}, {true, true, false}, random);
        expect_selected_rows(kernel, {64 - before, before, length, 63, 1}, {true, false, true, false, true}, random);
        const ub4 to_the_word = (64 - (before + length) % 64) % 64;
        expect_selected_rows(kernel, {before, length, to_the_word}, {false, true, false}, random);
      }
  }
}

// Enough runs that the lengths of many are summed up at once, around each count at which they may be.
TEST(BurstRleTest, ManyRunsWithAnySelection) {
  for (const ListedKernel &kernel : built_bursts()) {
    Random random(test_seed() + kernel.key());
    for (const std::size_t count : {0, 1, 2, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 128, 129, 257, 700})
      for (const unsigned percent : {0, 2, 10, 50, 95, 100})
        for (const unsigned kind : {0, 1, 2}) {
          std::vector<ub4> lengths(count);
          std::vector<bool> selected(count);
          for (std::size_t run = 0; run < count; ++run) {
            lengths[run] = kind == 0   ? static_cast<ub4>(random.below(4))
                           : kind == 1 ? static_cast<ub4>(random.below(300))
                                       : telling_lengths[random.below(std::size(telling_lengths) - 1)];
            selected[run] = random.chance(percent);
          }
          expect_selected_rows(kernel, lengths, selected, random);
        }
    expect_selected_rows(kernel, std::vector<ub4>(20, 65535), std::vector<bool>(20, true), random);
  }
}

TEST(BurstRleTest, BugsOfTheHostFailAnAssertion) {
  const auto escaped = [](const std::string &text) {
    std::string pattern;
    for (const char letter : text) pattern += std::string(letter == '(' || letter == ')' ? "\\" : "") + letter;
    return pattern;
  };
  for (const ListedKernel &kernel : built_bursts())
    for (const Level &level : levels()) {
      Random random;
      BurstCase in_memory({5, 70, 3}, {true, false, true}, form_of(kernel), random);
      const mipo_kernel built = level.record->dispatch_table[kernel.key()];
      const std::string report = "mipoc_arm64neon:[0-9]+: " + kernel.name + ": Assertion `";
      EXPECT_EXIT(in_memory.call(built, MIPO_RLE, false), testing::KilledBySignal(SIGABRT),
                  report + escaped("MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(src), MIPO_RLE)") + "' failed");
      EXPECT_EXIT(in_memory.call(built, 0, true), testing::KilledBySignal(SIGABRT),
                  report + "mipo_bv_res != mipo_bv_aux' failed");
    }
}

} // namespace
