// Columns in every encoding: what is stored, what single rows and constants say, and what kernels make of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "host/reversal.h"
#include "mipo/host/column.h"
#include "mipo/host/encoding_choice.h"

namespace mipo::host {
namespace {

using Numbers = std::vector<std::optional<std::int64_t>>;

constexpr std::int64_t greatest_number = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t least_number = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t microseconds_a_day = 86'400'000'000;

// Rows as a column encoder hands them on.
struct Rows {
  Rows(const ValueType &type, Numbers column) : numbers(std::move(column)) {
    std::vector<std::int64_t> distinct;
    bool has_null = false;
    for (const auto &number : numbers) {
      if (number) distinct.push_back(*number);
      has_null = has_null || !number;
    }
    std::ranges::sort(distinct);
    distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
    for (const auto &number : numbers)
      codes.push_back(!number ? 0
                              : static_cast<ub4>(std::ranges::lower_bound(distinct, *number) - distinct.begin()) +
                                    (has_null ? 1 : 0));
    dictionary.emplace(type, std::move(distinct), has_null);
  }

  EncodedColumn encoded(const Encoding &encoding) const {
    return EncodedColumn(codes, *dictionary, {encoding, reversed});
  }

  Numbers numbers;
  std::vector<ub4> codes;
  std::optional<Dictionary> dictionary;
};

struct Shape {
  const char *name;
  ValueType type;
  std::function<std::optional<std::int64_t>(std::mt19937 &random, std::size_t row)> number;
};

const Shape shapes[] = {
    {"two values", {ValueKind::integer}, [](auto &random, std::size_t) { return random() % 2 == 0 ? -1 : 0; }},
    {"delays with gaps",
     {ValueKind::integer},
     [](auto &random, std::size_t) -> std::optional<std::int64_t> {
       if (random() % 4 == 0) return {};
       return static_cast<std::int64_t>(random() % 200) - 79;
     }},
    {"amounts", {ValueKind::decimal, 2}, [](auto &random, std::size_t) { return static_cast<std::int64_t>(random()); }},
    {"mostly near zero",
     {ValueKind::integer},
     [](auto &random, std::size_t) {
       const std::int64_t magnitude = static_cast<std::int64_t>(random()) >> random() % 33;
       return random() % 2 == 0 ? magnitude : -magnitude;
     }},
    {"pages",
     {ValueKind::integer},
     [](auto &random, std::size_t) -> std::optional<std::int64_t> {
       if (random() % 9 == 0) return {};
       return (static_cast<std::int64_t>(random() % 70000) - 300) * (random() % 3 == 0 ? 65536 : 256);
     }},
    {"extremes",
     {ValueKind::integer},
     [](auto &random, std::size_t) {
       const std::int64_t numbers[] = {least_number, least_number + 1, greatest_number - 1, -1, 0, 1, 1LL << 56, 255};
       return numbers[random() % std::size(numbers)];
     }},
    {"the greatest",
     {ValueKind::integer},
     [](auto &, std::size_t row) { return greatest_number - (row % 3 == 0 ? 0 : 1); }},
    {"sorted days",
     {ValueKind::date_time},
     [](auto &, std::size_t row) -> std::optional<std::int64_t> {
       if (row / 50 % 5 == 4) return {};
       return (static_cast<std::int64_t>(row) / 300 - 1) * microseconds_a_day;
     }},
    {"nothing", {ValueKind::integer}, [](auto &, std::size_t) -> std::optional<std::int64_t> { return {}; }}};

Numbers make(const Shape &shape, std::size_t rows, std::mt19937 &random) {
  Numbers numbers;
  for (std::size_t row = 0; row < rows; ++row) numbers.push_back(shape.number(random, row));
  return numbers;
}

std::vector<Encoding> all_encodings() {
  const struct {
    ValueForm form;
    std::vector<int> widths;
  } forms[] = {{ValueForm::dictionary, {0, 1, 8, 11, 16, 20, 24, 32, 64}},
               {ValueForm::fixed, {0, 8, 16, 24, 40, 48, 56, 64}},
               {ValueForm::trailing_zero, {0, 32, 64}},
               {ValueForm::trailing_zero_const, {0, 32, 64}},
               {ValueForm::dynamic_packed, {0, 16, 32, 64}},
               {ValueForm::dynamic_packed_tz, {0, 16, 32, 64}}};
  std::vector<Encoding> encodings;
  for (const auto &[form, widths] : forms)
    for (const int bits : widths)
      for (const RunForm runs : {RunForm::none, RunForm::lengths_8, RunForm::lengths_16, RunForm::starts})
        for (const bool compressed : {false, true}) encodings.push_back({form, bits, runs, compressed});
  return encodings;
}

std::int64_t unit_of(const Shape &shape) {
  return shape.type.kind == ValueKind::date_time ? microseconds_a_day : 1;
}

bool holds(const Encoding &encoding, const Shape &shape, const Dictionary &dictionary) {
  const int bits = encoding.bits == 0 ? 64 : encoding.bits;
  if (encoding.form == ValueForm::dictionary) return bits >= 32 || dictionary.code_count() <= ub8{1} << bits;
  const bool dynamic = encoding.form == ValueForm::dynamic_packed || encoding.form == ValueForm::dynamic_packed_tz;
  for (const std::int64_t number : dictionary.numbers()) {
    const std::int64_t units = number / unit_of(shape);
    if (units == greatest_number) return false;
    const int magnitude_bits = dynamic ? bits / 8 * 7 : bits - 1;
    if (units >> magnitude_bits != 0 && units >> magnitude_bits != -1) return false;
  }
  return true;
}

class EncodedColumns : public testing::Test {
protected:
  // Calls check(column, rows) for every encoding that holds the rows.
  template <class Check>
  void for_each_column(std::initializer_list<std::size_t> row_counts, Check check) {
    std::mt19937 random(20251);
    for (const Shape &shape : shapes)
      for (const std::size_t row_count : row_counts) {
        const Rows rows(shape.type, make(shape, row_count, random));
        for (const Encoding &encoding : all_encodings()) {
          const std::string what =
              std::string(shape.name) + ", " + std::to_string(row_count) + " rows, " + encoding_text(encoding);
          SCOPED_TRACE(what);
          if (!holds(encoding, shape, *rows.dictionary)) {
            EXPECT_THROW(rows.encoded(encoding), EncodingError);
            continue;
          }
          const EncodedColumn column = rows.encoded(encoding);
          EXPECT_NO_THROW(column.decompress(decompressor_));
          check(column, rows);
          if (HasFailure()) return;
        }
      }
  }

  ReversingDecompressor decompressor_;
};

// What kernels make of the columns is for the queries to tell, which run in every encoding.
TEST_F(EncodedColumns, HoldTheirRows) {
  constexpr ub8 no_value = 12345678901;
  for_each_column({0, 1, 63, 64, 65, 700}, [](const EncodedColumn &column, const Rows &rows) {
    const Numbers &numbers = rows.numbers;
    ASSERT_EQ(column.rows(), numbers.size());
    EXPECT_EQ(column.null_rows(), static_cast<ub4>(std::count(numbers.begin(), numbers.end(), std::nullopt)));
    std::vector<ub4> some_rows;
    for (ub4 row = 0; row < column.rows(); row += 1 + row % 3) some_rows.push_back(row);
    std::vector<ub8> codes(some_rows.size());
    column.read_codes(some_rows, no_value, codes);
    for (std::size_t i = 0; i < codes.size(); ++i)
      ASSERT_EQ(codes[i], numbers[some_rows[i]] ? column.code(some_rows[i]) : no_value) << "row " << some_rows[i];
    for (ub4 row = 0; row < column.rows(); ++row) {
      const ub8 code = column.code(row);
      std::string text, expected;
      ASSERT_EQ(column.has_value(row), numbers[row].has_value()) << "row " << row;
      ASSERT_EQ(column.append_value(text, row), numbers[row].has_value());
      if (!numbers[row]) {
        ASSERT_EQ(code, column.has_dictionary() ? 0 : column.domain().first_code());
        continue;
      }
      append_number(expected, column.type(), *numbers[row]);
      ASSERT_EQ(text, expected);
      ASSERT_EQ(column.domain().number(code), *numbers[row]);
    }
    const StoredSize size = column.stored_size();
    EXPECT_EQ(size.dictionary, column.has_dictionary() ? 8 * column.domain().value_count() : 0);
    if (!column.has_runs() && column.validity() != nullptr) {
      EXPECT_EQ(size.validity, (numbers.size() + 7) / 8);
    }
  });
}

// Runs at and beyond what a length can tell.
TEST_F(EncodedColumns, SplitLongRuns) {
  const ub4 lengths[] = {1, 255, 256, 510, 65535, 65536, 70000, 1, 63};
  Numbers numbers;
  for (std::size_t i = 0; i < std::size(lengths); ++i)
    numbers.insert(numbers.end(), lengths[i], i == 3 ? std::nullopt : std::optional<std::int64_t>(i % 4));
  const Rows rows({ValueKind::integer}, numbers);
  const struct {
    RunForm runs;
    ub4 run_count;
  } forms[] = {{RunForm::lengths_8, 1 + 1 + 2 + 2 + 257 + 258 + 275 + 1 + 1},
               {RunForm::lengths_16, 1 + 1 + 1 + 1 + 1 + 2 + 2 + 1 + 1},
               {RunForm::starts, 9}};
  for (const ValueForm form : {ValueForm::dictionary, ValueForm::fixed, ValueForm::dynamic_packed})
    for (const auto &[runs, run_count] : forms) {
      const EncodedColumn column = rows.encoded({form, 0, runs, false});
      SCOPED_TRACE(encoding_text(column.encoding()));
      EXPECT_EQ(column.stored_values(), run_count);
      for (ub4 row = 0; row < column.rows(); row += row % 7 == 0 ? 1 : 6) {
        ASSERT_EQ(column.has_value(row), numbers[row].has_value());
        if (numbers[row]) {
          ASSERT_EQ(column.domain().number(column.code(row)), *numbers[row]);
        }
      }
    }
}

TEST(Encoding, TextsReadBack) {
  for (const Encoding &encoding : all_encodings()) EXPECT_EQ(parse_encoding(encoding_text(encoding)), encoding);
  EXPECT_EQ(encoding_text(parse_encoding("dict:13+runs+zstd")), "dict:13+runs8+zstd");
  for (const char *text : {"", "dic", "dict:", "dict:21", "dict:0x8", "fixed:12", "fixed:72", "dynp:24", "tz:-8",
                           "dict+", "dict+runs8+starts", "dict+none", "dict+zstd+zstd", "dict+zstd+runs", "fixed:16 "})
    try {
      parse_encoding(text);
      ADD_FAILURE() << text;
    } catch (const EncodingError &error) {
      EXPECT_NE(std::string(error.what()).find(std::string("'") + text + "' is no encoding"), std::string::npos);
    }
}

TEST(Encoding, RefusalsSayWhy) {
  const Rows numbers({ValueKind::integer}, {1, 300, {}});
  const std::vector<std::string_view> names = {"a", "b"};
  const std::vector<ub4> rows = {0, 1};
  const Dictionary texts(names, false);
  const struct {
    const char *encoding;
    bool of_texts;
    const char *message;
  } cases[] = {{"fixed", true, "texts are stored in a dictionary only"},
               {"dynp", true, "texts are stored in a dictionary only"},
               {"fixed:8", false, "the numbers of this column take 16 bits, not 8"},
               {"dict:1", false, "the codes of this column take 2 bits, not 1"},
               {"dict+zstd", false, "nothing to compress the column with"}};
  for (const auto &[encoding, of_texts, message] : cases) try {
      const ColumnOptions options{parse_encoding(encoding), {}};
      if (of_texts)
        EncodedColumn(rows, texts, options);
      else
        EncodedColumn(numbers.codes, *numbers.dictionary, options);
      ADD_FAILURE() << encoding;
    } catch (const EncodingError &error) {
      EXPECT_NE(std::string(error.what()).find(message), std::string::npos) << error.what();
    }
  EXPECT_THROW(EncodedColumn(numbers.codes, *numbers.dictionary, {parse_encoding("fixed"), {}}).dictionary(),
               ArgumentError);
}

TEST(Encoding, IsChosenFromTheData) {
  std::mt19937 random(1);
  const auto numbers = [&random](std::size_t rows, auto number) {
    Numbers made;
    for (std::size_t row = 0; row < rows; ++row) made.push_back(number(row, random()));
    return made;
  };
  const struct {
    const char *what;
    Numbers numbers;
    const char *encoding;
  } cases[] = {
      {"few values in many rows", numbers(5000, [](auto, auto r) { return r % 300 * 1'000'000; }), "dict:9"},
      {"many values", numbers(5000, [](auto, auto r) { return r % 30'000'000; }), "fixed:32"},
      {"small numbers in few rows", numbers(50, [](auto, auto r) { return r % 100; }), "fixed:8"},
      {"mostly near zero", numbers(5000, [](auto row, auto r) { return row % 9 == 0 ? r % 100'000'000 : r % 4000; }),
       "dynp:32"},
      {"short runs", numbers(6000, [](auto row, auto) { return row / 3 * 7919 % 1'000'003; }), "fixed:24"},
      {"long runs", numbers(6000, [](auto row, auto) { return row / 20 * 7919 % 1'000'003; }), "fixed:24+runs8"},
      {"longer runs", numbers(60000, [](auto row, auto) { return row / 2000 * 7919 % 1'000'003; }), "fixed:24+runs16"},
      {"runs of few values", numbers(60000, [](auto row, auto) { return row / 20 % 100 * 1'000'000; }), "dict:7+runs8"},
      {"runs of small codes", numbers(6000, [](auto row, auto) { return row / 6 % 4; }), "dict:2"},
      {"no rows", {}, "dict:1"},
      {"no values", numbers(1000, [](auto, auto) { return std::optional<std::int64_t>(); }), "dict:1+runs16"}};
  for (const auto &c : cases) {
    const Rows rows({ValueKind::integer}, c.numbers);
    const EncodedColumn column(rows.codes, *rows.dictionary);
    EXPECT_EQ(encoding_text(column.encoding()), c.encoding) << c.what;
  }
}

} // namespace
} // namespace mipo::host
