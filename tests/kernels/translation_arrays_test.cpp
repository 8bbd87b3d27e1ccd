// Arrays around translation that the library does not export: keys multiplied and shifted in place, cumulative lengths.
// The library's objects are a part of this program.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "check/guarded_sources.h"
#include "column/ub4_sweeps.h"
#include "xlate/cumulative_lengths.h"

namespace {

using namespace mipo::check;

TEST(TranslationArraysTest, StepsOfKeysInPlace) {
  Random random;
  std::vector<ub4> counts = {100, 255, 1000};
  for (ub4 count = 0; count <= 40; ++count) counts.push_back(count);
  for (const ub4 count : counts)
    for (const Edge edge : {Edge::start, Edge::end})
      for (const ub4 constant : {0u, 1u, 2u, 7u, 16u, 31u, 1000003u, 0xffffffffu}) {
        GuardedBuffer buffer(count * sizeof(ub4), edge);
        auto *keys = reinterpret_cast<ub4 *>(buffer.data());
        std::vector<ub4> multiplied, shifted;
        for (ub4 i = 0; i < count; ++i) {
          keys[i] = static_cast<ub4>(random.next());
          multiplied.push_back(static_cast<ub4>(ub8{keys[i]} * constant));
          shifted.push_back(static_cast<ub4>(ub8{multiplied[i]} << constant % 32));
        }
        const std::string what = running(std::to_string(count) + " keys, constant " + std::to_string(constant));
        mipo_mul_ub4_const(keys, constant, count);
        ASSERT_EQ(std::vector<ub4>(keys, keys + count), multiplied) << what;
        mipo_shl_ub4_const(keys, constant % 32, count);
        ASSERT_EQ(std::vector<ub4>(keys, keys + count), shifted) << what;
        ASSERT_TRUE(buffer.intact()) << what;
      }
}

// Big-endian, as ranges of a value area are read.
std::vector<ub1> cumulated(const std::vector<ub4> &lengths) {
  std::vector<ub1> bytes(4);
  ub4 sum = 0;
  for (const ub4 length : lengths) {
    sum += length;
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<ub1>(sum >> shift));
  }
  return bytes;
}

TEST(TranslationArraysTest, CumulativeLengths) {
  Random random;
  for (const ub4 count : {0, 1, 2, 3, 7, 8, 9, 15, 16, 17, 64, 100, 70000})
    for (const int kind : {0, 1, 2}) // any lengths, the greatest alone, many zeros
      for (const ub4 spare : {0, 3})
        for (const Edge edge : {Edge::start, Edge::end}) {
          const std::string what = running(std::to_string(count) + " lengths, kind " + std::to_string(kind));
          std::vector<ub4> lengths[2]; // of bytes, of half words
          std::vector<ub1> bytes, half_words;
          for (ub4 i = 0; i < count; ++i) {
            const ub4 length = kind == 1 ? 0xffff : random.chance(kind == 2 ? 80 : 0) ? 0 : random.next() & 0xffff;
            lengths[0].push_back(length & 0xff);
            lengths[1].push_back(length);
            bytes.push_back(static_cast<ub1>(length));
            half_words.insert(half_words.end(), {static_cast<ub1>(length >> 8), static_cast<ub1>(length)});
          }
          GuardedSources sources;
          const ub1 *byte_source = sources.keep(bytes, edge);
          const auto *half_word_source = reinterpret_cast<const ub2 *>(sources.keep(half_words, edge));
          const ub4 places = count + 1 + spare;
          for (const int width : {0, 1}) {
            GuardedBuffer result(places * sizeof(ub4), edge);
            auto *starts = reinterpret_cast<ub4 *>(result.data());
            if (width == 0)
              mipo_build_cla_1_ub1(starts, places, byte_source, count);
            else
              mipo_build_cla_1_ub2(starts, places, half_word_source, count);
            std::vector<ub1> expected = cumulated(lengths[width]);
            expected.resize(result.size(), 0xa5); // places beyond are not touched
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), result.data())) << what << ", width " << width;
            ASSERT_TRUE(result.intact()) << what;
          }
        }
}

TEST(TranslationArraysTest, TooFewPlacesEndTheProcess) {
  testing::FLAGS_gtest_death_test_style = "fast";
  const auto dies_in = [](const char *function) {
    return std::string("mipoc_arm64neon:[0-9]+: ") + function + ": Assertion `res_len >= \\(src_len \\+ 1\\)' failed";
  };
  ub4 starts[4];
  const ub2 lengths[4] = {};
  for (const ub4 places : {0, 1, 3}) {
    EXPECT_DEATH(mipo_build_cla_1_ub1(starts, places, reinterpret_cast<const ub1 *>(lengths), 3),
                 dies_in("mipo_build_cla_1_ub1"))
        << places;
    EXPECT_DEATH(mipo_build_cla_1_ub2(starts, places, lengths, 3), dies_in("mipo_build_cla_1_ub2")) << places;
  }
}

} // namespace
