// Translation tables, coded decimal values and Bloom filters of the kit, held against what the kernels make of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "mipo/host/bit_vector.h"
#include "mipo/host/decimal_values.h"
#include "mipo/host/dictionary.h"
#include "mipo/host/errors.h"
#include "mipo/host/library.h"
#include "mipo/host/translation_table.h"

namespace mipo::host {
namespace {

struct Translated {
  std::vector<bool> rows;
  std::vector<ub4> entries;
};

// What the table's kernels say of a column.
Translated translate(const Library &library, const TranslationTable &table, TranslatedRows layout,
                     const mipo_vec &column, mipo_call_ctx ctx) {
  std::vector<ub1> out(handed_out_bytes(column.nrows, table.width()) + 8);
  Translated translated;
  ctx.xlate_ctx = table.range();
  ctx.xlate_out = out.data();
  for (const bool hands_out : {false, true}) {
    if (hands_out && table.width() == EntryWidth::bit) break;
    BitVector rows(column.nrows);
    ub4 first_and_last[2];
    mipo_vec res{};
    res.bv = rows.words();
    res.data = first_and_last;
    library.xlate(table.key(layout, hands_out))(&res, &column, &table.vec(), &ctx);
    std::vector<bool> found;
    for (ub4 row = 0; row < column.nrows; ++row) found.push_back(rows.test(row));
    if (hands_out) {
      EXPECT_EQ(found, translated.rows);
    }
    translated.rows = found;
  }
  for (ub4 row = 0; row < column.nrows && table.width() != EntryWidth::bit; ++row)
    translated.entries.push_back(handed_out(out.data(), table.width(), row));
  return translated;
}

TEST(TranslationTables, FindWhatTheyWereMadeOf) {
  const Library library = Library::open();
  std::mt19937 random(5);
  const struct {
    std::size_t codes, first, step;
    ub4 greatest;
    TableMapping mapping;
    EntryWidth width;
  } cases[] = {{50, 0, 1, 14, TableMapping::simple, EntryWidth::nibble},
               {50, 0, 2, 15, TableMapping::simple, EntryWidth::byte},
               {300, 100, 1, 254, TableMapping::simple, EntryWidth::byte},
               {300, 200, 1, 255, TableMapping::offset, EntryWidth::half},
               {900, 800, 1, 65534, TableMapping::offset, EntryWidth::half},
               {200000, 3, 70000, 65535, TableMapping::indirect, EntryWidth::word},
               {200000, 9, 180000, 12, TableMapping::indirect, EntryWidth::nibble}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.codes);
    std::vector<ub4> entries(c.codes, no_entry);
    std::vector<bool> members(c.codes);
    for (std::size_t code = c.first; code < c.codes; code += c.step) {
      entries[code] = code == c.first ? c.greatest : random() % (c.greatest + 1);
      members[code] = true;
    }
    std::vector<ub4> codes = {0, static_cast<ub4>(c.codes), static_cast<ub4>(c.first), 0xffffffff};
    for (int row = 0; row < 500; ++row)
      codes.push_back(static_cast<ub4>(row % 3 == 0 ? c.first + random() % 3 * c.step : random() % (c.codes + 20)));
    TranslatedCodes column(static_cast<ub4>(codes.size()));
    column.set(codes);
    const TranslationTable table(entries), bits = TranslationTable::of_members(members);
    EXPECT_EQ(table.mapping(), c.mapping);
    EXPECT_EQ(table.width(), c.width);
    EXPECT_EQ(bits.width(), EntryWidth::bit);
    const Translated found = translate(library, table, TranslatedRows::codes, column.vec(), {});
    EXPECT_EQ(translate(library, bits, TranslatedRows::codes, column.vec(), {}).rows, found.rows);
    for (std::size_t row = 0; row < codes.size(); ++row) {
      const ub4 expected = codes[row] < c.codes ? entries[codes[row]] : no_entry;
      ASSERT_EQ(found.rows[row], expected != no_entry) << codes[row];
      ASSERT_EQ(found.entries[row], expected) << codes[row];
    }
  }
  const TranslationTable empty(std::vector<ub4>(20, no_entry));
  EXPECT_GT(empty.range()->min_code, empty.range()->max_code);
}

TEST(TranslationTables, EqualValuesFindEachOther) {
  const std::vector<std::string_view> from = {"ATL", "LAX", "ORD", "SFO"}, to = {"BOS", "LAX", "SFO", "ZRH"};
  EXPECT_EQ(equal_values(Dictionary(from, false), Dictionary(to, true)), (std::vector<ub4>{no_entry, 1, no_entry, 2}));
  const ValueType hundredths{ValueKind::decimal, 2};
  const Dictionary prices(hundredths, {-100, 50, 200}, false), counts({ValueKind::integer}, {-1, 2, 50}, true);
  EXPECT_EQ(equal_values(prices, counts), (std::vector<ub4>{0, no_entry, 1}));
  EXPECT_EQ(equal_values(counts, prices), (std::vector<ub4>{0, 2, no_entry}));
  EXPECT_THROW(equal_values(Dictionary(from, false), counts), ValueError);
}

TEST(DecimalValues, BytesAndKeys) {
  const std::map<ub8, std::vector<ub1>> telling = {{0, {128}},
                                                   {1, {193, 2}},
                                                   {10, {194, 2}},
                                                   {13, {194, 2, 4}},
                                                   {1300, {196, 2, 4}},
                                                   {9876, {196, 10, 9, 8, 7}},
                                                   {12345, {197, 2, 3, 4, 5, 6}}};
  for (const auto &[number, bytes] : telling) EXPECT_EQ(encode_decimal(number), bytes) << number;
  EXPECT_EQ(decimal_key(encode_decimal(100)), 128u << 7);
  EXPECT_EQ(decimal_key(encode_decimal(12345)), std::nullopt);
  EXPECT_EQ(decode_decimal(encode_decimal(125, 1)), std::nullopt);
  EXPECT_EQ(decode_decimal(encode_decimal(120, 1)), 12u);
  std::mt19937_64 random(3);
  for (int i = 0; i < 2000; ++i) {
    const ub8 number = random() >> random() % 64;
    EXPECT_EQ(decode_decimal(encode_decimal(number)), number);
  }
}

// Whatever the layout, a table in key space finds the numbers that it was made of.
TEST(DecimalValues, KernelsFindThemByTheirKeys) {
  const Library library = Library::open();
  std::mt19937 random(9);
  for (const DecimalLayout layout :
       {DecimalLayout::offsets, DecimalLayout::one_length, DecimalLayout::separate_lengths}) {
    const bool of_one_length = layout == DecimalLayout::one_length;
    std::vector<ub8> numbers;
    std::vector<std::vector<ub1>> values;
    for (int row = 0; row < 400; ++row) {
      ub8 number = of_one_length ? 10 + random() % 90 : random() % (row % 2 == 0 ? 100 : 20000);
      if (of_one_length && number % 10 == 0) ++number;
      numbers.push_back(number);
      values.push_back(encode_decimal(number));
    }
    std::vector<ub4> entries;
    for (const ub8 number : {0, 7, 12, 45, 46, 47, 50, 91, 100, 1200, 9999}) {
      const auto key = decimal_key(encode_decimal(number), of_one_length);
      if (!key) continue;
      entries.resize(std::max<std::size_t>(entries.size(), *key + 1), no_entry);
      entries[*key] = static_cast<ub4>(number);
    }
    const TranslationTable table(entries);
    const DecimalColumn column(layout, values);
    mipo_call_ctx ctx{};
    const mipo_vec vec = column.prepare(ctx);
    const auto rows = static_cast<TranslatedRows>(1 + static_cast<int>(layout));
    const Translated found = translate(library, table, rows, vec, ctx);
    for (ub4 row = 0; row < numbers.size(); ++row) {
      EXPECT_TRUE(std::ranges::equal(column.value(row), values[row]));
      const auto key = decimal_key(values[row], of_one_length);
      const ub4 expected = key && *key < entries.size() ? entries[*key] : no_entry;
      ASSERT_EQ(found.rows[row], expected != no_entry) << numbers[row];
      if (expected != no_entry) {
        ASSERT_EQ(found.entries[row], numbers[row]);
      }
    }
  }
  const std::vector<std::vector<ub1>> mixed = {encode_decimal(1), encode_decimal(12)};
  EXPECT_THROW(DecimalColumn(DecimalLayout::one_length, mixed), EncodingError);
}

} // namespace
} // namespace mipo::host
