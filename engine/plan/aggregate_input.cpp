#include "engine/plan/aggregate_input.h"

#include <algorithm>
#include <bit>

#include <fmt/format.h>

#include "engine/sql/query_error.h"

namespace mipo::engine {
namespace {

bool may_be_null(const BoundExpression &expression) {
  switch (expression.kind) {
  case BoundExpression::Kind::column:
    return expression.column->nullable;
  case BoundExpression::Kind::constant:
    return expression.constant.is_null();
  default:
    return std::any_of(expression.operands.begin(), expression.operands.end(), may_be_null);
  }
}

NumberBounds bounds_of_column(const BoundColumn &column) {
  NumberBounds bounds;
  const host::Domain &domain = column.domain();
  if (!host::is_number(column.type().kind)) return bounds;
  bounds.scale = column.type().scale;
  if (column.is_joined() ? column.ranked.empty() : domain.value_count() == 0) return bounds;
  bounds.low = domain.number(column.is_joined() ? column.ranked.front() : domain.first_code());
  bounds.high = domain.number(column.is_joined() ? column.ranked.back() : domain.code_count() - 1);
  return bounds;
}

NumberBounds exact(NumberBounds bounds) {
  if (-exact_in_doubles <= bounds.low && bounds.high <= exact_in_doubles) return bounds;
  throw QueryError("a calculation may give numbers above 2^53, which are not exact any more");
}

NumberBounds at_scale(NumberBounds bounds, int scale) {
  for (; bounds.scale < scale; ++bounds.scale) {
    bounds.low *= 10;
    bounds.high *= 10;
    bounds = exact(bounds);
  }
  return bounds;
}

NumberBounds product(const NumberBounds &a, const NumberBounds &b) {
  const auto [low, high] = std::minmax({a.low * b.low, a.low * b.high, a.high * b.low, a.high * b.high});
  return {low, high, a.scale + b.scale};
}

} // namespace

NumberBounds bounds_of(const BoundExpression &expression) {
  if (expression.kind == BoundExpression::Kind::column) return exact(bounds_of_column(*expression.column));
  if (expression.kind == BoundExpression::Kind::constant) {
    if (expression.constant.is_null()) return {};
    const ExactNumber number = *expression.constant.exact();
    return exact({number.digits, number.digits, number.scale});
  }
  NumberBounds a = bounds_of(expression.operands[0]), b = bounds_of(expression.operands[1]);
  if (expression.op == ArithmeticOperator::multiply) return exact(product(a, b));
  const int scale = std::max(a.scale, b.scale);
  a = at_scale(a, scale);
  b = at_scale(b, scale);
  if (expression.op == ArithmeticOperator::add) return exact({a.low + b.low, a.high + b.high, scale});
  return exact({a.low - b.high, a.high - b.low, scale});
}

AggregateInput::AggregateInput(const BoundExpression &expression, ub8 rows)
    : argument(&expression),
      column(expression.kind == BoundExpression::Kind::column ? expression.column : nullptr),
      bounds(column != nullptr ? bounds_of_column(*column) : bounds_of(expression)),
      nullable(may_be_null(expression)) {
  const unsigned row_bits = static_cast<unsigned>(std::bit_width(rows));
  const WideInteger greatest_sum = (bounds.high - bounds.low) * static_cast<WideInteger>(rows);
  count_shift = 63 - row_bits;
  form = greatest_sum < WideInteger{1} << count_shift ? Form::together
         : greatest_sum < WideInteger{1} << 63        ? Form::apart
                                                      : Form::wide;
}

CodeMap<sb8> AggregateInput::words_by_code() const {
  CodeMap<sb8> words(column->stored().domain());
  const bool numbers = host::is_number(column->type().kind);
  for (ub8 code = words.begin_code(); code < words.end_code(); ++code)
    if (const std::optional<ub8> value = column->value_of(code))
      words[code] = word(numbers ? column->domain().number(*value) : 0);
  return words;
}

} // namespace mipo::engine
