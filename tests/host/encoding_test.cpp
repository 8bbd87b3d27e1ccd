// Columns in every encoding: what is stored, what single rows and constants say, and what kernels make of it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "host/column_decoder.h"
#include "host/reversal.h"
#include "mipo/host/column.h"
#include "mipo/host/context.h"
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
    {"nothing", {ValueKind::integer}, [](auto &, std::size_t) -> std::optional<std::int64_t> { return {}; }},
};

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

// The rows that a kernel of the column selects.
std::vector<bool> selected(const Library &library, CallContext &context, const EncodedColumn &column,
                           mipo_operation operation, ub8 low, ub8 high) {
  Result result(column.rows());
  const Constant lo = column.constant(low), hi = column.constant(high);
  const ub4 key = column.key(operation);
  ub4 code = 0;
  if (operation >= MIPO_OP_GT_LT)
    code = library.two_sided(key)(result.vec(), &column.vec(), &lo.vec(), &hi.vec(), context.record());
  else
    code = library.one_sided(key)(result.vec(), &column.vec(), &lo.vec(), context.record());
  EXPECT_EQ(code, ub4{result.count() == 0 ? MIPO_EMPTY : MIPO_DONE});
  EXPECT_EQ(result.count(), result.bits().count());
  std::vector<bool> rows;
  for (ub4 row = 0; row < column.rows(); ++row) rows.push_back(result.bits().test(row));
  return rows;
}

bool qualifies(mipo_operation operation, std::int64_t row, std::int64_t low, std::int64_t high) {
  switch (operation) {
  case MIPO_OP_EQ:
    return row == low;
  case MIPO_OP_NE:
    return row != low;
  case MIPO_OP_LT:
    return row < low;
  case MIPO_OP_LE:
    return row <= low;
  case MIPO_OP_GT:
    return row > low;
  case MIPO_OP_GE:
    return row >= low;
  case MIPO_OP_GT_LT:
    return low < row && row < high;
  case MIPO_OP_GT_LE:
    return low < row && row <= high;
  case MIPO_OP_GE_LT:
    return low <= row && row < high;
  default:
    return low <= row && row <= high;
  }
}

class EncodedColumns : public testing::Test {
protected:
  // Calls check(column, shape, rows, random) for every encoding that holds the rows.
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
          check(column, shape, rows, random);
          if (HasFailure()) return;
        }
      }
  }

  const Library library_ = Library::open();
  ReversingDecompressor decompressor_;
};

TEST_F(EncodedColumns, HoldTheirRows) {
  for_each_column(
      {0, 1, 63, 64, 65, 700}, [](const EncodedColumn &column, const Shape &shape, const Rows &rows, std::mt19937 &) {
        const Numbers &numbers = rows.numbers;
        const mipo_vec &vec = column.vec();
        const void *base = column.is_compressed() ? *vec.decomp_slot : vec.data;
        const std::vector<DecodedRow> decoded = decode_column(vec, column.encoding(), base);
        ASSERT_EQ(decoded.size(), numbers.size());
        ASSERT_EQ(column.rows(), numbers.size());
        EXPECT_EQ(column.null_rows(), static_cast<ub4>(std::count(numbers.begin(), numbers.end(), std::nullopt)));
        for (ub4 row = 0; row < column.rows(); ++row) {
          const ub8 code = column.code(row);
          std::string text, expected;
          ASSERT_EQ(column.has_value(row), numbers[row].has_value()) << "row " << row;
          ASSERT_EQ(column.append_value(text, row), numbers[row].has_value());
          const DecodedRow constant = decode_constant(column.constant(code).vec(), column.encoding(), column.bits());
          ASSERT_EQ(decoded[row].stored, constant.stored) << "row " << row;
          ASSERT_EQ(decoded[row].count, constant.count) << "row " << row;
          if (!numbers[row]) {
            ASSERT_EQ(code, column.has_dictionary() ? 0 : column.domain().first_code());
            ASSERT_EQ(decoded[row].valid, column.has_dictionary());
            continue;
          }
          ASSERT_TRUE(decoded[row].valid);
          append_number(expected, column.type(), *numbers[row]);
          ASSERT_EQ(text, expected);
          ASSERT_EQ(column.domain().number(code), *numbers[row]);
          if (!column.has_dictionary()) {
            ASSERT_EQ(decoded[row].units, *numbers[row] / unit_of(shape));
          }
        }
        const StoredSize size = column.stored_size();
        EXPECT_EQ(size.dictionary, column.has_dictionary() ? 8 * column.domain().value_count() : 0);
        if (column.has_runs()) return;
        const bool dynamic = (column.key(MIPO_OP_EQ) >> 5 & 3) == MIPO_FAMILY_DYNP;
        ub8 bits = 0;
        for (const DecodedRow &row : decoded) bits += dynamic ? 8 * (row.count + 1) : static_cast<ub8>(column.bits());
        // What kernels may read: 16 bytes after dynamic-packed values, a word after the one that the last code begins
        // in.
        const ub8 readable = dynamic ? bits / 8 + 16
                             : column.has_dictionary() && column.bits() <= 32 && column.rows() != 0
                                 ? (column.rows() - 1) * static_cast<ub8>(column.bits()) / 32 * 4 + 8
                                 : bits / 8;
        if (column.is_compressed()) {
          EXPECT_GE(vec.decomp_size, readable);
        } else {
          EXPECT_EQ(size.values, (bits + 7) / 8);
        }
        EXPECT_EQ(size.validity, column.validity() != nullptr ? (numbers.size() + 7) / 8 : 0);
      });
}

// Every operation, with constants that rows have, that lie beside them, and at the ends of the domain.
TEST_F(EncodedColumns, AnswerPredicates) {
  CallContext context(library_, &decompressor_);
  for_each_column({1, 64, 130, 700}, [&](const EncodedColumn &column, const Shape &, const Rows &rows,
                                         std::mt19937 &random) {
    const Numbers &numbers = rows.numbers;
    const Domain &domain = column.domain();
    if (domain.value_count() == 0) return;
    const auto pick = [&] {
      const ub8 code = column.code(static_cast<ub4>(random() % numbers.size()));
      return std::clamp(code + random() % 3 - 1, domain.first_code(), domain.code_count() - 1);
    };
    BitVector every_third(numbers.size());
    for (std::size_t row = 0; row < numbers.size(); row += 3) every_third.set(row);
    for (unsigned operation = MIPO_OP_EQ; operation <= MIPO_OP_GE_LE; ++operation) {
      const auto op = static_cast<mipo_operation>(operation);
      const ub8 low = pick(), high = operation % 2 == 0 ? domain.code_count() - 1 : pick();
      for (const bool selective : {false, true}) {
        if (selective && column.has_runs()) continue;
        if (selective) context.select(every_third, true);
        const std::vector<bool> found = selected(library_, context, column, op, low, high);
        context.select_all();
        for (std::size_t row = 0; row < numbers.size(); ++row) {
          const bool looked_at = !selective || row % 3 == 0;
          ASSERT_EQ(found[row],
                    looked_at && numbers[row] && qualifies(op, *numbers[row], domain.number(low), domain.number(high)))
              << kernel_name(column.key(op)) << " row " << row << " constants " << low << ' ' << high;
        }
      }
    }
    context.throw_if_reported();
  });
}

TEST_F(EncodedColumns, AnswerSetsAndExtremes) {
  for_each_column({64, 300}, [&](const EncodedColumn &column, const Shape &, const Rows &rows, std::mt19937 &) {
    if (!column.has_dictionary() || column.bits() > 32) return;
    CallContext context(library_, &decompressor_);
    BitVector even_values(column.domain().code_count());
    for (ub8 code = column.domain().first_code(); code < even_values.size(); code += 2) even_values.set(code);
    mipo_vec set{};
    set.bv = even_values.words();
    Result result(column.rows());
    library_.set(column.key(MIPO_OP_SET))(result.vec(), &column.vec(), &set, context.record());
    for (ub4 row = 0; row < column.rows(); ++row)
      ASSERT_EQ(result.bits().test(row), even_values.test(rows.codes[row])) << "row " << row;

    ub4 extremes[2] = {};
    mipo_vec ends{};
    ends.data = extremes;
    const ub4 code = library_.minmax(column.key(MIPO_OP_MINMAX))(&ends, &column.vec(), context.record(), 0);
    ASSERT_EQ(code, ub4{column.domain().value_count() == 0 ? MIPO_EMPTY : MIPO_DONE});
    if (code == MIPO_EMPTY) return;
    ASSERT_EQ(extremes[0], column.domain().first_code());
    ASSERT_EQ(extremes[1], column.domain().code_count() - 1);
  });
}

// A constant of a query means the same in every encoding, whether a row can have it or not.
TEST_F(EncodedColumns, AgreeOnConstants) {
  struct Written {
    Literal literal;
    long double number; // in stored units
  };
  std::vector<Written> numbers, days;
  for (const char *text : {"0", "-1", "0.5", "256.0", "300", "-79.5", "1e30", "-1e30", "65537", "9223372036854775807"})
    numbers.push_back({{Literal::Form::number, text}, std::strtold(text, nullptr)});
  const std::pair<const char *, long double> dates[] = {{"1970-01-01", 0},
                                                        {"1969-12-31 12:00", -0.5l},
                                                        {"1970-01-02 00:00:00.5", 1 + 0.5l / (24 * 60 * 60)},
                                                        {"2999-01-01", 375840},
                                                        {"0001-01-01", -719162}};
  for (const auto &[text, day] : dates) days.push_back({{Literal::Form::string, text}, day * microseconds_a_day});
  const std::pair<Comparison, bool (*)(long double, long double)> comparisons[] = {
      {Comparison::equal, [](long double row, long double constant) { return row == constant; }},
      {Comparison::less, [](long double row, long double constant) { return row < constant; }},
      {Comparison::less_or_equal, [](long double row, long double constant) { return row <= constant; }},
      {Comparison::greater_or_equal, [](long double row, long double constant) { return row >= constant; }},
      {Comparison::greater, [](long double row, long double constant) { return row > constant; }}};
  for_each_column({65, 300}, [&](const EncodedColumn &column, const Shape &shape, const Rows &rows, std::mt19937 &) {
    std::vector<ub8> codes_of_rows;
    for (ub4 row = 0; row < column.rows(); ++row) codes_of_rows.push_back(column.code(row));
    for (const auto &[literal, position] : shape.type.kind == ValueKind::date_time ? days : numbers)
      for (const auto &[comparison, compares] : comparisons) {
        const CodeInterval codes = column.domain().codes_where(comparison, literal);
        if (!codes.empty()) {
          ASSERT_GE(codes.first, column.domain().first_code());
          ASSERT_LT(codes.last, column.domain().code_count());
        }
        const long double constant = shape.type.scale == 2 ? position * 100 : position;
        for (ub4 row = 0; row < column.rows(); ++row) {
          if (!rows.numbers[row]) continue;
          const bool is_in = codes_of_rows[row] >= codes.first && codes_of_rows[row] <= codes.last;
          ASSERT_EQ(is_in, compares(static_cast<long double>(*rows.numbers[row]), constant))
              << *rows.numbers[row] << " and " << literal.text;
        }
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
  CallContext context(library_, &decompressor_);
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
      const std::vector<DecodedRow> decoded = decode_column(column.vec(), column.encoding(), column.vec().data);
      ASSERT_EQ(decoded.size(), numbers.size());
      const ub8 wanted = *column.domain().find({Literal::Form::number, "2"});
      const std::vector<bool> found = selected(library_, context, column, MIPO_OP_GE, wanted, wanted);
      for (ub4 row = 0; row < column.rows(); row += row % 7 == 0 ? 1 : 6) {
        ASSERT_EQ(decoded[row].stored,
                  decode_constant(column.constant(column.code(row)).vec(), column.encoding(), column.bits()).stored);
        ASSERT_EQ(column.has_value(row), numbers[row].has_value());
        if (numbers[row]) {
          ASSERT_EQ(column.domain().number(column.code(row)), *numbers[row]);
        }
        ASSERT_EQ(found[row], numbers[row] && *numbers[row] >= 2) << row;
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
      {"no values", numbers(1000, [](auto, auto) { return std::optional<std::int64_t>(); }), "dict:1+runs16"},
  };
  for (const auto &c : cases) {
    const Rows rows({ValueKind::integer}, c.numbers);
    const EncodedColumn column(rows.codes, *rows.dictionary);
    EXPECT_EQ(encoding_text(column.encoding()), c.encoding) << c.what;
  }
}

} // namespace
} // namespace mipo::host
