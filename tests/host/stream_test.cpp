// Streams of byte strings, prefix streams and sortable numbers: what goes in comes out, and what does not fit is told.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "mipo/host/prefix_stream.h"
#include "mipo/host/resumable.h"
#include "mipo/host/sortable_numbers.h"
#include "mipo/host/value_stream.h"

namespace mipo::host {
namespace {

using Strings = std::vector<std::string>;
using Views = std::vector<std::string_view>;

constexpr std::size_t fixed_width = 5;

StreamForm form_of(RowShape shape) {
  return {shape, shape == RowShape::fixed ? fixed_width : 0};
}

Strings random_strings(RowShape shape, std::size_t rows, unsigned seed) {
  std::mt19937 random(seed);
  Strings strings(rows);
  for (std::string &string : strings) {
    string.resize(shape == RowShape::fixed ? fixed_width : random() % 4 == 0 ? 0 : random() % 12);
    for (char &byte : string) byte = static_cast<char>(random());
  }
  return strings;
}

Views views_of(const Strings &strings) {
  return {strings.begin(), strings.end()};
}

std::string error_of(const auto &call) {
  try {
    call();
  } catch (const Error &error) {
    return error.what();
  }
  return {};
}

TEST(ValueStream, ReturnsWhatWasStored) {
  for (const RowShape shape : row_shapes) {
    std::vector<Strings> cases;
    for (const std::size_t rows : {0, 1, 2, 100}) cases.push_back(random_strings(shape, rows, 1));
    if (shape != RowShape::fixed) {
      cases.push_back({"", "", ""});
      cases.push_back({std::string(longest_stream_value, 'x'), "y", std::string(256, '\0')});
    }
    for (const Strings &strings : cases) {
      ValueStream first(form_of(shape), views_of(strings));
      const mipo_vec *vec = &first.vec();
      const ValueStream stream = std::move(first);
      EXPECT_EQ(&stream.vec(), vec);
      EXPECT_EQ(stream.rows(), strings.size());
      EXPECT_EQ(read_rows(stream.vec()), views_of(strings));
      const StreamForm form = stream_form(stream.vec());
      EXPECT_TRUE(form.shape == shape && form.width == form_of(shape).width);
    }
  }
}

TEST(ValueStream, RefusesWhatDoesNotFit) {
  const std::string long_value(longest_stream_value + 1, 'x');
  for (const RowShape shape : row_shapes) {
    const StreamForm form = form_of(shape);
    const Views values = {"12345", long_value};
    const std::string error = error_of([&] { ValueStream(form, values); });
    EXPECT_EQ(error, shape == RowShape::fixed
                         ? "the value of row 1 has 65536 bytes, all should have 5"
                         : "the value of row 1 has 65536 bytes, of which at most 65535 can be told");
  }
  const Views too_short = {"1234"};
  EXPECT_THROW(ValueStream(form_of(RowShape::fixed), too_short), EncodingError);
  for (const std::size_t width : {std::size_t{0}, std::size_t{1} << 29}) {
    EXPECT_THROW(ValueStream({RowShape::fixed, width}, Views{}), ArgumentError);
    EXPECT_THROW(StreamOutput({RowShape::fixed, width}, 0), ArgumentError);
  }
  mipo_enc_ctx enc_ctx{};
  mipo_vec vec{};
  vec.enc_ctx = &enc_ctx;
  EXPECT_THROW(read_rows(vec), ArgumentError);
}

TEST(ValueStream, ComparisonTellsEqualRows) {
  const Library library = Library::open();
  const Strings left = random_strings(RowShape::lengths_apart, 300, 1);
  Strings right = left;
  for (std::size_t row = 0; row < right.size(); row += 7) right[row] += '\0';
  const ValueStream left_stream({RowShape::lengths_apart}, views_of(left));
  BitVector equal(3);
  const ub4 count =
      equal_rows(library, equal, left_stream.vec(), ValueStream(left_stream.form(), views_of(right)).vec());
  for (std::size_t row = 0; row < right.size(); ++row) ASSERT_EQ(equal.test(row), row % 7 != 0) << row;
  EXPECT_EQ(count, equal.count()) << "no bit above the rows is set";
  EXPECT_EQ(equal_rows(library, equal, left_stream.vec(), left_stream.vec()), right.size());
  const Views values = {"12345"}, none, narrow = {"1"};
  const ValueStream stream(form_of(RowShape::fixed), values);
  for (const ValueStream &other : {ValueStream({RowShape::addresses}, values),
                                   ValueStream({RowShape::fixed, 1}, narrow), ValueStream(stream.form(), none)})
    EXPECT_THROW(equal_rows(library, equal, stream.vec(), other.vec()), ArgumentError);
}

// Every number of rows, and of bytes, that an output can have.
TEST(CopySelected, FillsOutputsOfEverySize) {
  const Library library = Library::open();
  CallContext context(library);
  constexpr std::size_t rows = 40;
  const std::vector<ub4> list = {0, 1, 2, 7, 8, 20, 21, 22, 23, 38, 39};
  BitVector bits(rows);
  for (const ub4 row : list) bits.set(row);
  for (const RowShape shape : row_shapes) {
    const Strings strings = random_strings(shape, rows, 3);
    const ValueStream source(form_of(shape), views_of(strings));
    const std::size_t longest = 2 + std::ranges::max(strings, {}, &std::string::size).size();
    for (const RowSelection &selection : {RowSelection(), RowSelection(bits), RowSelection(std::span(list))}) {
      Strings expected = strings;
      if (!selection.is_all()) {
        expected.clear();
        for (const ub4 row : list) expected.push_back(strings[row]);
      }
      for (ub4 row_capacity = 1; row_capacity <= rows + 1; ++row_capacity)
        for (std::size_t bytes = longest; bytes < (source.form().is_walked() ? 4 * longest : longest + 1); ++bytes) {
          StreamOutput output(source.form(), row_capacity, bytes);
          Strings got;
          StreamCursor cursor(library, context, source.vec(), selection);
          while (const mipo_vec *filled = cursor.next(output)) {
            ASSERT_TRUE(filled->nrows != 0 && filled->nrows <= row_capacity);
            for (const std::string_view row : read_rows(*filled)) got.emplace_back(row);
          }
          ASSERT_EQ(got, expected) << static_cast<ub4>(shape) << ", " << row_capacity << " rows, " << bytes << " bytes";
        }
    }
  }
}

TEST(CopySelected, TellsWhatCannotBeCopied) {
  const Library library = Library::open();
  CallContext context(library);
  const Views values = {"", "1", "12345"};
  for (const RowShape shape : {RowShape::lengths_ahead, RowShape::lengths_apart}) {
    const ValueStream source({shape}, values);
    StreamOutput output({shape}, 5, 4);
    StreamCursor cursor(library, context, source.vec());
    EXPECT_EQ(error_of([&] {
                while (cursor.next(output) != nullptr)
                  ;
              }),
              "a row does not fit an output of 5 rows and 4 bytes");
  }
  const ValueStream source({RowShape::addresses}, values);
  StreamOutput none({RowShape::addresses}, 0), some({RowShape::addresses}, 1), other({RowShape::lengths_ahead}, 1, 9);
  EXPECT_THROW(StreamCursor(library, context, source.vec()).next(none), Error);
  EXPECT_THROW(StreamCursor(library, context, source.vec()).next(other), ArgumentError);
  const std::vector<std::vector<ub4>> wrong_lists = {{1, 0}, {1, 1}, {0, 3}};
  for (const std::vector<ub4> &list : wrong_lists)
    EXPECT_THROW(StreamCursor(library, context, source.vec(), RowSelection(std::span(list))), ArgumentError);
  const BitVector bits(2);
  EXPECT_THROW(StreamCursor(library, context, source.vec(), RowSelection(bits)), ArgumentError);
  const RowSelection none_selected{std::span<const ub4>()};
  EXPECT_EQ(StreamCursor(library, context, source.vec(), none_selected).next(some), nullptr);
}

TEST(CopySelected, CursorsShareAContextWithItsOwnRows) {
  const Library library = Library::open();
  CallContext context(library);
  const BitVector own_rows(3);
  context.select(own_rows, true);
  context.record()->next_row = 7;
  const Views values = {"a", "b", "c"};
  const ValueStream source({RowShape::lengths_ahead}, values);
  StreamOutput output(source.form(), 1, 100);
  StreamCursor cursors[] = {{library, context, source.vec()}, {library, context, source.vec()}};
  for (const std::string_view value : values)
    for (StreamCursor &cursor : cursors) EXPECT_EQ(read_rows(*cursor.next(output)).at(0), value);
  for (StreamCursor &cursor : cursors) EXPECT_EQ(cursor.next(output), nullptr);
}

// Big-endian numbers that rise by `step`: the smaller the step, the longer the prefixes.
std::vector<std::byte> rising_values(std::size_t rows, unsigned width, ub8 step) {
  std::vector<std::byte> values;
  for (std::size_t row = 0; row < rows; ++row)
    for (unsigned byte = width; byte-- > 0;) values.push_back(static_cast<std::byte>(row * step >> 8 * byte));
  return values;
}

TEST(PrefixStream, ReturnsWhatWasStored) {
  const Library library = Library::open();
  for (unsigned width = 1; width <= PrefixStream::widest; ++width)
    for (const std::size_t rows : {0, 1, 15, 16, 17, 33, 400})
      for (const ub8 step : {ub8{0}, ub8{1}, ub8{300}, ub8{0x9e3779b97f4a7c15}}) {
        const std::vector<std::byte> values = rising_values(rows, width, step);
        const PrefixStream stream(values, width);
        std::vector<RowReference> references;
        const std::vector<std::byte> decoded = stream.decode(library, &references);
        ASSERT_EQ(decoded, values) << rows << " rows of " << width << " bytes, step " << step;
        EXPECT_EQ(stream.decode(library), values);
        ASSERT_EQ(references.size(), rows);
        for (ub4 row = 0; row < rows; ++row) {
          std::byte value[PrefixStream::widest];
          stream.value(row, value);
          ASSERT_TRUE(std::equal(value, value + width, values.begin() + row * width)) << row;
          EXPECT_EQ(references[row].address, reinterpret_cast<ub8>(decoded.data() + row * width));
          EXPECT_EQ(references[row].length, width);
        }
        const std::size_t groups = (rows + 15) / 16;
        if (step == 0) {
          EXPECT_EQ(stream.stored_bytes(), groups * (4 + 1 + width)) << "the prefix is the value";
        }
        EXPECT_LE(stream.stored_bytes(), groups * 5 + rows * width);
      }
  const std::vector<std::byte> seven(7);
  for (const unsigned width : {0, 2, 9}) EXPECT_THROW(PrefixStream(seven, width), ArgumentError);
}

// The bytes of a pattern in sortable form, by its definition.
template <class Pattern>
std::vector<std::byte> sortable_bytes(Pattern pattern, Pattern limit, Pattern not_a_number) {
  constexpr auto top = static_cast<Pattern>(Pattern{1} << (8 * sizeof(Pattern) - 1));
  Pattern stored = (pattern & top) != 0 ? static_cast<Pattern>(~pattern) : static_cast<Pattern>(pattern | top);
  if (pattern == top) stored = top;
  if (static_cast<Pattern>(pattern & ~top) > limit) stored = not_a_number;
  std::vector<std::byte> bytes;
  for (std::size_t byte = sizeof stored; byte-- > 0;) bytes.push_back(static_cast<std::byte>(stored >> 8 * byte));
  return bytes;
}

class SortableColumnTest : public testing::Test {
protected:
  // `values` of T; Pattern has their width.
  template <class Pattern, class T>
  void expect_column(const SortableColumn &column, const std::vector<T> &values, const std::vector<T> &back,
                     Pattern limit, Pattern not_a_number) {
    ASSERT_EQ(column.rows(), values.size());
    ASSERT_EQ(back.size(), values.size());
    for (std::size_t i = 0; i < values.size(); ++i) {
      const auto pattern = std::bit_cast<Pattern>(values[i]);
      const auto stored = column.stored().subspan(i * sizeof(T), sizeof(T));
      const std::vector<std::byte> expected = sortable_bytes(pattern, limit, not_a_number);
      ASSERT_TRUE(std::ranges::equal(stored, expected)) << "pattern " << pattern;
      constexpr auto top = static_cast<Pattern>(Pattern{1} << (8 * sizeof(Pattern) - 1));
      if (pattern == top)
        EXPECT_EQ(std::bit_cast<Pattern>(back[i]), 0) << "negative zero comes back as zero";
      else if (static_cast<Pattern>(pattern & ~top) <= limit)
        EXPECT_EQ(std::bit_cast<Pattern>(back[i]), pattern);
      else
        EXPECT_EQ(std::bit_cast<Pattern>(back[i]), static_cast<Pattern>(not_a_number ^ top));
    }
  }

  Library library = Library::open();
};

template <class T>
std::vector<T> numbers(std::size_t count) {
  using Limits = std::numeric_limits<T>;
  std::vector<T> values = {0,
                           -T{0},
                           1,
                           -1,
                           Limits::infinity(),
                           -Limits::infinity(),
                           Limits::quiet_NaN(),
                           -Limits::quiet_NaN(),
                           Limits::denorm_min(),
                           Limits::lowest(),
                           Limits::max()};
  std::mt19937 random(4);
  std::normal_distribution<T> draw(0, 1000);
  while (values.size() < count) values.push_back(draw(random));
  values.resize(count);
  return values;
}

TEST_F(SortableColumnTest, ReturnsWhatWasStored) {
  for (const std::size_t count : {0, 1, 11, 100}) {
    const auto floats = numbers<float>(count);
    const SortableColumn float_column(library, floats);
    expect_column<ub4>(float_column, floats, float_column.floats(library), 0x7f800000, 0xffc00000);
    const auto doubles = numbers<double>(count);
    const SortableColumn double_column(library, doubles);
    expect_column<ub8>(double_column, doubles, double_column.doubles(library), 0x7ff0000000000000, 0xfff8000000000000);
  }
  std::vector<ub2> patterns(0x10000);
  for (std::size_t i = 0; i < patterns.size(); ++i) patterns[i] = static_cast<ub2>(i);
  const SortableColumn halves(library, FloatType::float16, patterns);
  expect_column<ub2>(halves, patterns, halves.patterns(library), 0x7e00, 0xfe00);
  const SortableColumn brains(library, FloatType::bfloat16, patterns);
  expect_column<ub2>(brains, patterns, brains.patterns(library), 0x7f80, 0xffc0);
}

TEST_F(SortableColumnTest, RefusesOtherTypes) {
  const std::vector<ub2> patterns(3);
  EXPECT_THROW(SortableColumn(library, FloatType::float32, patterns), ArgumentError);
  const SortableColumn column(library, FloatType::float16, patterns);
  EXPECT_EQ(error_of([&] { column.floats(library); }), "a column of float16 cannot be read as float");
  EXPECT_THROW(column.doubles(library), ArgumentError);
  EXPECT_THROW(SortableColumn(library, std::vector<float>(3)).patterns(library), ArgumentError);
}

} // namespace
} // namespace mipo::host
