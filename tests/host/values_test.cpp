// Texts to values and back.
#include <gtest/gtest.h>

#include <string>

#include "mipo/host/values.h"

namespace mipo::host {
namespace {

std::string print(const ValueType &type, std::int64_t number) {
  std::string out;
  append_number(out, type, number);
  return out;
}

TEST(Values, Integers) {
  using Limits = std::numeric_limits<std::int64_t>;
  const std::pair<const char *, std::int64_t> good[] = {{"0", 0},
                                                        {"-0", 0},
                                                        {"+12", 12},
                                                        {"007", 7},
                                                        {"-9223372036854775808", Limits::min()},
                                                        {"9223372036854775807", Limits::max()}};
  for (const auto &[text, number] : good) EXPECT_EQ(parse_integer(text), number) << text;
  for (const char *text : {"9223372036854775808", "", "+", "-", "+-1", "1 ", "1.0", "1e3"})
    EXPECT_EQ(parse_integer(text), std::nullopt) << text;
}

TEST(Values, Decimals) {
  const struct {
    const char *text;
    std::int64_t mantissa;
    int scale;
  } good[] = {{"10.50", 1050, 2},
              {"-.5", -5, 1},
              {"5.", 5, 0},
              {"1.5e3", 1500, 0},
              {"1.5e-3", 15, 4},
              {"-0.000", 0, 3},
              {"000000000000000000000000001.5", 15, 1},
              {"999999999999999999", 999999999999999999, 0},
              {"0.100000000000000000000000000", 1, 1},
              {"0.123456789012345678", 123456789012345678, 18}};
  for (const auto &c : good) {
    const auto decimal = parse_decimal(c.text);
    ASSERT_TRUE(decimal) << c.text;
    EXPECT_EQ(decimal->mantissa, c.mantissa) << c.text;
    EXPECT_EQ(decimal->scale, c.scale) << c.text;
  }
  for (const char *text : {"", ".", "-", "e5", "1e", "1e+", "1.2.3", "1,5", "1 000", "nan", "inf", "0x1p3",
                           "1000000000000000000", "0.1234567890123456789", "1e18", "1e-19"})
    EXPECT_FALSE(parse_decimal(text)) << text;
  EXPECT_EQ(rescale({-15, 1}, 3), -1500);
  EXPECT_EQ(rescale({999999999999999999, 0}, 1), std::nullopt);
}

TEST(Values, DatesAndTimes) {
  const struct {
    const char *text;
    std::int64_t microseconds;
    TimePrecision precision;
    const char *printed;
  } good[] = {{"1970-01-01", 0, TimePrecision::day, "1970-01-01"},
              {"1970-01-02 00:01", 86460000000, TimePrecision::minute, "1970-01-02 00:01"},
              {"1969-12-31T23:59:59", -1000000, TimePrecision::second, "1969-12-31 23:59:59"},
              {"1969-12-31 23:59:59.999999", -1, TimePrecision::fraction, "1969-12-31 23:59:59.999999"},
              {"2000-02-29 12:00:00.5", 951825600500000, TimePrecision::fraction, "2000-02-29 12:00:00.5"},
              {"0001-01-01", -62135596800000000, TimePrecision::day, "0001-01-01"},
              {"9999-12-31 23:59:59", 253402300799000000, TimePrecision::second, "9999-12-31 23:59:59"}};
  for (const auto &c : good) {
    const auto value = parse_date_time(c.text);
    ASSERT_TRUE(value) << c.text;
    EXPECT_EQ(value->microseconds, c.microseconds) << c.text;
    EXPECT_EQ(value->precision, c.precision) << c.text;
    EXPECT_EQ(print({ValueKind::date_time, value->fraction_digits, value->precision}, value->microseconds), c.printed);
  }
  const char *const bad[] = {// Parts that lack, that are out of range, and what stands elsewhere.
                             "",
                             "2001",
                             "2001-01",
                             "2001-13-01",
                             "2001-02-29",
                             "1900-02-29",
                             "2001-00-10",
                             "0000-01-01",
                             "2001-01-05 ",
                             "2001-01-05 1:00",
                             "2001-01-05 24:00",
                             "2001-01-05 10:60",
                             "2001-01-05 10:00:60",
                             "2001-01-05 10:00:00.",
                             "2001-01-05 10:00:00.1234567",
                             "2001-01-05 10:00Z",
                             "2001/01/05",
                             "05-01-2001",
                             "2001-01-05  10:00",
                             "2001-01-0x"};
  for (const char *text : bad) EXPECT_FALSE(parse_date_time(text)) << text;
  EXPECT_TRUE(parse_date_time("2001-01-05 10:00:00.12345600")) << "zeros after the microseconds say nothing";
}

TEST(Values, PrintAllDigitsOfTheScale) {
  EXPECT_EQ(print({ValueKind::decimal, 2}, 5), "0.05");
  EXPECT_EQ(print({ValueKind::decimal, 2}, -5), "-0.05");
  EXPECT_EQ(print({ValueKind::decimal, 2}, -12345), "-123.45");
  EXPECT_EQ(print({ValueKind::decimal, 0}, 7), "7");
  EXPECT_EQ(print({ValueKind::decimal, 18}, 1), "0.000000000000000001");
  EXPECT_EQ(print({ValueKind::integer}, std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(print({ValueKind::date_time, 6, TimePrecision::fraction}, 1), "1970-01-01 00:00:00.000001");
}

TEST(Values, Utf8) {
  for (const char *text : {"", "plain ascii, longer than a word", "\xc3\xa4", "\xe2\x82\xac", "\xf0\x9f\x9b\xab",
                           "12345678\xc3\xa4", "\xed\x9f\xbf", "\xf4\x8f\xbf\xbf"})
    EXPECT_TRUE(is_utf8(text)) << text;
  for (const char *text :
       {"\x80", "\xc3", "\xc0\xaf", "\xe0\x80\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xf8\x88\x80\x80\x80",
        "1234567\xc3", "\xe2\x82", "\xc3\x28", "\xff", "caf\xe9", "12345678\xe4 and more"})
    EXPECT_FALSE(is_utf8(text)) << text;
}

TEST(Values, TypeNames) {
  const struct {
    ValueType type;
    const char *name;
  } cases[] = {{{ValueKind::integer}, "integer"},
               {{ValueKind::decimal, 2}, "decimal(2)"},
               {{ValueKind::date_time, 0, TimePrecision::day}, "date"},
               {{ValueKind::date_time, 0, TimePrecision::minute}, "timestamp(minute)"},
               {{ValueKind::date_time, 3, TimePrecision::fraction}, "timestamp(3)"},
               {{ValueKind::text}, "text"}};
  for (const auto &c : cases) {
    EXPECT_EQ(type_name(c.type), c.name);
    EXPECT_EQ(kind_from_name(kind_name(c.type.kind)), c.type.kind);
  }
  EXPECT_EQ(kind_from_name("timestamp"), ValueKind::date_time);
  EXPECT_EQ(kind_from_name("float"), std::nullopt);
}

} // namespace
} // namespace mipo::host
