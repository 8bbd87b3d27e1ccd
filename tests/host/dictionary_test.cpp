// The code interval of a comparison, against comparing every value with the constant.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "mipo/host/dictionary.h"

namespace mipo::host {
namespace {

constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t greatest = std::numeric_limits<std::int64_t>::max();

Literal number(std::string text) {
  return {Literal::Form::number, std::move(text)};
}
Literal string(std::string text) {
  return {Literal::Form::string, std::move(text)};
}

// Where the constant lies among the values, counted by hand: values below it, and values equal to it (0 or 1).
struct Place {
  Literal literal;
  ub8 below;
  ub8 equal;
};

void expect_places(const Dictionary &dictionary, const std::vector<Place> &places) {
  const ub8 first = dictionary.first_code();
  const ub8 end = dictionary.code_count();
  const auto interval = [](ub8 begin, ub8 behind) {
    return begin < behind ? std::pair{begin, behind - 1} : std::pair{ub8{1}, ub8{0}};
  };
  for (const Place &place : places) {
    const ub8 lower = first + place.below;
    const ub8 upper = lower + place.equal;
    const struct {
      Comparison comparison;
      std::pair<ub8, ub8> expected;
    } cases[] = {{Comparison::equal, interval(lower, upper)},
                 {Comparison::less, interval(first, lower)},
                 {Comparison::less_or_equal, interval(first, upper)},
                 {Comparison::greater_or_equal, interval(lower, end)},
                 {Comparison::greater, interval(upper, end)}};
    for (const auto &c : cases) {
      const CodeInterval codes = dictionary.codes_where(c.comparison, place.literal);
      EXPECT_EQ(std::pair(codes.first, codes.last), c.expected)
          << "comparison " << static_cast<int>(c.comparison) << " with " << place.literal.text;
    }
    EXPECT_EQ(dictionary.find(place.literal).has_value(), place.equal == 1) << place.literal.text;
  }
}

TEST(Dictionary, IntegersMeetAnyDecimalConstant) {
  for (const bool has_null : {false, true}) {
    expect_places(Dictionary({ValueKind::integer}, {-10, -1, 0, 7, 1000}, has_null),
                  {{number("-11"), 0, 0},
                   {number("-10"), 0, 1},
                   {number("-9.999"), 1, 0},
                   {number("-10.0000000000000000000000000001"), 0, 0},
                   {number("-0.0"), 2, 1},
                   {number("0.5"), 3, 0},
                   {number("-.5"), 2, 0},
                   {number("7."), 3, 1},
                   {number("1e3"), 4, 1},
                   {number("1000.00"), 4, 1},
                   {number("10000e-1"), 4, 1},
                   {number("1e30"), 5, 0},
                   {number("-1e999999999999"), 0, 0},
                   {number("1e-999999999999"), 3, 0},
                   {string("7"), 3, 1}});
    expect_places(Dictionary({ValueKind::integer}, {least, greatest}, has_null),
                  {{number("-9223372036854775808"), 0, 1},
                   {number("-9223372036854775808.1"), 0, 0},
                   {number("-9223372036854775807.9"), 1, 0},
                   {number("-18446744073709551615.5"), 0, 0},
                   {number("-18446744073709551617"), 0, 0},
                   {number("9223372036854775807"), 1, 1},
                   {number("9223372036854775807.5"), 2, 0},
                   {number("9223372036854775808"), 2, 0},
                   {number("18446744073709551616"), 2, 0}});
    expect_places(Dictionary({ValueKind::integer}, {}, has_null), {{number("0"), 0, 0}});
  }
}

TEST(Dictionary, DecimalsAreComparedAtAllDigits) {
  // -1.50, 0.00, 0.01, 2.25
  expect_places(Dictionary({ValueKind::decimal, 2}, {-150, 0, 1, 225}, true), {{number("-1.5"), 0, 1},
                                                                               {number("-1.501"), 0, 0},
                                                                               {number("-1.499"), 1, 0},
                                                                               {number("0.005"), 2, 0},
                                                                               {number("0.010"), 2, 1},
                                                                               {number("2.25"), 3, 1},
                                                                               {number("225e-2"), 3, 1},
                                                                               {number("2.2500001"), 4, 0},
                                                                               {number("9e99"), 4, 0}});
}

TEST(Dictionary, DatesMeetDatesAndTimestamps) {
  std::vector<std::int64_t> days;
  for (const char *day : {"1969-12-31", "2000-02-29", "2001-01-05"}) days.push_back(parse_date_time(day)->microseconds);
  expect_places(Dictionary({ValueKind::date_time, 0, TimePrecision::day}, days, false),
                {{string("1969-12-31"), 0, 1},
                 {string("1969-12-31 00:00:00.0000001"), 1, 0},
                 {string("2000-02-29T00:00"), 1, 1},
                 {string("2000-02-29 00:00:00.00000000"), 1, 1},
                 {string("2001-01-04 23:59:59.9999999"), 2, 0},
                 {string("9999-12-31"), 3, 0},
                 {string("0001-01-01"), 0, 0}});
}

TEST(Dictionary, TextsAreOrderedByBytes) {
  const std::vector<std::string_view> texts = {"ABQ", "ATL", "Z", "a", "\xc3\x84"};
  for (const bool has_null : {false, true}) {
    const Dictionary dictionary(texts, has_null);
    expect_places(dictionary, {{string(""), 0, 0},
                               {string("A"), 0, 0},
                               {string("ATL"), 1, 1},
                               {string("ATLA"), 2, 0},
                               {string("b"), 4, 0},
                               {string("\xc3\x84"), 4, 1},
                               {string("\xff"), 5, 0}});
    for (ub8 i = 0; i < texts.size(); ++i) EXPECT_EQ(dictionary.value(dictionary.first_code() + i), texts[i]);
    if (has_null) {
      EXPECT_EQ(dictionary.value(0), "");
      EXPECT_EQ(dictionary.text(0), "");
    }
    // As a kernel finds the symbol: offsets are big-endian.
    const ub4 begin = __builtin_bswap32(dictionary.symbol_offsets()[dictionary.first_code() + 1]);
    EXPECT_EQ(dictionary.symbol_bytes().substr(begin, 3), "ATL");
    EXPECT_EQ(dictionary.symbol_offsets().size(), dictionary.code_count() + 1);
  }
}

TEST(Dictionary, RefusesWhatCannotBeCompared) {
  const Dictionary integers({ValueKind::integer}, {1}, false);
  const Dictionary dates({ValueKind::date_time}, {0}, false);
  const std::vector<std::string_view> one_text = {"1"};
  const Dictionary texts(one_text, false);
  const struct {
    const Dictionary &dictionary;
    Literal literal;
  } cases[] = {{integers, string("abc")}, {integers, string("")},        {integers, string("2001-01-05")},
               {dates, number("2001")},   {dates, string("2001-02-29")}, {dates, string("5")},
               {texts, number("1")},      {integers, string("0x10")},    {dates, string("2001-01-05 24:00")},
               {integers, string(" 1")},  {dates, string("2001-1-5")},   {integers, string("1e")}};
  for (const auto &c : cases)
    EXPECT_THROW(c.dictionary.codes_where(Comparison::less, c.literal), ValueError) << c.literal.text;
}

TEST(Dictionary, MustBeSorted) {
  EXPECT_THROW(Dictionary({ValueKind::integer}, {1, 1}, false), ArgumentError);
  EXPECT_THROW(Dictionary({ValueKind::integer}, {2, 1}, false), ArgumentError);
  EXPECT_THROW(Dictionary({ValueKind::text}, {1}, false), ArgumentError);
  const std::vector<std::string_view> twice = {"a", "a"};
  EXPECT_THROW(Dictionary(twice, true), ArgumentError);
}

} // namespace
} // namespace mipo::host
