// Set operations and ranges on bit vectors of both forms, held against one bit at a time.
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <numeric>

#include "check/bit_vector_entries.h"
#include "check/guarded_buffer.h"
#include "check/random.h"
#include "reference/bit_vector_model.h"

namespace mipo::check {
namespace {

using reference::Combined;

template <class Unit>
class BitVectors : public ::testing::Test {
protected:
  using Entries = BitVectorEntries<Unit>;

  static void SetUpTestSuite() { report_faults(); }

  static std::vector<ub1> random_bytes(Random &random, std::size_t size) {
    std::vector<ub1> bytes(size);
    for (ub1 &byte : bytes) byte = random.chance(10) ? 0xff : static_cast<ub1>(random.next());
    return bytes;
  }

  // One operation on sources at different places; the result in a buffer of its own, or in place of each source.
  static void check_operation(const std::string &level, const typename Entries::Algebra &entry,
                              const std::vector<ub1> *contents, GuardedBuffer *const *buffers, ub8 length) {
    const reference::BitOperation *operation = reference::bit_operation(entry.name);
    ASSERT_NE(operation, nullptr) << entry.name << " has no model";
    const Combined expected = reference::combine(*operation, contents, length, sizeof(Unit));
    const unsigned places = entry.has_result ? operation->sources + 1 : 1; // the last one is the buffer of its own
    for (unsigned place = 0; place < places; ++place)
      for (const bool counted : {true, false}) {
        if (!counted && !entry.has_result) continue;
        const Unit *sources[3];
        for (unsigned i = 0; i < 3; ++i) {
          if (!contents[i].empty()) std::memcpy(buffers[i]->data(), contents[i].data(), contents[i].size());
          sources[i] = reinterpret_cast<const Unit *>(buffers[i]->data());
        }
        const GuardedBuffer &result = *buffers[place == operation->sources ? 3 : place];
        ub4 count = 0xdeadbeef;
        running((level + " " + std::string(Entries::form) + entry.name).c_str(), length);
        entry.call(reinterpret_cast<Unit *>(result.data()), counted ? &count : nullptr, sources, length);

        const auto what = ::testing::Message()
                          << level << " " << Entries::form << entry.name << ", " << length << " bits, result at "
                          << static_cast<const void *>(result.data()) << " in place " << place << ", count " << counted;
        EXPECT_EQ(count, counted ? expected.count : 0xdeadbeef) << what;
        for (unsigned i = 0; i < 4; ++i) {
          ASSERT_TRUE(buffers[i]->intact()) << what << ": wrote beside buffer " << i;
          const bool is_result = entry.has_result && buffers[i] == &result;
          if (i == 3 && !is_result) continue;
          const std::vector<ub1> &bytes = is_result ? expected.bytes : contents[i];
          ASSERT_TRUE(std::equal(bytes.begin(), bytes.end(), buffers[i]->data())) << what << ": buffer " << i;
        }
      }
  }
};

using Units = ::testing::Types<ub1, ub8>;
TYPED_TEST_SUITE(BitVectors, Units);

TYPED_TEST(BitVectors, OperationsAtEveryLengthAndPlace) {
  using Form = BitVectorEntries<TypeParam>;
  std::vector<ub8> lengths(301);
  std::iota(lengths.begin(), lengths.end(), 0);
  lengths.insert(lengths.end(), {511, 512, 513, 1000, 2047, 2048, 2049, 4095, 4097});
  // A word vector is aligned by contract; an odd address must give the same all the same.
  const std::vector<std::size_t> offsets =
      Form::of_bytes ? std::vector<std::size_t>{0, 1, 2, 3, 4, 5, 6, 7} : std::vector<std::size_t>{0, 1, 8};
  for (const Level &level : levels()) {
    const Form entries(level);
    EXPECT_EQ(entries.algebra.size(), 9u);
    Random random(test_seed());
    for (const ub8 length : lengths)
      for (const std::size_t offset : offsets) {
        const std::size_t bytes = Form::bytes_of(length);
        const std::vector<ub1> contents[3] = {TestFixture::random_bytes(random, bytes),
                                              TestFixture::random_bytes(random, bytes),
                                              TestFixture::random_bytes(random, bytes)};
        GuardedBuffer a(bytes, Edge::start, offset), b(bytes), c(bytes, Edge::end, Form::of_bytes ? 7 - offset : 0);
        GuardedBuffer result(bytes, offset % 2 == 0 ? Edge::end : Edge::start, offset);
        GuardedBuffer *const buffers[] = {&a, &b, &c, &result};
        for (const auto &entry : entries.algebra)
          TestFixture::check_operation(level.name, entry, contents, buffers, length);
        if (this->HasFailure()) return;
      }
  }
}

// Counters held in the lanes of a register must not overflow, however long and dense the vector is.
TYPED_TEST(BitVectors, CountsOfLongVectors) {
  using Form = BitVectorEntries<TypeParam>;
  for (const Level &level : levels()) {
    const Form entries(level);
    Random random(test_seed());
    for (const ub8 length : {8 * 255 * 32 - 1, 300'001, 2'097'152 + 65})
      for (const bool full : {true, false}) {
        const std::size_t bytes = Form::bytes_of(length);
        std::vector<ub1> contents[3];
        for (auto &content : contents)
          content = full ? std::vector<ub1>(bytes, 0xff) : TestFixture::random_bytes(random, bytes);
        GuardedBuffer a(bytes), b(bytes), c(bytes), result(bytes);
        GuardedBuffer *const buffers[] = {&a, &b, &c, &result};
        for (const auto &entry : entries.algebra)
          if (full ? entry.name == "popcnt" || entry.name == "or3" : entry.name == "andnot" || entry.name == "not")
            TestFixture::check_operation(level.name, entry, contents, buffers, length);
      }
  }
}

TYPED_TEST(BitVectors, RangesTouchTheirBitsAlone) {
  using Form = BitVectorEntries<TypeParam>;
  for (const Level &level : levels()) {
    const Form entries(level);
    Random random(test_seed());
    for (ub8 last = 0; last < 200; ++last) {
      const std::size_t bytes = Form::bytes_of(last + 1);
      GuardedBuffer bits(bytes); // no byte behind the last bit's unit
      for (ub8 first = 0; first <= last; ++first)
        for (const bool value : {true, false}) {
          std::vector<ub1> expected = TestFixture::random_bytes(random, bytes);
          std::memcpy(bits.data(), expected.data(), bytes);
          running((level.name + " range of " + std::string(Form::form)).c_str(), first * 1000 + last);
          (value ? entries.set_range : entries.clear_range)(reinterpret_cast<TypeParam *>(bits.data()), first, last);
          reference::fill_range(expected, first, last, value);
          ASSERT_TRUE(std::equal(expected.begin(), expected.end(), bits.data()) && bits.intact())
              << level.name << " " << Form::form << (value ? " set " : " clear ") << first << " to " << last;
        }
    }
  }
}

} // namespace
} // namespace mipo::check
