#include "answer.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <stdexcept>

namespace mipo::bench {
namespace {

std::optional<double> as_double(const Cell &cell) {
  if (const auto *integer = std::get_if<std::int64_t>(&cell)) return static_cast<double>(*integer);
  if (const auto *number = std::get_if<double>(&cell)) return *number;
  return std::nullopt;
}

bool equal(const Cell &a, const Cell &b) {
  if (!std::holds_alternative<double>(a) && !std::holds_alternative<double>(b)) return a == b;
  const std::optional<double> x = as_double(a), y = as_double(b);
  if (!x || !y) return false;
  return *x == *y || std::abs(*x - *y) <= double_tolerance * std::max(std::abs(*x), std::abs(*y));
}

std::string text_of(const Cell &cell) {
  if (const auto *integer = std::get_if<std::int64_t>(&cell)) return std::to_string(*integer);
  if (const auto *number = std::get_if<double>(&cell)) return fmt::format("{} (a double)", *number);
  if (const auto *text = std::get_if<std::string>(&cell)) return "'" + *text + "'";
  return "NULL";
}

template <class Number>
std::optional<Number> parse_whole(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return number;
}

} // namespace

Cell number_cell(std::string_view text) {
  if (const auto integer = parse_whole<std::int64_t>(text)) return *integer;
  if (const auto number = parse_whole<double>(text)) return *number;
  throw std::runtime_error(fmt::format("'{}' is not a number", text));
}

std::optional<std::string> first_difference(const std::vector<Row> &expected, const std::vector<Row> &found) {
  if (expected.size() != found.size()) return fmt::format("{} rows instead of {}", found.size(), expected.size());
  for (std::size_t row = 0; row < expected.size(); ++row) {
    if (expected[row].size() != found[row].size())
      return fmt::format("{} columns instead of {}", found[row].size(), expected[row].size());
    for (std::size_t column = 0; column < expected[row].size(); ++column)
      if (!equal(expected[row][column], found[row][column]))
        return fmt::format("row {}, column {}: {} instead of {}", row + 1, column + 1, text_of(found[row][column]),
                           text_of(expected[row][column]));
  }
  return std::nullopt;
}

} // namespace mipo::bench
