// Walks over the set and the clear bits of both forms: which numbers come out, in what order, and what is touched.
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <memory>

#include "check/bit_vector_entries.h"
#include "check/guarded_buffer.h"
#include "check/random.h"
#include "reference/bit_vector_model.h"

namespace mipo::check {
namespace {

constexpr ub4 set_bits = 0, clear_bits = MIPO_WALK_CLEAR_BITS;

// Row numbers with room for exactly so many entries in front of an inaccessible page.
class Room {
public:
  ub4 *entries(ub8 capacity) { return reinterpret_cast<ub4 *>(of(capacity).data()); }
  bool intact(ub8 capacity) { return of(capacity).intact(); }

private:
  GuardedBuffer &of(ub8 capacity) {
    auto &buffer = buffers_[capacity];
    if (buffer == nullptr) buffer = std::make_unique<GuardedBuffer>(capacity * sizeof(ub4));
    return *buffer;
  }
  std::map<ub8, std::unique_ptr<GuardedBuffer>> buffers_;
};

template <class Unit>
class BitIterator : public ::testing::Test {
protected:
  using Entries = BitVectorEntries<Unit>;

  static void SetUpTestSuite() { report_faults(); }

  // Walks to the end, and two calls further: by steps, by batches, or by turns (`step_percent` of the calls are steps).
  // Batches have capacities out of `capacities`, in random order.
  void walk(const Level &level, const GuardedBuffer &vector, ub8 limit, ub4 mode, ub8 start,
            const std::vector<ub8> &expected, unsigned step_percent, const std::vector<ub8> &capacities) {
    const Entries entries(level);
    const auto step = (mode & 0xff) == clear_bits ? entries.next_clear : entries.next_set;
    running((level.name + " walk of " + std::string(Entries::form)).c_str(), limit * 1000 + start);
    mipo_lbiv_ictx it;
    std::memset(&it, 0xee, sizeof it);
    entries.begin(&it, reinterpret_cast<const Unit *>(vector.data()), limit, mode, start);
    if (limit <= start) {
      const mipo_lbiv_ictx empty{};
      EXPECT_EQ(std::memcmp(&it, &empty, sizeof it), 0) << Entries::form << " begins behind the limit";
    }
    std::size_t done = 0;
    for (int calls_behind_end = 0; calls_behind_end < 2;) {
      const auto what = ::testing::Message()
                        << level.name << " " << Entries::form << " from " << start << " to " << limit << " mode "
                        << mode << ": number " << done << " of " << expected.size();
      if (random_.chance(step_percent)) {
        const bool ends = done == expected.size();
        ASSERT_EQ(step(&it), ends ? Entries::end_marker : expected[done]) << what;
        done += !ends;
        calls_behind_end += ends;
      } else {
        const ub8 capacity = capacities[random_.below(capacities.size())];
        const ub8 wanted = std::min<ub8>(capacity, expected.size() - done);
        const ub4 *rows = room_.entries(capacity);
        ASSERT_EQ(entries.batch(&it, room_.entries(capacity), capacity), wanted) << what << ", room for " << capacity;
        ASSERT_TRUE(room_.intact(capacity)) << what << ": stored behind its room of " << capacity;
        for (ub8 i = 0; i < wanted; ++i, ++done) ASSERT_EQ(rows[i], static_cast<ub4>(expected[done])) << what;
        calls_behind_end += wanted < capacity;
      }
      // Hosts may copy and keep the record between calls: what is pending stands at its own position.
      if (it.pending != 0) {
        const ub8 pending = it.word_base + static_cast<ub8>(__builtin_ctzll(it.pending));
        ASSERT_TRUE(done < expected.size() && pending == expected[done])
            << what << ", but " << pending << " is pending";
      }
    }
  }

  Random random_{test_seed()};
  Room room_;
};

using Units = ::testing::Types<ub1, ub8>;
TYPED_TEST_SUITE(BitIterator, Units);

TYPED_TEST(BitIterator, EveryStartAndLimitAtEveryAddress) {
  using Form = BitVectorEntries<TypeParam>;
  const unsigned places = Form::of_bytes ? 9 : 2;
  for (const Level &level : levels())
    for (unsigned place = 0; place < places; ++place)
      for (ub8 limit = 0; limit <= 150; ++limit) {
        // In place 0 the vector ends at an inaccessible page; in the others it begins behind one, at all addresses.
        const std::size_t bytes = Form::bytes_of(limit);
        GuardedBuffer vector(bytes, place == 0 ? Edge::end : Edge::start, place == 0 ? 0 : place - 1);
        std::vector<ub1> contents(bytes);
        const ub8 kind = this->random_.below(5);
        for (ub1 &byte : contents) byte = kind == 0 ? 0 : kind == 1 ? 0xff : static_cast<ub1>(this->random_.next());
        std::copy(contents.begin(), contents.end(), vector.data());
        vector.protect();
        const ub8 stride = place == 0 ? 1 : 1 + this->random_.below(3);
        for (ub8 start = 0; start <= limit + 1; start += stride) {
          // Only the low 8 bits of the mode count.
          static const ub4 modes[] = {set_bits, clear_bits, 2, 0x100 | clear_bits, 0xffffff00};
          const ub4 mode = modes[this->random_.below(5)];
          const bool clear = (mode & 0xff) == clear_bits;
          const std::vector<ub8> expected = reference::walk(contents, limit, start, clear);
          this->walk(level, vector, limit, mode, start, expected,
                     clear || start % 3 == 0 ? 100
                     : start % 3 == 1        ? 50
                                             : 0,
                     {0, 1, 7, 8, 9, 256});
          if (this->HasFailure()) return;
        }
        ASSERT_TRUE(vector.intact()) << level.name;
      }
}

// Batches above 8192 entries may go another way through dense parts; it must give the same and keep to its room.
TYPED_TEST(BitIterator, LongVectorsOfAllDensities) {
  using Form = BitVectorEntries<TypeParam>;
  constexpr ub8 limit = 200'003;
  const std::size_t bytes = Form::bytes_of(limit);
  GuardedBuffer vector(bytes);
  for (const Level &level : levels())
    for (const unsigned percent : {0u, 1u, 10u, 17u, 19u, 50u, 95u, 100u, 200u}) {
      std::vector<ub1> contents(bytes);
      for (ub8 bit = 0; bit < 8 * bytes; ++bit)
        if (this->random_.chance(percent == 200 ? (bit / 20'000 % 2 == 0 ? 90 : 2) : percent)) // 200: dense by turns
          reference::fill_range(contents, bit, bit, true);
      std::copy(contents.begin(), contents.end(), vector.data());
      const ub8 start = this->random_.below(100);
      const std::vector<ub8> expected = reference::walk(contents, limit, start, false);
      for (const ub8 capacity : {ub8{255}, ub8{8192}, ub8{8193}, ub8{20'001}, ub8{24'576}, ub8{limit}})
        this->walk(level, vector, limit, set_bits, start, expected, 0, {capacity});
      this->walk(level, vector, limit, set_bits, start, expected, 30, {8, 256, 8200, 30'000, 50'000});
      if (this->HasFailure()) return;
    }
}

// Steps answer 64 bits, batches the low 32 of them.
TYPED_TEST(BitIterator, RowNumbersAboveFourBillion) {
  using Form = BitVectorEntries<TypeParam>;
  constexpr ub8 first = ub8{1} << 32;
  GuardedBuffer words(16);
  words.words()[0] = 0x8000000000000001;
  words.words()[1] = 0x5;
  // The vector that these words would stand in, of which nothing else is read.
  const auto *vector = reinterpret_cast<const TypeParam *>(reinterpret_cast<uintptr_t>(words.data()) - first / 8);
  for (const Level &level : levels()) {
    const Form entries(level);
    mipo_lbiv_ictx it;
    entries.begin(&it, vector, first + 128, set_bits, first);
    for (const ub8 bit : {0, 63, 64, 66}) EXPECT_EQ(entries.next_set(&it), first + bit) << level.name;
    EXPECT_EQ(entries.next_set(&it), Form::end_marker) << level.name;
    entries.begin(&it, vector, first + 128, set_bits, first);
    ub4 rows[8];
    ASSERT_EQ(entries.batch(&it, rows, 8), 4u) << level.name;
    EXPECT_EQ(std::vector<ub4>(rows, rows + 4), (std::vector<ub4>{0, 63, 64, 66})) << level.name;
  }
}

TYPED_TEST(BitIterator, ThereAreNoRuns) {
  using Form = BitVectorEntries<TypeParam>;
  for (const Level &level : levels()) {
    const Form entries(level);
    for (const ub8 argument : {ub8{0}, ~ub8{0}}) {
      EXPECT_EQ(entries.run(argument, argument), Form::end_marker) << level.name;
      EXPECT_EQ(entries.runs(argument, argument, argument, argument), 0u) << level.name;
    }
  }
}

} // namespace
} // namespace mipo::check
