// Hashed rows and Bloom filters of the kit, probed by the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "mipo/host/bloom_filter.h"
#include "mipo/host/column.h"
#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

// The texts "0k", "<step>k", ... below `end`, in some order, each twice.
EncodedColumn text_column(int end, int step) {
  std::vector<std::string> texts;
  for (int i = 0; i < end; i += step) texts.push_back(std::to_string(i) + "k");
  std::sort(texts.begin(), texts.end());
  std::vector<ub4> codes;
  for (std::size_t i = 0; i < 2 * texts.size(); ++i) codes.push_back(static_cast<ub4>(i * 7 % texts.size()));
  const std::vector<std::string_view> views(texts.begin(), texts.end());
  return EncodedColumn(codes, Dictionary(views, false));
}

std::vector<bool> probe(const Library &library, const HashedRows &rows, const BloomFilter &filter) {
  Result result(rows.rows());
  ub4 first_and_last[2];
  result.vec()->data = first_and_last;
  mipo_call_ctx ctx{};
  constexpr ub4 one_bit = 1;
  entry(library, &mipo_specialized_ctx::mipo_bloom_dydi)(result.vec(), &rows.vec(), &filter.vec(), &ctx, one_bit);
  std::vector<bool> passed;
  for (ub4 row = 0; row < rows.rows(); ++row) passed.push_back(result.bits().test(row));
  EXPECT_EQ(std::count(passed.begin(), passed.end(), true), result.count());
  return passed;
}

TEST(BloomFilters, PassAllKeysAndFewOthers) {
  const Library library = Library::open();
  const EncodedColumn keys = text_column(3000, 3), column = text_column(6000, 1);
  const HashedRows hashed_keys(library, keys.vec(), 11), hashed(library, column.vec(), 11);
  for (ub4 row = 0; row < column.rows(); row += 97) {
    const std::string_view text = column.domain().text(column.code(row));
    EXPECT_EQ(hashed.hash(row), xxh3_hash(text.data(), text.size(), 11));
  }
  for (const double wanted : {0.2, 0.05, 0.002}) {
    std::vector<bool> without_segments;
    for (const std::size_t segment : {0, 64, 4096}) {
      const BloomFilter filter(hashed_keys, {wanted, segment});
      EXPECT_LE(filter.density(), wanted);
      if (filter.bytes() > segment) {
        EXPECT_GT(filter.density(), wanted / 3) << "larger than it need be";
      }
      const std::vector<bool> passed = probe(library, hashed, filter);
      int others = 0, passing_others = 0;
      for (ub4 row = 0; row < column.rows(); ++row) {
        const std::string_view text = column.domain().text(column.code(row));
        if (keys.domain().find({Literal::Form::string, std::string(text)})) {
          ASSERT_TRUE(passed[row]) << text;
        } else {
          ++others;
          passing_others += passed[row];
        }
      }
      EXPECT_LT(passing_others, 2 * wanted * others);
      if (segment == 0) without_segments = passed;
      if (filter.bytes() > segment) {
        EXPECT_EQ(passed, without_segments) << segment;
      }
    }
  }
}

TEST(BloomFilters, SizesAndRefusals) {
  const std::vector<ub8> one = {~ub8{0}};
  EXPECT_EQ(BloomFilter(one).bytes(), 8u);
  EXPECT_EQ(BloomFilter(one, {0.001, 0}).bytes(), 128u);
  EXPECT_EQ(BloomFilter(one, {0.5, 1024}).bytes(), 1024u);
  EXPECT_EQ(BloomFilter({}, {}).density(), 0);
  for (const double rate : {0.0, 1.0, -1.0, std::numeric_limits<double>::quiet_NaN()})
    EXPECT_THROW(BloomFilter(one, {rate, 0}), ArgumentError) << rate;
  for (const std::size_t segment : {std::size_t{4}, std::size_t{24}, std::size_t{1} << 29})
    EXPECT_THROW(BloomFilter(one, {0.1, segment}), ArgumentError) << segment;
  const Library library = Library::open();
  mipo_enc_ctx no_form{};
  mipo_vec column{};
  column.enc_ctx = &no_form;
  EXPECT_THROW(HashedRows(library, column), ArgumentError);
}

} // namespace
} // namespace mipo::host
