#include "engine/plan/value.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "engine/sql/query_error.h"

namespace mipo::engine {
namespace {

constexpr int most_digits = 38; // of a WideInteger

WideInteger power_of_ten(int exponent) {
  WideInteger power = 1;
  for (int i = 0; i < exponent; ++i) power *= 10;
  return power;
}

[[noreturn]] void throw_too_large() {
  throw QueryError(fmt::format("a result has more than {} digits", most_digits));
}

WideInteger checked_product(WideInteger a, WideInteger b) {
  WideInteger product;
  if (__builtin_mul_overflow(a, b, &product)) throw_too_large();
  return product;
}

WideInteger rescaled(const ExactNumber &number, int scale) {
  if (scale - number.scale > most_digits) throw_too_large();
  return checked_product(number.digits, power_of_ten(scale - number.scale));
}

double real(const ExactNumber &number) {
  return static_cast<double>(number.digits) / std::pow(10.0, number.scale);
}

ExactNumber number_of(const CodedValue &coded) {
  return {coded.domain->number(coded.code), coded.domain->type().scale};
}

std::weak_ordering order(const ExactNumber &a, const ExactNumber &b) {
  const int scale = std::max(a.scale, b.scale);
  const WideInteger left = rescaled(a, scale), right = rescaled(b, scale);
  return left < right   ? std::weak_ordering::less
         : left > right ? std::weak_ordering::greater
                        : std::weak_ordering::equivalent;
}

std::weak_ordering order(double a, double b) {
  return a < b ? std::weak_ordering::less : a > b ? std::weak_ordering::greater : std::weak_ordering::equivalent;
}

void append_digits(std::string &out, const ExactNumber &number) {
  WideInteger rest = number.digits < 0 ? -number.digits : number.digits;
  std::string reversed;
  for (int place = 0; rest != 0 || place <= number.scale; ++place, rest /= 10) {
    if (place == number.scale && place != 0) reversed += '.';
    reversed += static_cast<char>('0' + static_cast<int>(rest % 10));
  }
  if (number.digits < 0) reversed += '-';
  out.append(reversed.rbegin(), reversed.rend());
}

} // namespace

void Value::append_to(std::string &out) const {
  if (const auto *coded = std::get_if<CodedValue>(&value_))
    coded->domain->append_value(out, coded->code);
  else if (const auto *exact = std::get_if<ExactNumber>(&value_))
    append_digits(out, *exact);
  else if (const auto *inexact = std::get_if<double>(&value_))
    fmt::format_to(std::back_inserter(out), "{}", *inexact);
}

std::weak_ordering operator<=>(const Value &a, const Value &b) {
  if (a.is_null() || b.is_null()) return !a.is_null() <=> !b.is_null();
  const auto *left = std::get_if<CodedValue>(&a.value_), *right = std::get_if<CodedValue>(&b.value_);
  if (left != nullptr && right != nullptr && left->domain == right->domain) return left->code <=> right->code;
  const auto exact = [](const Value &value) -> const ExactNumber * { return std::get_if<ExactNumber>(&value.value_); };
  if (left != nullptr) return Value(number_of(*left)) <=> b;
  if (right != nullptr) return a <=> Value(number_of(*right));
  if (exact(a) != nullptr && exact(b) != nullptr) return order(*exact(a), *exact(b));
  const auto as_real = [&](const Value &value) {
    return exact(value) != nullptr ? real(*exact(value)) : std::get<double>(value.value_);
  };
  return order(as_real(a), as_real(b));
}

Value calculate(ArithmeticOperator op, const Value &a, const Value &b) {
  if (a.is_null() || b.is_null()) return {};
  if (const CodedValue *coded = a.coded()) return calculate(op, Value(number_of(*coded)), b);
  if (const CodedValue *coded = b.coded()) return calculate(op, a, Value(number_of(*coded)));
  const auto *left = std::get_if<ExactNumber>(&a.value_), *right = std::get_if<ExactNumber>(&b.value_);
  if (left == nullptr || right == nullptr) {
    const double x = left != nullptr ? real(*left) : std::get<double>(a.value_);
    const double y = right != nullptr ? real(*right) : std::get<double>(b.value_);
    return op == ArithmeticOperator::add ? x + y : op == ArithmeticOperator::subtract ? x - y : x * y;
  }
  if (op == ArithmeticOperator::multiply)
    return ExactNumber{checked_product(left->digits, right->digits), left->scale + right->scale};
  const int scale = std::max(left->scale, right->scale);
  const WideInteger x = rescaled(*left, scale), y = rescaled(*right, scale);
  WideInteger result;
  const bool overflow =
      op == ArithmeticOperator::add ? __builtin_add_overflow(x, y, &result) : __builtin_sub_overflow(x, y, &result);
  if (overflow) throw_too_large();
  return ExactNumber{result, scale};
}

Value number_value(const Constant &constant) {
  const auto decimal = host::parse_decimal(constant.text);
  if (!decimal) {
    throw QueryError(fmt::format("{} is not a number of at most {} digits", constant.text, host::max_decimal_digits),
                     constant.position);
  }
  return ExactNumber{decimal->mantissa, decimal->scale};
}

} // namespace mipo::engine
