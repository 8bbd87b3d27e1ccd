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
  /// Wiped, as far as the `wanted` entries that a batch has to write reach.
  ub4 *entries(ub8 capacity, ub8 wanted) {
    const GuardedBuffer &buffer = of(capacity);
    std::memset(buffer.data(), 0xa5, wanted * sizeof(ub4));
    return reinterpret_cast<ub4 *>(buffer.data());
  }
  bool intact(ub8 capacity) { return of(capacity).intact(); }

private:
  const GuardedBuffer &of(ub8 capacity) {
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

  // Walks to the end, and three calls further: by steps, by batches, or by turns (`step_percent` of the calls are
  // steps). Batches have capacities out of `capacities`, in random order.
  void walk(const Level &level, const GuardedBuffer &vector, ub8 limit, ub4 mode, ub8 start,
            const std::vector<ub8> &expected, unsigned step_percent, const std::vector<ub8> &capacities) {
    const Entries entries(level);
    const auto step = (mode & 0xff) == clear_bits ? entries.next_clear : entries.next_set;
    running(level.name + " walk of " + std::string(Entries::form), limit * 1000 + start);
    mipo_lbiv_ictx it;
    std::memset(&it, 0xee, sizeof it);
    entries.begin(&it, reinterpret_cast<const Unit *>(vector.data()), limit, mode, start);
    std::size_t done = 0;
    const auto what = [&] {
      return ::testing::Message() << level.name << " " << Entries::form << " from " << start << " to " << limit
                                  << " mode " << mode << ": number " << done << " of " << expected.size();
    };
    if (limit <= start) {
      const mipo_lbiv_ictx empty{};
      ASSERT_EQ(std::memcmp(&it, &empty, sizeof it), 0) << what() << ": begins after the limit";
    } else {
      ASSERT_EQ(it.word_base, word_base(vector, start)) << what();
      ASSERT_NO_FATAL_FAILURE(check_record(it, vector, limit, expected, done)) << what();
    }
    for (int calls_behind_end = 0; calls_behind_end < 3;) {
      if (random_.chance(step_percent)) {
        const bool ends = done == expected.size();
        ASSERT_EQ(step(&it), ends ? Entries::end_marker : expected[done]) << what();
        ASSERT_TRUE(ends || it.word_base == word_base(vector, expected[done])) << what() << ", at " << it.word_base;
        done += !ends;
        calls_behind_end += ends;
      } else {
        const ub8 capacity = capacities[random_.below(capacities.size())];
        const ub8 wanted = std::min<ub8>(capacity, expected.size() - done);
        ub4 *const rows = room_.entries(capacity, wanted);
        ASSERT_EQ(entries.batch(&it, rows, capacity), wanted) << what() << ", room for " << capacity;
        ASSERT_TRUE(room_.intact(capacity)) << what() << ": stored after its room of " << capacity;
        const auto wrong = std::mismatch(rows, rows + wanted, expected.begin() + static_cast<std::ptrdiff_t>(done),
                                         [](ub4 row, ub8 number) { return row == static_cast<ub4>(number); });
        ASSERT_EQ(wrong.first, rows + wanted) << what() << ", entry " << wrong.first - rows << " of a batch of "
                                              << capacity << " is " << *wrong.first << " instead of " << *wrong.second;
        done += wanted;
        calls_behind_end += wanted < capacity;
      }
      // Hosts may copy and keep the record between calls, so that it is right after each.
      if (limit > start) {
        ASSERT_NO_FATAL_FAILURE(check_record(it, vector, limit, expected, done)) << what();
      }
    }
  }

private:
  // Bit number of bit 0 of the word that holds `bit`. A byte vector is walked in the aligned words of memory, and the
  // first of them may begin before it: its number is then below zero.
  static ub8 word_base(const GuardedBuffer &vector, ub8 bit) {
    const ub8 ahead = Entries::of_bytes ? 8 * (reinterpret_cast<uintptr_t>(vector.data()) % 8) : 0;
    return (bit + ahead) / 64 * 64 - ahead;
  }

  // Whatever word the record stands at, it holds all of this word's undelivered bits and no other.
  static void check_record(const mipo_lbiv_ictx &it, const GuardedBuffer &vector, ub8 limit,
                           const std::vector<ub8> &expected, std::size_t done) {
    ub8 pending = 0;
    for (std::size_t i = done; i < expected.size() && expected[i] - it.word_base < 64; ++i)
      pending |= ub8{1} << (expected[i] - it.word_base);
    ASSERT_EQ(it.pending, pending);
    ASSERT_EQ(it.bit_limit, limit);
    if (done == expected.size()) return; // after the last word, there is no next one
    ASSERT_EQ(it.word_base, word_base(vector, it.word_base + 63));
    ASSERT_EQ(reinterpret_cast<uintptr_t>(it.next_word),
              reinterpret_cast<uintptr_t>(vector.data()) + static_cast<ub8>(static_cast<sb8>(it.word_base) / 8) + 8);
  }

protected:
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
        // In place 0 the vector ends at an inaccessible page; in the others it begins after one, at all addresses.
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
          static const ub4 modes[] = {set_bits, clear_bits, 2, 0xff, 0x100 | clear_bits, 0xffffff00};
          const ub4 mode = modes[this->random_.below(std::size(modes))];
          const bool clear = (mode & 0xff) == clear_bits;
          const std::vector<ub8> expected = reference::walk(contents, limit, start, clear);
          this->walk(level, vector, limit, mode, start, expected,
                     clear || start % 3 == 0 ? 100
                     : start % 3 == 1        ? 50
                                             : 0,
                     {0, 1, 7, 8, 9, 63, 64, 65, 256});
          if (this->HasFailure()) return;
        }
        ASSERT_TRUE(vector.intact()) << level.name;
      }
}

// Large batches may go another way through dense parts; it must give the same and keep to its room. The vector is long
// enough for a batch's working unit to grow from 8192 entries to its greatest size, 131072, and to stay there.
TYPED_TEST(BitIterator, LongVectorsOfAllDensities) {
  using Form = BitVectorEntries<TypeParam>;
#if defined(__aarch64__)
  constexpr ub8 limit = 150'003; // under emulation
#else
  constexpr ub8 limit = 600'003;
#endif
  // Set bits of a thousand, in stretches of equal length that follow each other.
  const std::vector<std::vector<unsigned>> densities = {
      {0}, {1}, {10}, {175}, {185}, {500}, {950}, {1000}, {1, 1000}, {1000, 1}, {900, 0, 5, 1000, 180, 20, 700, 950}};
  const std::size_t bytes = Form::bytes_of(limit);
  const GuardedBuffer vector(bytes);
  for (const std::vector<unsigned> &stretches : densities) {
    std::vector<ub1> contents(bytes);
    for (ub8 bit = 0; bit < 8 * bytes; ++bit)
      if (this->random_.below(1000) < stretches[bit * stretches.size() / (8 * bytes)])
        reference::fill_range(contents, bit, bit, true);
    std::copy(contents.begin(), contents.end(), vector.data());
    const ub8 start = this->random_.below(100);
    const std::vector<ub8> expected = reference::walk(contents, limit, start, false);
    for (const Level &level : levels()) {
      for (const ub8 capacity : {ub8{255}, ub8{8192}, ub8{8193}, ub8{20'001}, ub8{24'576}, ub8{limit}})
        this->walk(level, vector, limit, set_bits, start, expected, 0, {capacity});
      // Room for all numbers but one, exactly all, and one more.
      for (const ub8 capacity : {expected.size() - 1, expected.size(), expected.size() + 1})
        if (capacity - 1 < limit) this->walk(level, vector, limit, set_bits, start, expected, 0, {capacity});
      this->walk(level, vector, limit, set_bits, start, expected, 30, {8, 256, 8200, 30'000, 50'000});
      if (this->HasFailure()) return;
    }
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
