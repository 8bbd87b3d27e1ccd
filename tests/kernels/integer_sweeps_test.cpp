// Sums and offsets of small integers, and comparisons of two columns of codes, one row at a time beside every level.
#include <gtest/gtest.h>

#include <sys/mman.h>

#include <string>
#include <vector>

#include "check/guarded_sources.h"
#include "check/levels.h"

namespace {

using namespace mipo::check;

constexpr ub4 counts[] = {0,  1,  2,  3,  4,  5,   7,   8,   9,   15,  16,   17,    31,
                          32, 33, 63, 64, 65, 127, 128, 129, 255, 257, 1000, 20'011};

class IntegerSweepsTest : public testing::Test {
protected:
  struct Records {
    mipo_vec res, vecs[5];
    mipo_enc_ctx enc;
    mipo_call_ctx ctx;
  };

  // Noise, and addresses without memory: a test sets the fields that count.
  void start_anew(Random &random) {
    fill_with_noise(random, records_);
    res_.data = res_.enc_ctx = reinterpret_cast<mipo_enc_ctx *>(nowhere_.data());
    res_.bv = nowhere_.words();
    for (mipo_vec &vec : vecs_) vec.data = vec.enc_ctx = res_.enc_ctx;
  }

  const GuardedBuffer nowhere_{0};
  Records records_;
  mipo_vec &res_ = records_.res, (&vecs_)[5] = records_.vecs;
  mipo_enc_ctx &enc_ = records_.enc;
  mipo_call_ctx &ctx_ = records_.ctx;
};

// Adds element after element to the native cell, which may lie among the elements.
void add_up(const ub1 *elements, ub1 kind, ub4 from, ub4 rows, ub1 *cell) {
  for (ub8 row = from; row < rows; ++row) {
    ub4 total;
    std::memcpy(&total, cell, sizeof total);
    total += kind == 7 ? elements[row] : static_cast<ub4>(elements[2 * row] * 256 + elements[2 * row + 1]);
    std::memcpy(cell, &total, sizeof total);
  }
}

TEST_F(IntegerSweepsTest, SumOfSmallIntegers) {
  for (const Level &level : levels()) {
    Random random;
    for (const ub1 kind : {7, 15, 0, 6, 8, 14, 16, 21, 22, 7 + 32, 255})
      for (const ub4 rows : counts)
        for (const ub4 from : {ub4{0}, rows / 3, rows, rows + 3, ~ub4{0}}) {
          const std::size_t element = kind == 7 ? 1 : 2;
          // A column of small numbers, or of the greatest ones: narrow counters must not overflow.
          std::vector<ub1> elements(element * rows);
          const bool greatest = random.chance(30);
          for (ub1 &byte : elements) byte = greatest ? 0xff : static_cast<ub1>(random.next());
          GuardedBuffer column(elements.size(), some_edge(random), random.below(3));
          if (rows != 0) std::memcpy(column.data(), elements.data(), elements.size());
          column.protect();
          start_anew(random);
          const bool known = kind == 7 || kind == 15;
          enc_.width_index = kind;
          vecs_[0].enc_ctx = &enc_;
          vecs_[0].nrows = rows;
          vecs_[0].data = known ? column.data() : nowhere_.data();
          ctx_.next_row = from;
          const ub4 total = random.chance(50) ? ~ub4{0} - 5 : static_cast<ub4>(random.next());
          ub4 cells[] = {total, total, total}, expected = total;
          res_.data = known ? &cells[1] : static_cast<void *>(nowhere_.data());
          const Records before = records_;
          const std::string what = running("sum of kind " + std::to_string(kind) + ", rows " + std::to_string(from) +
                                           " to " + std::to_string(rows) + " at level " + level.name);
          for (const int call : {1, 2}) { // the second one adds to the first
            if (known) add_up(elements.data(), kind, from, rows, reinterpret_cast<ub1 *>(&expected));
            EXPECT_EQ(level.record->mipo_sum_vec_dydi(&res_, &vecs_[0], &ctx_), 0u) << what;
            ASSERT_EQ(cells[1], expected) << what << ", call " << call << ", seed " << test_seed();
          }
          ASSERT_TRUE(cells[0] == total && cells[2] == total) << what;
          ASSERT_TRUE(same(records_, before)) << what << " changed a field that is not its own";
        }
  }
}

// The cell is up to date after each element: a cell amid the column is read as elements in its turn.
TEST_F(IntegerSweepsTest, SumIntoItsOwnColumn) {
  for (const Level &level : levels()) {
    Random random;
    for (const ub1 kind : {7, 15})
      for (const std::size_t cell : {0, 4, 32, 60, 192}) {
        alignas(ub8) ub1 column[256], expected[256];
        for (ub1 &byte : column) byte = static_cast<ub1>(random.next());
        std::memcpy(expected, column, sizeof column);
        const ub4 rows = kind == 7 ? 200 : 100;
        add_up(expected, kind, 0, rows, expected + cell);
        start_anew(random);
        enc_.width_index = kind;
        vecs_[0].enc_ctx = &enc_;
        vecs_[0].nrows = rows;
        vecs_[0].data = column;
        res_.data = column + cell;
        ctx_.next_row = 0;
        EXPECT_EQ(level.record->mipo_sum_vec_dydi(&res_, &vecs_[0], &ctx_), 0u);
        EXPECT_EQ(std::memcmp(column, expected, sizeof column), 0)
            << "kind " << int{kind} << ", cell at byte " << cell << ", level " << level.name;
      }
  }
}

TEST_F(IntegerSweepsTest, OffsetsOfLengths) {
  for (const Level &level : levels()) {
    Random random;
    for (const ub4 rows : counts)
      for (const bool small : {true, false}) {
        std::vector<ub4> lengths(rows), expected = {0};
        for (ub4 &length : lengths) {
          length = static_cast<ub4>(small ? random.below(4) : random.next());
          expected.push_back(expected.back() + length);
        }
        GuardedSources sources;
        const Edge edge = some_edge(random);
        const GuardedBuffer offsets(sizeof(ub4) * (rows + 1), edge, sizeof(ub4) * random.below(4));
        start_anew(random);
        vecs_[0].nrows = rows;
        if (rows != 0) vecs_[0].data = sources.keep(lengths);
        res_.data = offsets.data();
        const Records before = records_;
        const std::string what = running("offsets of " + std::to_string(rows) + " rows at level " + level.name);
        EXPECT_EQ(level.record->mipo_prefix_sum_vec_dydi(&res_, &vecs_[0], random.next()), 0u);
        const auto *is = reinterpret_cast<const ub4 *>(offsets.data());
        ASSERT_EQ(std::vector<ub4>(is, is + rows + 1), expected) << what << ", seed " << test_seed();
        ASSERT_TRUE(offsets.intact()) << what;
        ASSERT_TRUE(same(records_, before)) << what << " changed a field that is not its own";
      }
  }
}

bool selects(ub1 comparison, ub4 a, ub4 b) {
  const bool selected[] = {a == b, a<b, a> b, a <= b, a >= b, a != b};
  return comparison < std::size(selected) && selected[comparison];
}

// Values around a few points, so that neighbours and equal ones are frequent, with and without the top bit.
ub4 choose_value(Random &random) {
  constexpr ub4 points[] = {0, 3, 0x7fffffff, 0x80000000, 0xffffffff};
  return points[random.below(std::size(points))] + static_cast<ub4>(random.below(3)) - 1;
}

TEST_F(IntegerSweepsTest, ComparisonOfTwoColumns) {
  enum { left, right, left_map, right_map, op };
  constexpr ub4 map_entries = 50;
  for (const Level &level : levels()) {
    Random random;
    for (const ub1 comparison : {0, 1, 2, 3, 4, 5, 6, 7, 128, 255})
      for (const ub4 rows : counts)
        for (const unsigned maps : {0, 1, 2, 3}) {
          start_anew(random);
          const ub4 skipped = random.chance(50) ? 0 : static_cast<ub4>(random.below(rows + 1));
          const ub4 compared = rows - skipped;
          GuardedSources sources;
          std::vector<ub4> values[2]; // mapped, where there is a map
          for (const int side : {left, right}) {
            const bool mapped = (maps >> side & 1) != 0;
            std::vector<ub4> codes(compared), map(map_entries);
            for (ub4 &entry : map) entry = choose_value(random);
            for (ub4 &code : codes) {
              code = mapped ? static_cast<ub4>(random.below(map_entries)) : choose_value(random);
              values[side].push_back(mapped ? map[code] : code);
            }
            if (compared != 0) vecs_[side].data = sources.keep(codes);
            if (mapped && compared != 0) vecs_[left_map + side].data = sources.keep(map);
          }
          vecs_[left].nrows = rows;
          if (compared != 0) vecs_[op].data = sources.keep(std::vector<ub1>{comparison});
          ctx_.next_row = skipped;

          std::vector<ub8> bits((compared + 63) / 64);
          const ub8 kind = random.below(3); // bits there before stay: none, all, some
          for (ub8 &word : bits) word = kind == 0 ? 0 : kind == 1 ? ~ub8{0} : random.next();
          const GuardedBuffer result(sizeof(ub8) * bits.size());
          if (!bits.empty()) std::memcpy(result.data(), bits.data(), result.size());
          res_.bv = compared != 0 ? result.words() : nowhere_.words();
          Records expected = records_;
          expected.res.nset = 0;
          for (ub4 row = 0; row < compared; ++row)
            if (selects(comparison, values[left][row], values[right][row])) {
              bits[row / 64] |= ub8{1} << row % 64;
              ++expected.res.nset;
            }

          const std::string what =
              running("comparison " + std::to_string(comparison) + " of rows " + std::to_string(skipped) + " to " +
                      std::to_string(rows) + ", maps " + std::to_string(maps) + ", level " + level.name);
          EXPECT_EQ(level.record->mipo_lookup_and_compare_dydi(
                        &res_, &vecs_[left], &vecs_[right], (maps & 1) != 0 ? &vecs_[left_map] : nullptr,
                        (maps & 2) != 0 ? &vecs_[right_map] : nullptr, &vecs_[op], &ctx_),
                    0u)
              << what;
          ASSERT_EQ(res_.nset, expected.res.nset) << what << ", seed " << test_seed();
          ASSERT_TRUE(bits.empty() || std::memcmp(result.data(), bits.data(), result.size()) == 0)
              << what << ", seed " << test_seed();
          ASSERT_TRUE(result.intact()) << what;
          ASSERT_TRUE(same(records_, expected)) << what << " changed a field that is not its own";
        }
  }
}

// A code is unsigned: a table may be longer than a signed index reaches.
TEST_F(IntegerSweepsTest, CodesWithTheTopBitInALongTable) {
  constexpr ub4 code = 0x80000005;
  constexpr std::size_t bytes = sizeof(ub4) * (ub8{code} + 8);
  void *memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) GTEST_SKIP() << "no room for a table of " << bytes << " bytes";
  static_cast<ub4 *>(memory)[code] = 77;
  std::vector<ub4> codes(20, code), values(20, 77);
  ub1 equal = 0;
  for (const Level &level : levels()) {
    Random random;
    start_anew(random);
    ub8 bits = 0;
    res_.bv = &bits;
    vecs_[0].nrows = 20;
    vecs_[0].data = codes.data();
    vecs_[1].data = values.data();
    vecs_[2].data = memory;
    vecs_[3].data = &equal;
    ctx_.next_row = 0;
    running("a comparison through a long table");
    level.record->mipo_lookup_and_compare_dydi(&res_, &vecs_[0], &vecs_[1], &vecs_[2], nullptr, &vecs_[3], &ctx_);
    EXPECT_EQ(bits, 0xfffffu) << level.name;
  }
  munmap(memory, bytes);
}

} // namespace
