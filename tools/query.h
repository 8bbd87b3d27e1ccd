// A query as the parser leaves it: names and constants as they were written, nothing looked up yet. Positions are
// byte offsets into the query's text.
#ifndef MIPO_TOOLS_QUERY_H
#define MIPO_TOOLS_QUERY_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace mipo::tools {

struct ColumnName {
  std::string qualifier; // table name in front of the dot; empty without one
  std::string name;
  bool quoted = false; // in double quotes: the case counts
  std::size_t position = 0;
};

struct Constant {
  enum class Kind { null, number, string };
  Kind kind = Kind::null;
  std::string text; // a number's text begins with a digit, a point or '-'
  std::size_t position = 0;
};

enum class ComparisonOperator { equal, not_equal, less, less_equal, greater, greater_equal };

// What upper() and lower() make of a text.
enum class LetterCase { as_is, upper, lower };

// What is compared: a column, or upper(column) or lower(column).
struct Operand {
  ColumnName column;
  LetterCase letter_case = LetterCase::as_is;
};

struct Condition;

// Comparisons with the constant on the left are turned round by the parser.
struct Comparison {
  Operand operand;
  ComparisonOperator op = ComparisonOperator::equal;
  Constant constant;
};

struct Between {
  Operand operand;
  Constant low, high;
  bool negated = false;
};

struct InList {
  Operand operand;
  std::vector<Constant> members;
  bool negated = false;
};

struct Like {
  Operand operand;
  Constant pattern;
  std::optional<Constant> escape;
  bool negated = false;
};

struct NullTest {
  ColumnName column;
  bool negated = false;
};

struct Junction {
  enum class Kind { conjunction, disjunction };
  Kind kind = Kind::conjunction;
  std::vector<Condition> operands;
};

struct Negation {
  std::vector<Condition> operand; // exactly one; a vector because Condition is incomplete here
};

struct Condition {
  std::variant<Comparison, Between, InList, Like, NullTest, Junction, Negation> node;
};

struct OutputItem {
  enum class Kind { column, all_columns, row_count, minimum, maximum };
  Kind kind = Kind::column;
  ColumnName column;               // for `all_columns` the qualifier and the position, for `row_count` the position
  std::optional<std::string> name; // from AS
};

struct TableName {
  std::string name;
  bool quoted = false; // in double quotes: the case counts, and it may be a file's path
  std::string alias;   // empty without one
  std::size_t position = 0;
};

struct Query {
  std::vector<OutputItem> output; // columns, or row_count, minimum and maximum, but not both
  TableName table;
  std::optional<Condition> where;
  std::optional<std::uint64_t> limit;
};

/// Whether the item is one value made of all rows.
constexpr bool is_aggregate(OutputItem::Kind kind) {
  using enum OutputItem::Kind;
  return kind == row_count || kind == minimum || kind == maximum;
}

/// The operator as it is written in SQL.
constexpr const char *sql_text(ComparisonOperator op) {
  switch (op) {
  case ComparisonOperator::equal:
    return "=";
  case ComparisonOperator::not_equal:
    return "<>";
  case ComparisonOperator::less:
    return "<";
  case ComparisonOperator::less_equal:
    return "<=";
  case ComparisonOperator::greater:
    return ">";
  case ComparisonOperator::greater_equal:
    return ">=";
  }
  return "";
}

} // namespace mipo::tools

#endif
