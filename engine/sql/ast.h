// A query as the parser leaves it: names and constants as they were written, nothing looked up yet. Positions are
// byte offsets into the query's text.
#ifndef MIPO_ENGINE_SQL_AST_H
#define MIPO_ENGINE_SQL_AST_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace mipo::engine {

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

enum class AggregateFunction { row_count, count, sum, average, minimum, maximum };

enum class ArithmeticOperator { add, subtract, multiply };

// A value: of a row, or of a group of rows once it has an aggregate in it.
struct Expression {
  struct Arithmetic {
    ArithmeticOperator op = ArithmeticOperator::add;
    std::vector<Expression> operands; // exactly two
  };
  struct Aggregate {
    AggregateFunction function = AggregateFunction::row_count;
    std::vector<Expression> argument; // exactly one, free of aggregates; none of row_count
  };
  std::variant<ColumnName, Constant, Arithmetic, Aggregate> node;
  std::size_t position = 0;
};

// What is compared: a value, or upper() or lower() of a column.
struct Operand {
  Expression value;
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

struct Query;

// Whether the operand is among the rows of a query with one output column.
struct InQuery {
  Operand operand;
  std::vector<Query> query; // exactly one; a vector because Query is incomplete here
  std::string text;         // of the query, in its parentheses
  std::size_t position = 0;
};

struct Like {
  Operand operand;
  Constant pattern;
  std::optional<Constant> escape;
  bool negated = false;
};

struct NullTest {
  Expression value;
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
  std::variant<Comparison, Between, InList, InQuery, Like, NullTest, Junction, Negation> node;
};

// All columns: * or table.*
struct AllColumns {
  std::string qualifier;
  std::size_t position = 0;
};

struct OutputItem {
  std::variant<AllColumns, Expression> value;
  std::optional<std::string> name; // from AS
};

// The number of an output column, from 1, where it stands for the column: ORDER BY 2.
struct OutputPosition {
  std::uint64_t number = 1;
  std::size_t position = 0;
};

using GroupItem = std::variant<OutputPosition, Expression>;

struct OrderItem {
  std::variant<OutputPosition, Expression> value;
  bool descending = false;
  std::optional<bool> nulls_first; // nothing: NULL rows count as less than all others
};

struct TableName {
  std::string name;
  bool quoted = false; // in double quotes: the case counts, and it may be a file's path
  std::string alias;   // empty without one
  std::size_t position = 0;
};

// FROM ... [LEFT] JOIN table ON a = b
struct Join {
  TableName table;
  bool outer = false;  // rows without partner stay
  ColumnName sides[2]; // of the equality, as they are written
  std::size_t position = 0;
};

struct Query {
  std::vector<OutputItem> output;
  bool distinct = false;
  TableName table;
  std::vector<Join> joins;        // in the order in which they are written
  std::optional<Condition> where; // its operands are columns, or upper() or lower() of one
  std::vector<GroupItem> group_by;
  std::optional<Condition> having;
  std::vector<OrderItem> order_by;
  std::optional<std::uint64_t> limit;
  std::uint64_t offset = 0;
};

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

/// The name of the function as it is written in SQL: count, for row_count too.
constexpr const char *sql_text(AggregateFunction function) {
  switch (function) {
  case AggregateFunction::row_count:
  case AggregateFunction::count:
    return "count";
  case AggregateFunction::sum:
    return "sum";
  case AggregateFunction::average:
    return "avg";
  case AggregateFunction::minimum:
    return "min";
  case AggregateFunction::maximum:
    return "max";
  }
  return "";
}

constexpr const char *sql_text(ArithmeticOperator op) {
  switch (op) {
  case ArithmeticOperator::add:
    return "+";
  case ArithmeticOperator::subtract:
    return "-";
  case ArithmeticOperator::multiply:
    return "*";
  }
  return "";
}

} // namespace mipo::engine

#endif
