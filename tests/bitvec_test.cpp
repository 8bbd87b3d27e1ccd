// Bit vector algebra and ranges, of every level, against the model and against inaccessible pages.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
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
using mipo::reference::Bytes;
using Operands = std::vector<bool>;

#if defined(__aarch64__)
constexpr ub8 small_lengths = 140; // under emulation
#else
constexpr ub8 small_lengths = 300;
#endif

// An entry of the algebra, called through untyped addresses: result, count, sources, length.
struct Algebra {
  std::string name;
  ub8 unit_bytes;
  bool stores;
  std::size_t sources;
  std::function<bool(const Operands &)> operation;
  std::function<void(const mipo_specialized_ctx &, void *, ub4 *, const std::vector<const ub1 *> &, ub8)> call;
};

template <class Unit>
const Unit *as(const ub1 *bytes) {
  return reinterpret_cast<const Unit *>(bytes);
}

#define ALGEBRA(form, unit, operation, sources, stores, expression, ...)                                            \
  {                                                                                                                 \
    "mipo_" #form #operation "_dydi", sizeof(unit), stores, sources,                                                \
        []([[maybe_unused]] const Operands &o) -> bool { return expression; },                                      \
        []([[maybe_unused]] const mipo_specialized_ctx &r, [[maybe_unused]] void *to, ub4 *count,                   \
           const std::vector<const ub1 *> &s, ub8 length) { r.mipo_##form##operation##_dydi(__VA_ARGS__, length); } \
  }
#define RESULT(unit) static_cast<unit *>(to), count
#define ALGEBRA_OF_FORM(form, unit)                                                                            \
  ALGEBRA(form, unit, popcnt, 1, false, o[0], count, as<unit>(s[0])),                                          \
      ALGEBRA(form, unit, not, 1, true, !o[0], RESULT(unit), as<unit>(s[0])),                                  \
      ALGEBRA(form, unit, and, 2, true, o[0] && o[1], RESULT(unit), as<unit>(s[0]), as<unit>(s[1])),           \
      ALGEBRA(form, unit, or, 2, true, o[0] || o[1], RESULT(unit), as<unit>(s[0]), as<unit>(s[1])),            \
      ALGEBRA(form, unit, xor, 2, true, o[0] != o[1], RESULT(unit), as<unit>(s[0]), as<unit>(s[1])),           \
      ALGEBRA(form, unit, andnot, 2, true, o[1] && !o[0], RESULT(unit), as<unit>(s[0]), as<unit>(s[1])),       \
      ALGEBRA(form, unit, and3, 3, true, o[0] && o[1] && o[2], RESULT(unit), as<unit>(s[0]), as<unit>(s[1]),   \
              as<unit>(s[2])),                                                                                 \
      ALGEBRA(form, unit, or3, 3, true, o[0] || o[1] || o[2], RESULT(unit), as<unit>(s[0]), as<unit>(s[1]),    \
              as<unit>(s[2])),                                                                                 \
      ALGEBRA(form, unit, xor3, 3, true, (o[0] != o[1]) != o[2], RESULT(unit), as<unit>(s[0]), as<unit>(s[1]), \
              as<unit>(s[2]))

const std::vector<Algebra> &algebra() {
  static const std::vector<Algebra> all = {ALGEBRA_OF_FORM(lbiv, ub1), ALGEBRA_OF_FORM(lbiwv, ub8)};
  return all;
}

ub8 bytes_of(const Algebra &entry, ub8 length) {
  const ub8 unit_bits = 8 * entry.unit_bytes;
  return (length + unit_bits - 1) / unit_bits * entry.unit_bytes;
}

void fill(Random &random, ub1 *bytes, std::size_t size) {
  const ub8 kind = random.below(6); // all zeros and all ones among them
  for (std::size_t i = 0; i < size; ++i) bytes[i] = kind == 0 ? 0 : kind == 1 ? 0xff : static_cast<ub1>(random.next());
}

struct Place {
  Edge edge;
  std::size_t shift; // of the destination, from the edge
};

// One call with separate buffers; sources are write-protected, and everything ends or begins at an inaccessible page.
void check_separate(const Level &level, const Algebra &entry, ub8 length, Place place, bool counted, ub8 seed) {
  Random random(seed);
  const ub8 size = bytes_of(entry, length);
  std::vector<std::unique_ptr<GuardedBuffer>> sources;
  std::vector<const ub1 *> addresses;
  for (std::size_t i = 0; i < entry.sources; ++i) {
    const std::size_t shift = entry.unit_bytes == 1 ? random.below(8) : 0;
    sources.push_back(std::make_unique<GuardedBuffer>(size, place.edge, shift));
    fill(random, sources.back()->data(), size);
    sources.back()->protect();
    addresses.push_back(sources.back()->data());
  }
  GuardedBuffer result(entry.stores ? size : 0, place.edge, place.shift);
  ub4 count = 0xdeadbeef;
  const std::string what = level.name + " " + entry.name + ", " + std::to_string(length) + " bits, shift " +
                           std::to_string(place.shift) +
                           (place.edge == Edge::end ? " from the end" : " from the start");
  mipo::check::running(what.c_str(), seed);
  entry.call(*level.record, result.data(), counted ? &count : nullptr, addresses, length);

  const auto expected = mipo::reference::combine(addresses, length, entry.unit_bytes, entry.operation);
  ASSERT_EQ(count, counted ? expected.count : 0xdeadbeef) << what << ", seed " << seed;
  if (entry.stores) {
    ASSERT_EQ(Bytes(result.data(), result.data() + size), expected.result) << what << ", seed " << seed;
  }
  ASSERT_TRUE(result.intact()) << what << ", seed " << seed;
}

std::vector<ub8> lengths() {
  std::vector<ub8> all;
  for (ub8 length = 0; length <= small_lengths; ++length) all.push_back(length);
  for (const ub8 boundary : {512, 1024, 2048, 4096})
    for (const ub8 length : {boundary - 1, boundary, boundary + 1}) all.push_back(length);
  all.push_back(10007);
  return all;
}

class BitVectors : public testing::Test {
protected:
  static void SetUpTestSuite() { mipo::check::report_faults(); }
};

TEST_F(BitVectors, algebra_gives_the_model_s_bits_and_touches_nothing_else) {
  Random random(mipo::check::test_seed());
  for (const Level &level : levels())
    for (const Algebra &entry : algebra())
      for (const ub8 length : lengths()) {
        const std::size_t shift = entry.unit_bytes == 1 ? random.below(8) : 0;
        const bool counted = !entry.stores || random.chance(60);
        for (const Edge edge : {Edge::end, Edge::start})
          ASSERT_NO_FATAL_FAILURE(check_separate(level, entry, length, {edge, shift}, counted, random.next()));
      }
}

TEST_F(BitVectors, any_destination_address_will_do) {
  Random random(mipo::check::test_seed() + 1);
  for (const Level &level : levels())
    for (const Algebra &entry : algebra())
      for (std::size_t shift = 0; shift < 8; ++shift)
        for (const ub8 length : {1, 7, 8, 9, 63, 64, 65, 127, 128, 129, 1024, 1100, 2050}) {
          if (entry.unit_bytes == 8 && shift % 2 == 0 && shift != 0) continue; // words: at their place, or odd
          for (const bool counted : {true, false})
            if (counted || entry.stores) {
              ASSERT_NO_FATAL_FAILURE(
                  check_separate(level, entry, length, {Edge::start, shift}, counted, random.next()));
            }
        }
}

TEST_F(BitVectors, the_destination_may_be_a_source) {
  Random random(mipo::check::test_seed() + 2);
  for (const Level &level : levels())
    for (const Algebra &entry : algebra())
      for (std::size_t in_place = 0; in_place < entry.sources && entry.stores; ++in_place)
        for (const ub8 length : {1, 8, 64, 65, 200, 1024, 1500}) {
          const ub8 size = bytes_of(entry, length);
          std::vector<Bytes> copies(entry.sources, Bytes(size));
          std::vector<std::vector<ub8>> sources(entry.sources, std::vector<ub8>(size / 8 + 1));
          std::vector<const ub1 *> addresses, copied;
          for (std::size_t i = 0; i < entry.sources; ++i) {
            fill(random, copies[i].data(), size);
            std::memcpy(sources[i].data(), copies[i].data(), size);
            addresses.push_back(reinterpret_cast<const ub1 *>(sources[i].data()));
            copied.push_back(copies[i].data());
          }
          ub4 count = 0;
          entry.call(*level.record, sources[in_place].data(), &count, addresses, length);
          const auto expected = mipo::reference::combine(copied, length, entry.unit_bytes, entry.operation);
          ASSERT_EQ(Bytes(addresses[in_place], addresses[in_place] + size), expected.result)
              << level.name << " " << entry.name << " in place of source " << in_place << ", " << length << " bits";
          ASSERT_EQ(count, expected.count) << level.name << " " << entry.name;
        }
}

TEST_F(BitVectors, ranges_touch_only_the_bytes_they_reach_into) {
  Random random(mipo::check::test_seed() + 3);
  constexpr ub8 bits = 200;
  for (const Level &level : levels())
    for (ub8 first = 0; first < bits; first += 1 + random.below(3))
      for (ub8 last = first; last < bits; last += 1 + random.below(5))
        for (const bool value : {false, true})
          for (const bool words : {false, true}) {
            const auto &record = *level.record;
            const ub8 skipped = words ? 0 : first / 8 * 8; // the buffer begins with the first byte that may be touched
            const ub8 size = words ? bits / 8 : last / 8 - first / 8 + 1;
            GuardedBuffer buffer(size, random.chance(50) ? Edge::start : Edge::end);
            fill(random, buffer.data(), size);
            Bytes expected(buffer.data(), buffer.data() + size);
            mipo::reference::fill_range(expected, first - skipped, last - skipped, value);
            mipo::check::running((level.name + (value ? " set_range" : " clr_range")).c_str(), first << 32 | last);
            if (words)
              (value ? record.mipo_lbiwvset_range_dydi : record.mipo_lbiwvclr_range_dydi)(buffer.words(), first, last);
            else
              (value ? record.mipo_lbivset_range_dydi : record.mipo_lbivclr_range_dydi)(buffer.data(), first - skipped,
                                                                                        last - skipped);
            ASSERT_EQ(Bytes(buffer.data(), buffer.data() + size), expected)
                << level.name << " bits " << first << " to " << last << (value ? " set" : " cleared");
          }
}

} // namespace
