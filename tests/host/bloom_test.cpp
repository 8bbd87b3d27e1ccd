// Hashed rows and Bloom filters of the kit, probed by the library.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "mipo/host/bloom_filter.h"
#include "mipo/host/column.h"
#include "mipo/host/errors.h"
#include "mipo/host/value_stream.h"
#include "mipo/host/zstd_decompressor.h"

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
  CallContext context(library);
  const Result result = filter.probe(library, context, rows);
  std::vector<bool> passed;
  for (ub4 row = 0; row < rows.rows(); ++row) passed.push_back(result.bits().test(row));
  EXPECT_EQ(std::count(passed.begin(), passed.end(), true), result.count());
  return passed;
}

TEST(BloomFilters, PassAllKeysAndFewOthers) {
  const Library library = Library::open();
  const EncodedColumn keys = text_column(3000, 3), column = text_column(6000, 1);
  const HashedRows hashed_keys(library, keys, 11), hashed(library, column, 11);
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

// Multiples of `step` / 10^scale, shuffled, every seventh row null.
EncodedColumn number_column(const ValueType &type, int step, std::string_view encoding) {
  std::vector<std::int64_t> numbers;
  for (int i = 0; i < 300; ++i) numbers.push_back(std::int64_t{i} * step - 90);
  std::vector<ub4> codes;
  for (ub4 i = 0; i < 900; ++i) codes.push_back(i % 7 == 0 ? 0 : 1 + i / 3);
  ColumnOptions options;
  options.encoding = parse_encoding(encoding);
  if (options.encoding->compressed) options.compressor = zstd_compress;
  return EncodedColumn(codes, Dictionary(type, numbers, true), options);
}

TEST(BloomFilters, EqualValuesMeetWhateverTheirEncoding) {
  const Library library = Library::open();
  const ValueType integer{ValueKind::integer}, hundredths{ValueKind::decimal, 2};
  const char *const encodings[] = {"fixed:16", "fixed:24", "fixed:64",    "tz:32",      "dynp",
                                   "dict",     "dict:64",  "dict+runs16", "fixed+zstd", "fixed:32+starts"};
  ZstdDecompressor decompressor;
  std::vector<EncodedColumn> columns;
  for (const char *encoding : encodings) columns.push_back(number_column(integer, 7, encoding));
  columns.push_back(number_column(hundredths, 700, "dict")); // -0.90, 6.10, ...: none of the others
  for (const EncodedColumn &column : columns) {
    if (column.is_compressed()) {
      EXPECT_THROW(HashedRows(library, column), ArgumentError);
    }
    column.decompress(decompressor);
  }
  const HashedRows first(library, columns.front(), 3);
  const BloomFilter filter(first, {0.01, 0});
  for (std::size_t c = 0; c < std::size(encodings); ++c) {
    const HashedRows rows(library, columns[c], 3);
    const std::vector<bool> passed = probe(library, rows, filter);
    for (ub4 row = 0; row < rows.rows(); ++row) {
      ASSERT_TRUE(passed[row]) << encodings[c] << " row " << row;
      ASSERT_EQ(rows.hash(row), first.hash(row)) << encodings[c] << " row " << row;
    }
  }
  EXPECT_NE(HashedRows(library, columns.back(), 3).hash(1), first.hash(1));

  // Pairs whose hashes cannot meet are refused.
  const EncodedColumn texts = text_column(50, 1);
  const HashedRows other_seed(library, columns[0], 4), of_texts(library, texts, 3);
  const ValueStream three({RowShape::fixed, 3}, std::vector<std::string_view>{"abc"});
  const ValueStream four({RowShape::fixed, 4}, std::vector<std::string_view>{"abcd"});
  const HashedRows of_three(library, three.vec(), 3), of_four(library, four.vec(), 3);
  EXPECT_THROW(probe(library, other_seed, filter), ArgumentError);
  EXPECT_THROW(probe(library, of_texts, filter), ArgumentError);
  EXPECT_THROW(probe(library, of_four, BloomFilter(of_three)), ArgumentError);
  EXPECT_EQ(probe(library, of_three, BloomFilter(of_texts)).size(), 1u);
  // As stored there are no byte strings in these: no symbols, runs, compressed.
  for (const char *encoding : {"dict", "dict+runs16", "fixed+zstd", "dict:64"})
    EXPECT_THROW(HashedRows(library, number_column(integer, 7, encoding).vec()), ArgumentError) << encoding;
  CallContext context(library);
  const BitVector few(10, true);
  context.select(few, false);
  EXPECT_THROW(filter.probe(library, context, first), ArgumentError);
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
