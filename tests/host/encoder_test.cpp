// From fields to codes: inference, NULL rows, equal values in different texts, and what is refused.
#include <gtest/gtest.h>

#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include "mipo/host/column_encoder.h"

namespace mipo::host {
namespace {

ColumnEncoder encoder_of(const std::vector<std::string> &fields) {
  ColumnEncoder encoder;
  for (std::size_t i = 0; i < fields.size(); ++i) encoder.append(fields[i], i + 2);
  return encoder;
}

// The rows as texts; a NULL row is "-".
std::vector<std::string> values_of(const EncodedColumn &column) {
  std::vector<std::string> values;
  for (ub4 row = 0; row < column.rows(); ++row) {
    std::string value;
    values.push_back(column.append_value(value, row) ? value : "-");
  }
  return values;
}

TEST(Encoder, InfersTheNarrowestTypeThatLosesNothing) {
  const struct {
    std::vector<std::string> fields;
    const char *type;
    std::vector<std::string> values;
  } cases[] = {
      {{"3", "", "-1", "3"}, "integer", {"3", "-", "-1", "3"}},
      {{"3", "1.50", "-0.5"}, "decimal(2)", {"3.00", "1.50", "-0.50"}},
      {{"1.5", "1.50", "15e-1"}, "decimal(2)", {"1.50", "1.50", "1.50"}},
      {{"00501", "10001"}, "text", {"00501", "10001"}},
      {{"+49", "1"}, "text", {"+49", "1"}},
      {{"0", "-0"}, "integer", {"0", "0"}},
      {{"0.5", "-0.5"}, "decimal(1)", {"0.5", "-0.5"}},
      {{"9223372036854775808", "1"}, "text", {"9223372036854775808", "1"}},
      {{"123456789012345678", "0.5"}, "text", {"123456789012345678", "0.5"}},
      {{"2001-01-05", "2000-12-31"}, "date", {"2001-01-05", "2000-12-31"}},
      {{"2001-01-05", "2001-01-05T10:00"}, "timestamp(minute)", {"2001-01-05 00:00", "2001-01-05 10:00"}},
      {{"2001-01-05 10:00:00.25", "2001-01-05"}, "timestamp(2)", {"2001-01-05 10:00:00.25", "2001-01-05 00:00:00.00"}},
      {{"2001-01-05", "soon"}, "text", {"2001-01-05", "soon"}},
      {{"2001-01-05", "2001"}, "text", {"2001-01-05", "2001"}},
      {{" 1", "1"}, "text", {" 1", "1"}},
      {{"", "", ""}, "text", {"-", "-", "-"}},
      {{}, "text", {}}};
  for (const auto &c : cases) {
    ColumnEncoder encoder = encoder_of(c.fields);
    const EncodedColumn column = encoder.finish(encoder.inferred_kind());
    EXPECT_EQ(type_name(column.type()), c.type) << testing::PrintToString(c.fields);
    EXPECT_EQ(values_of(column), c.values);
    EXPECT_EQ(encoder.rows(), 0u) << "empty after finish()";
  }
}

TEST(Encoder, CodesFollowTheOrderOfValues) {
  const ColumnOptions in_dictionary{Encoding{}, {}};
  const EncodedColumn numbers = encoder_of({"10", "9", "", "-3", "9.0"}).finish(ValueKind::decimal, in_dictionary);
  const std::vector<ub8> expected = {3, 2, 0, 1, 2};
  for (ub4 row = 0; row < numbers.rows(); ++row) EXPECT_EQ(numbers.code(row), expected[row]);
  const EncodedColumn texts = encoder_of({"10", "9", "", "-3", "9.0"}).finish(ValueKind::text);
  const std::vector<ub8> expected_texts = {2, 3, 0, 1, 4};
  for (ub4 row = 0; row < texts.rows(); ++row) EXPECT_EQ(texts.code(row), expected_texts[row]);
}

// Lengths around those at which the hash reads in another way, with differences in every byte.
TEST(Encoder, KeepsSimilarTextsApart) {
  std::set<std::string> texts;
  for (std::size_t length = 1; length <= 40; ++length) {
    texts.insert(std::string(length, 'a'));
    texts.insert(std::string(length, '\0'));
    for (std::size_t at = 0; at < length; ++at) {
      std::string text(length, 'a');
      text[at] = 'b';
      texts.insert(text);
    }
  }
  for (int i = 0; i < 5000; ++i) texts.insert("key " + std::to_string(i));
  std::vector<std::string> rows(texts.begin(), texts.end());
  rows.insert(rows.end(), texts.rbegin(), texts.rend());
  const EncodedColumn column = encoder_of(rows).finish(ValueKind::text);
  EXPECT_EQ(column.dictionary().value_count(), texts.size());
  EXPECT_EQ(values_of(column), rows);
}

TEST(Encoder, NamesTheFirstFieldThatDoesNotFit) {
  const struct {
    std::vector<std::string> fields; // from line 2 on
    ValueKind kind;
    ub8 line; // 0: all fit
    const char *problem;
  } cases[] = {{{"1", "", "x", "1.5"}, ValueKind::integer, 4, "64-bit integer"},
               {{"1", "9223372036854775808"}, ValueKind::integer, 3, "64-bit integer"},
               {{"007", "+1"}, ValueKind::integer, 0, ""},
               {{"1.5", "1,5"}, ValueKind::decimal, 3, "decimal number"},
               {{"0.5", "999999999999999999"}, ValueKind::decimal, 3, "more than 18 digits with the 1 digits"},
               {{"2001-01-05", "2001-02-30"}, ValueKind::date_time, 3, "date or timestamp"},
               {{"a", "caf\xe9"}, ValueKind::text, 3, "UTF-8"},
               {{"1", "caf\xe9"}, ValueKind::integer, 3, "UTF-8"}};
  for (const auto &c : cases) {
    ColumnEncoder encoder = encoder_of(c.fields);
    const auto bad = encoder.first_bad_field(c.kind);
    EXPECT_EQ(bad ? bad->line : 0, c.line) << testing::PrintToString(c.fields);
    if (!bad) continue;
    EXPECT_EQ(bad->text, c.fields[bad->line - 2]);
    EXPECT_NE(bad->problem.find(c.problem), std::string::npos) << bad->problem;
    EXPECT_THROW(encoder.finish(c.kind), ValueError);
  }
}

TEST(Encoder, CountsLineEndsInFields) {
  ColumnEncoder encoder;
  EXPECT_EQ(encoder.append("none"), 0u);
  EXPECT_EQ(encoder.append("a\nb\r\nc\rd"), 3u);
  EXPECT_EQ(encoder.append("none"), 0u);
  EXPECT_EQ(encoder.append("a\nb\r\nc\rd"), 3u) << "the second time too";
}

} // namespace
} // namespace mipo::host
