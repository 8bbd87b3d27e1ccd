// Iterators and the extraction of row numbers, of every level, against the model and against inaccessible pages.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "check/guarded_buffer.h"
#include "check/levels.h"
#include "check/random.h"
#include "reference/bit_vector_model.h"

namespace {

using mipo::check::Edge;
using mipo::check::GuardedBuffer;
using mipo::check::Level;
using mipo::check::levels;
using mipo::check::Random;
using Numbers = std::vector<ub8>;

#if defined(__aarch64__)
constexpr ub8 long_vector = 150000; // under emulation
constexpr ub8 stride = 3;
#else
constexpr ub8 long_vector = 600000;
constexpr ub8 stride = 1;
#endif

// The iterator's entries of one form.
struct Form {
  const char *name;
  ub8 unit_bits;
  ub8 end;
  void (*begin)(const mipo_specialized_ctx &, mipo_lbiv_ictx *, const ub1 *, ub8 limit, ub4 mode, ub8 start);
  ub8 (*mipo_specialized_ctx::*next_set)(mipo_lbiv_ictx *);
  ub8 (*mipo_specialized_ctx::*next_clear)(mipo_lbiv_ictx *);
  ub8 (*mipo_specialized_ctx::*ones)(mipo_lbiv_ictx *, ub4 *, ub8);
  ub8 (*mipo_specialized_ctx::*run)(ub8, ub8);
  ub8 (*mipo_specialized_ctx::*runs)(ub8, ub8, ub8, ub8);
};

#define FORM(form, unit, end)                                                                                         \
  {                                                                                                                   \
#form, 8 * sizeof(unit), end,                                                                                       \
   [](const mipo_specialized_ctx &record, mipo_lbiv_ictx *it, const ub1 *bits, ub8 limit, ub4 mode, ub8 start) {       \
     record.mipo_##form##_ictx_ini2_dydi(it, reinterpret_cast<const unit *>(bits), limit, mode, start);                \
   },                                                                                                                  \
   &mipo_specialized_ctx::mipo_##form##iter_dydi, &mipo_specialized_ctx::mipo_##form##iter_clr_dydi,                   \
   &mipo_specialized_ctx::mipo_##form##ones_dydi, &mipo_specialized_ctx::mipo_##form##run_dydi,                        \
   &mipo_specialized_ctx::mipo_##form##runs_dydi \
  }

const Form forms[] = {FORM(lbiv, ub1, 0xffffffff), FORM(lbiwv, ub8, 0xffffffffffffffff)};

ub8 bytes_of(const Form &form, ub8 bits) {
  return (bits + form.unit_bits - 1) / form.unit_bits * form.unit_bits / 8;
}

class Iterators : public testing::Test {
protected:
  static void SetUpTestSuite() { mipo::check::report_faults(); }
};

TEST_F(Iterators, steps_deliver_the_bits_of_any_stretch_and_read_no_other_byte) {
  Random random(mipo::check::test_seed());
  for (const Level &level : levels())
    for (const Form &form : forms)
      for (ub8 limit = 0; limit <= 200; limit += 1 + (limit > 70 ? random.below(6) : 0))
        for (ub8 start = 0; start <= limit + 1; start += 1 + random.below(4 * stride))
          for (const bool clear_bits : {false, true}) {
            const ub8 size = bytes_of(form, limit);
            const std::size_t shift = form.unit_bits == 8 ? random.below(8) : 0;
            GuardedBuffer vector(size, random.chance(70) ? Edge::end : Edge::start, shift);
            const ub8 kind = random.below(5);
            for (ub8 i = 0; i < size; ++i)
              vector.data()[i] = kind == 0 ? 0 : kind == 1 ? 0xff : static_cast<ub1>(random.next());
            const std::string what = level.name + " " + form.name + " bits " + std::to_string(start) + " to " +
                                     std::to_string(limit) + (clear_bits ? ", clear" : ", set");
            mipo::check::running(what.c_str());

            mipo_lbiv_ictx it;
            std::memset(&it, 0x5a, sizeof it);
            form.begin(*level.record, &it, vector.data(), limit, clear_bits, start);
            if (limit <= start) {
              const mipo_lbiv_ictx empty{};
              ASSERT_EQ(std::memcmp(&it, &empty, sizeof it), 0) << what;
            } else {
              ASSERT_EQ(it.bit_limit, limit) << what;
              const ub8 first_bit = reinterpret_cast<ub8>(vector.data()) % 8 * (form.unit_bits == 8 ? 8 : 0);
              ASSERT_EQ(it.word_base, (start + first_bit) / 64 * 64 - first_bit) << what;
            }
            const auto next = level.record->*(clear_bits ? form.next_clear : form.next_set);
            for (const ub8 expected : mipo::reference::walk(vector.data(), limit, start, clear_bits))
              ASSERT_EQ(next(&it), expected) << what;
            for (int again = 0; again < 3; ++again) ASSERT_EQ(next(&it), form.end) << what;
            ASSERT_TRUE(vector.intact()) << what;
          }
}

TEST_F(Iterators, only_the_low_byte_of_the_mode_counts) {
  const ub8 vector[] = {0x5};
  for (const Level &level : levels())
    for (const Form &form : forms)
      for (const auto &[mode, clear_bits] : {std::pair{0x101u, true}, {0x100u, false}, {2u, false}, {0xffu, false}}) {
        mipo_lbiv_ictx it;
        form.begin(*level.record, &it, reinterpret_cast<const ub1 *>(vector), 3, mode, 0);
        ASSERT_EQ(it.pending, clear_bits ? 0x2u : 0x5u) << level.name << " " << form.name << " mode " << mode;
      }
}

TEST_F(Iterators, there_are_no_runs) {
  for (const Level &level : levels())
    for (const Form &form : forms) {
      EXPECT_EQ((level.record->*form.run)(1, 2), form.end) << level.name << " " << form.name;
      EXPECT_EQ((level.record->*form.runs)(1, 2, 3, 4), 0u) << level.name << " " << form.name;
    }
}

// Stretches of different density one behind the other, so that both ways of extraction take turns.
std::vector<ub1> mixed_vector(Random &random, ub8 bits, const std::vector<unsigned> &per_mille) {
  std::vector<ub1> vector(bits / 8 + 8);
  for (ub8 i = 0; i < bits; ++i) {
    const unsigned density = per_mille[i * per_mille.size() / bits];
    if (random.below(1000) < density) vector[i / 8] = static_cast<ub1>(vector[i / 8] | 1 << i % 8);
  }
  return vector;
}

// Everything from `it`, in batches of at most `capacity`, with a step in between now and then.
void extract_all(const Level &level, const Form &form, mipo_lbiv_ictx it, ub8 capacity, unsigned step_chance,
                 const Numbers &expected, const std::string &what) {
  Random random(capacity);
  const ub4 untouched = 0x77777777;
  Numbers got;
  for (;;) {
    if (random.chance(step_chance)) {
      const ub8 number = (level.record->*form.next_set)(&it);
      if (number == form.end) break;
      got.push_back(number);
    }
    GuardedBuffer rows(capacity * sizeof(ub4), Edge::end, 0, 0x77);
    mipo::check::running(what.c_str());
    const ub8 count = (level.record->*form.ones)(&it, reinterpret_cast<ub4 *>(rows.data()), capacity);
    ASSERT_LE(count, capacity) << what;
    ASSERT_TRUE(rows.intact()) << what;
    for (ub8 i = 0; i < count; ++i) {
      ub4 row;
      std::memcpy(&row, rows.data() + i * sizeof row, sizeof row);
      ASSERT_NE(row, untouched) << what;
      got.push_back(row);
    }
    if (count < capacity) break;
  }
  const auto differs = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end());
  ASSERT_TRUE(got == expected) << what << ": " << got.size() << " numbers instead of " << expected.size()
                               << ", the first wrong one in place " << differs.first - got.begin();
  ub4 none;
  ASSERT_EQ((level.record->*form.ones)(&it, &none, 1), 0u) << what;
  ASSERT_EQ((level.record->*form.next_set)(&it), form.end) << what;
}

TEST_F(Iterators, batches_deliver_every_bit_once_and_in_order) {
  Random random(mipo::check::test_seed() + 1);
  const std::vector<std::vector<unsigned>> densities = {
      {0}, {1}, {10}, {180}, {500}, {950}, {1000}, {900, 0, 5, 1000, 180, 20, 700}, {1, 1000}, {1000, 1}};
  for (const auto &per_mille : densities) {
    const std::vector<ub1> bits = mixed_vector(random, long_vector, per_mille);
    for (const Level &level : levels())
      for (const Form &form : forms) {
        const ub8 limit = long_vector - random.below(70), start = random.below(200);
        GuardedBuffer vector(bytes_of(form, limit), Edge::end, form.unit_bits == 8 ? random.below(8) : 0);
        std::memcpy(vector.data(), bits.data(), vector.size());
        const Numbers expected = mipo::reference::walk(vector.data(), limit, start, false);
        for (const ub8 capacity : {expected.size(), expected.size() + 100, expected.size() / 2 + 1, ub8{8192},
                                   ub8{8193}, ub8{30000}, ub8{256}}) {
          if (capacity == 0) continue;
          mipo_lbiv_ictx it;
          form.begin(*level.record, &it, vector.data(), limit, 0, start);
          ASSERT_NO_FATAL_FAILURE(extract_all(level, form, it, capacity, capacity == 30000 ? 50 : 0, expected,
                                              level.name + " " + form.name + "ones, " + std::to_string(per_mille[0]) +
                                                  " per mille, capacity " + std::to_string(capacity)));
        }
      }
  }
}

TEST_F(Iterators, small_batches_and_steps_may_be_mixed) {
  Random random(mipo::check::test_seed() + 2);
  for (const Level &level : levels())
    for (const Form &form : forms)
      for (const unsigned per_mille : {0, 3, 50, 500, 1000})
        for (const ub8 limit : {1, 63, 64, 65, 200, 517, 1000}) {
          const std::vector<ub1> bits = mixed_vector(random, limit, {per_mille});
          const ub8 start = random.below(limit);
          GuardedBuffer vector(bytes_of(form, limit), Edge::end, form.unit_bits == 8 ? random.below(8) : 0, 0xff);
          for (ub8 i = 0; i < limit; ++i)
            if (!mipo::reference::bit_of(bits.data(), i)) vector.data()[i / 8] &= static_cast<ub1>(~(1 << i % 8));
          const Numbers expected = mipo::reference::walk(vector.data(), limit, start, false);
          for (const ub8 capacity : {1, 7, 8, 9, 63, 64, 65, 72, 73, 256})
            for (const unsigned step_chance : {0u, 40u}) {
              mipo_lbiv_ictx it;
              form.begin(*level.record, &it, vector.data(), limit, 0, start);
              ub4 nothing = 0x77777777;
              ASSERT_EQ((level.record->*form.ones)(&it, &nothing, 0), 0u);
              ASSERT_EQ(nothing, 0x77777777u);
              ASSERT_NO_FATAL_FAILURE(extract_all(level, form, it, capacity, step_chance, expected,
                                                  level.name + " " + form.name + ", " + std::to_string(limit) +
                                                      " bits at " + std::to_string(per_mille) +
                                                      " per mille, capacity " + std::to_string(capacity)));
            }
        }
}

} // namespace
