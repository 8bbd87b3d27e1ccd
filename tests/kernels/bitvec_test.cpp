// Set operations and ranges on bit vectors of both forms, held against one bit at a time.
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>
#include <sys/mman.h>
#include <unistd.h>

#include "check/bit_vector_entries.h"
#include "check/guarded_buffer.h"
#include "check/guarded_sources.h"
#include "check/random.h"
#include "reference/bit_vector_model.h"

namespace mipo::check {
namespace {

using reference::Combined;

template <class Unit>
class BitVectors : public ::testing::Test {
protected:
  using Entries = BitVectorEntries<Unit>;
  using Algebra = typename Entries::Algebra;

  static std::vector<ub1> random_bytes(Random &random, std::size_t size) {
    std::vector<ub1> bytes(size);
    const ub8 kind = random.below(6);
    for (ub1 &byte : bytes)
      byte = kind == 0 ? 0 : kind == 1 || random.chance(10) ? 0xff : static_cast<ub1>(random.next());
    return bytes;
  }

  static std::unique_ptr<GuardedBuffer> protected_copy(const std::vector<ub1> &bytes, Edge edge, std::size_t shift) {
    auto buffer = std::make_unique<GuardedBuffer>(bytes.size(), edge, shift);
    std::copy(bytes.begin(), bytes.end(), buffer->data());
    buffer->protect();
    return buffer;
  }

  // One operation on write-protected sources; the result in a buffer of its own, then in place of each source.
  static void check_operation(const std::string &level, const Algebra &entry, const std::vector<ub1> *contents,
                              const std::unique_ptr<GuardedBuffer> *sources, const GuardedBuffer &result, ub8 length) {
    const reference::BitOperation *operation = reference::bit_operation(entry.name);
    ASSERT_NE(operation, nullptr) << entry.name << " has no model";
    const Combined expected = reference::combine(*operation, contents, length, sizeof(Unit));
    running(level + " " + std::string(Entries::form) + entry.name, length);
    const unsigned places = entry.has_result ? operation->sources + 1 : 1;
    for (unsigned place = 0; place < places; ++place)
      for (const bool counted : {true, false}) {
        if (!counted && !entry.has_result) continue;
        const Unit *arguments[3];
        for (unsigned i = 0; i < 3; ++i) arguments[i] = reinterpret_cast<const Unit *>(sources[i]->data());
        if (place > 0) {
          std::copy(contents[place - 1].begin(), contents[place - 1].end(), result.data());
          arguments[place - 1] = reinterpret_cast<const Unit *>(result.data());
        } else {
          for (std::size_t i = 0; i < result.size(); ++i) result.data()[i] = static_cast<ub1>(~expected.bytes[i]);
        }
        ub4 count[] = {0xdeadbeef, 0xdeadbeef, 0xdeadbeef};
        entry.call(reinterpret_cast<Unit *>(result.data()), counted ? &count[1] : nullptr, arguments, length);

        const auto what = [&] {
          return ::testing::Message() << level << " " << Entries::form << entry.name << ", " << length
                                      << " bits, result at " << static_cast<const void *>(result.data()) << " in place "
                                      << place << ", count " << counted;
        };
        ASSERT_EQ(count[1], counted ? expected.count : 0xdeadbeef) << what();
        ASSERT_TRUE(count[0] == 0xdeadbeef && count[2] == 0xdeadbeef) << what() << ": wrote beside the count";
        ASSERT_TRUE(!entry.has_result || std::equal(expected.bytes.begin(), expected.bytes.end(), result.data()))
            << what();
      }
    ASSERT_TRUE(result.intact()) << level << " " << Entries::form << entry.name << ", " << length
                                 << " bits: wrote beside the result at " << static_cast<const void *>(result.data());
  }
};

using Units = ::testing::Types<ub1, ub8>;
TYPED_TEST_SUITE(BitVectors, Units);

// An entry that takes the place of another in the sorting would go untested.
TYPED_TEST(BitVectors, EveryListedEntryIsTested) {
#define ONE(result, entry, arguments) +1
  constexpr std::size_t listed = MIPO_BIT_VECTOR_ENTRIES(ONE, lbiv, ub1);
#undef ONE
  for (const Level &level : levels()) {
    const BitVectorEntries<TypeParam> entries(level);
    const bool others[] = {entries.set_range != nullptr, entries.clear_range != nullptr, entries.begin != nullptr,
                           entries.next_set != nullptr,  entries.next_clear != nullptr,  entries.batch != nullptr,
                           entries.run != nullptr,       entries.runs != nullptr};
    EXPECT_EQ(std::accumulate(std::begin(others), std::end(others), entries.algebra.size()), listed) << level.name;
  }
}

TYPED_TEST(BitVectors, OperationsAtEveryLengthAndPlace) {
  using Form = BitVectorEntries<TypeParam>;
  std::vector<ub8> lengths(301);
  std::iota(lengths.begin(), lengths.end(), 0);
  lengths.insert(lengths.end(), {511, 512, 513, 1023, 1024, 1025, 2047, 2048, 2049, 4095, 4096, 4097, 10'007});
  // A word vector is aligned by contract; an odd address must give the same all the same.
  const std::vector<std::size_t> shifts =
      Form::of_bytes ? std::vector<std::size_t>{0, 1, 2, 3, 4, 5, 6, 7} : std::vector<std::size_t>{0, 1, 8};
  for (const Level &level : levels()) {
    const Form entries(level);
    Random random;
    for (const ub8 length : lengths)
      for (std::size_t round = 0; round <= shifts.size(); ++round) {
        std::vector<ub1> contents[3];
        std::unique_ptr<GuardedBuffer> sources[3];
        const bool at_end = round == shifts.size();
        for (unsigned i = 0; i < 3; ++i) {
          contents[i] = TestFixture::random_bytes(random, Form::bytes_of(length));
          sources[i] = at_end || random.chance(50)
                           ? TestFixture::protected_copy(contents[i], Edge::end, 0)
                           : TestFixture::protected_copy(contents[i], Edge::start, shifts[random.below(shifts.size())]);
        }
        const GuardedBuffer result(Form::bytes_of(length), at_end ? Edge::end : Edge::start,
                                   at_end ? 0 : shifts[round]);
        for (const auto &entry : entries.algebra)
          TestFixture::check_operation(level.name, entry, contents, sources, result, length);
        if (this->HasFailure()) return;
      }
  }
}

TYPED_TEST(BitVectors, LengthZeroTouchesNoVector) {
  const GuardedBuffer empty(0);
  auto *nowhere = reinterpret_cast<TypeParam *>(empty.data() + 1024); // amid an inaccessible page
  const TypeParam *const sources[] = {nowhere, nowhere, nowhere};
  for (const Level &level : levels())
    for (const auto &entry : BitVectorEntries<TypeParam>(level).algebra) {
      running(level.name + " " + entry.name + " of no bits");
      ub4 count = 0xdeadbeef;
      entry.call(nowhere, &count, sources, 0);
      EXPECT_EQ(count, 0u) << level.name << " " << entry.name;
      if (entry.has_result) entry.call(nowhere, nullptr, sources, 0);
    }
}

// Counters held in the lanes of a register must not overflow, however long and dense the vector is.
TYPED_TEST(BitVectors, CountsOfLongVectors) {
  using Form = BitVectorEntries<TypeParam>;
  for (const Level &level : levels()) {
    const Form entries(level);
    Random random;
    for (const ub8 length : {8 * 255 * 32 - 1, 300'001, 2'097'152 + 65})
      for (const bool full : {true, false}) {
        const std::size_t bytes = Form::bytes_of(length);
        std::vector<ub1> contents[3];
        std::unique_ptr<GuardedBuffer> sources[3];
        for (unsigned i = 0; i < 3; ++i) {
          contents[i] = full ? std::vector<ub1>(bytes, 0xff) : TestFixture::random_bytes(random, bytes);
          sources[i] = TestFixture::protected_copy(contents[i], Edge::end, 0);
        }
        const GuardedBuffer result(bytes);
        for (const auto &entry : entries.algebra)
          if (full ? entry.name == "popcnt" || entry.name == "or3" : entry.name == "andnot" || entry.name == "not")
            TestFixture::check_operation(level.name, entry, contents, sources, result, length);
      }
  }
}

#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // else it takes too long
// Lengths have 64 bits, while counts wrap at 32.
TYPED_TEST(BitVectors, LengthsAboveFourBillion) {
  constexpr std::size_t piece = std::size_t{1} << 22, pieces = 129; // 516 MiB of addresses, the same 4 MiB everywhere
  const int file = memfd_create("ones", 0);
  ASSERT_GE(file, 0);
  ASSERT_EQ(ftruncate(file, piece), 0);
  void *mapping = mmap(nullptr, pieces * piece, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(mapping, MAP_FAILED);
  auto *bytes = static_cast<ub1 *>(mapping);
  for (std::size_t i = 0; i < pieces; ++i)
    ASSERT_NE(mmap(bytes + i * piece, piece, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0), MAP_FAILED);
  std::memset(bytes, 0xff, piece);
  bytes[0] = 0; // of every piece, so that a length cut to 32 bits gives another count
  for (const Level &level : levels())
    for (const auto &entry : BitVectorEntries<TypeParam>(level).algebra)
      if (!entry.has_result) {
        const TypeParam *const sources[] = {static_cast<const TypeParam *>(mapping), nullptr, nullptr};
        ub4 count = 0;
        running(level.name + " " + entry.name + " of more than 2^32 bits");
        entry.call(nullptr, &count, sources, (ub8{1} << 32) + 12'345);
        EXPECT_EQ(count, 12'345 - 8 * pieces) << level.name;
      }
  munmap(mapping, pieces * piece);
  close(file);
}
#endif

// A range reaches into the bytes of its first and its last bit and what lies between; no other byte exists here.
TYPED_TEST(BitVectors, RangesTouchTheirBytesAlone) {
  using Form = BitVectorEntries<TypeParam>;
  for (const Level &level : levels()) {
    const Form entries(level);
    Random random;
    for (ub8 first = 0; first < 72; ++first)
      for (ub8 last = first; last < first + 200; last += last < first + 20 ? 1 : 1 + random.below(9)) {
        const ub8 skipped = first / 8, bytes = last / 8 - skipped + 1;
        const GuardedBuffer bits(bytes, some_edge(random));
        const ub8 origin = random.chance(30) ? ub8{1} << 32 : 0; // bit numbers have more than 32 bits
        auto *vector = reinterpret_cast<TypeParam *>(reinterpret_cast<uintptr_t>(bits.data()) - skipped - origin / 8);
        for (const bool value : {true, false}) {
          std::vector<ub1> expected = TestFixture::random_bytes(random, bytes);
          std::copy(expected.begin(), expected.end(), bits.data());
          running(level.name + " range of " + std::string(Form::form), first * 1000 + last);
          (value ? entries.set_range : entries.clear_range)(vector, origin + first, origin + last);
          reference::fill_range(expected, first - 8 * skipped, last - 8 * skipped, value);
          ASSERT_TRUE(std::equal(expected.begin(), expected.end(), bits.data()) && bits.intact())
              << level.name << " " << Form::form << (value ? " set " : " clear ") << origin + first << " to "
              << origin + last;
        }
      }
  }
}

} // namespace
} // namespace mipo::check
