// A value of a result: what a column, an aggregate or a calculation with them gives for one row or one group.
#ifndef MIPO_ENGINE_PLAN_VALUE_H
#define MIPO_ENGINE_PLAN_VALUE_H

#include <compare>
#include <string>
#include <variant>

#include "engine/sql/ast.h"
#include "mipo/host/domain.h"

namespace mipo::engine {

__extension__ typedef __int128 WideInteger;

/// Digits / 10^scale, exactly.
struct ExactNumber {
  WideInteger digits = 0;
  int scale = 0;
};

/// A value of a column, by its code: it prints and orders as the column's values do.
struct CodedValue {
  const host::Domain *domain;
  ub8 code;
};

class Value {
public:
  /// No value.
  Value() = default;
  Value(ExactNumber number) : value_(number) {}
  Value(double real) : value_(real) {}
  Value(CodedValue coded) : value_(coded) {}

  bool is_null() const { return std::holds_alternative<std::monostate>(value_); }
  const CodedValue *coded() const { return std::get_if<CodedValue>(&value_); }
  const ExactNumber *exact() const { return std::get_if<ExactNumber>(&value_); }

  /// Appends the text of the value; nothing for none.
  void append_to(std::string &out) const;

  /// The order of two values of one expression; a missing value is less than all others.
  friend std::weak_ordering operator<=>(const Value &a, const Value &b);
  friend bool operator==(const Value &a, const Value &b) { return (a <=> b) == 0; }

private:
  friend Value calculate(ArithmeticOperator op, const Value &a, const Value &b);

  std::variant<std::monostate, ExactNumber, double, CodedValue> value_;
};

/// Of numbers; exact unless one side is a real number. No value if one side has none. Throws QueryError if an exact
/// result has more than 38 digits.
Value calculate(ArithmeticOperator op, const Value &a, const Value &b);

/// A number as it is written in a query. Throws QueryError, with the constant's position, if it has more than 18
/// digits.
Value number_value(const Constant &constant);

} // namespace mipo::engine

#endif
