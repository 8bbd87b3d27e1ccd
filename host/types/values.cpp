#include "mipo/host/values.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "host/types/date_time.h"

namespace mipo::host {
namespace {

constexpr std::int64_t decimal_limit = 1'000'000'000'000'000'000; // 10^max_decimal_digits

// A number's parts as written.
struct ScannedNumber {
  bool negative;
  std::string_view whole;    // digits before the point
  std::string_view fraction; // digits after it
  int exponent;

  char digit(std::size_t i) const { return i < whole.size() ? whole[i] : fraction[i - whole.size()]; }
  std::size_t digits() const { return whole.size() + fraction.size(); }
};

std::string_view take_digits(std::string_view &text) {
  const std::size_t end = std::min(text.find_first_not_of("0123456789"), text.size());
  const std::string_view digits = text.substr(0, end);
  text.remove_prefix(end);
  return digits;
}

bool take_sign(std::string_view &text) {
  const bool negative = !text.empty() && text.front() == '-';
  if (negative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
  return negative;
}

std::optional<ScannedNumber> scan_number(std::string_view text) {
  ScannedNumber number{};
  number.negative = take_sign(text);
  number.whole = take_digits(text);
  if (!text.empty() && text.front() == '.') {
    text.remove_prefix(1);
    number.fraction = take_digits(text);
  }
  if (number.digits() == 0) return {};
  if (!text.empty() && (text.front() == 'e' || text.front() == 'E')) {
    text.remove_prefix(1);
    const bool negative = take_sign(text);
    const std::string_view digits = take_digits(text);
    if (digits.empty()) return {};
    // Beyond this any number but 0 is out of every range, and the sums below stay small.
    constexpr int greatest_exponent = 1'000'000;
    if (std::from_chars(digits.begin(), digits.end(), number.exponent).ec != std::errc{})
      number.exponent = greatest_exponent;
    number.exponent = std::min(number.exponent, greatest_exponent);
    if (negative) number.exponent = -number.exponent;
  }
  if (!text.empty()) return {};
  return number;
}

// Where the number lies among the multiples of 10^-scale.
NumberPosition locate_number(const ScannedNumber &number, int scale) {
  constexpr auto greatest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
  const NumberPosition above_all{std::numeric_limits<std::int64_t>::max(), false, false};
  const NumberPosition below_all{0, false, true};
  const std::int64_t kept = static_cast<std::int64_t>(number.whole.size()) + number.exponent + scale;

  std::uint64_t magnitude = 0;
  bool exact = true;
  for (std::size_t i = 0; i < number.digits(); ++i) {
    const auto digit = static_cast<std::uint64_t>(number.digit(i) - '0');
    if (static_cast<std::int64_t>(i) >= kept)
      exact = exact && digit == 0;
    else if (__builtin_mul_overflow(magnitude, 10, &magnitude) || __builtin_add_overflow(magnitude, digit, &magnitude))
      return number.negative ? below_all : above_all;
  }
  for (auto i = static_cast<std::int64_t>(number.digits()); i < kept && magnitude != 0; ++i)
    if (__builtin_mul_overflow(magnitude, 10, &magnitude)) return number.negative ? below_all : above_all;

  if (!number.negative) {
    if (magnitude > greatest) return above_all;
    return {static_cast<std::int64_t>(magnitude), exact, false};
  }
  if (!exact && magnitude > greatest) return below_all;
  if (!exact) ++magnitude;
  if (magnitude > greatest + 1) return below_all;
  return {static_cast<std::int64_t>(~magnitude + 1), exact, false};
}

std::optional<std::int64_t> exact_decimal(const ScannedNumber &number, int scale) {
  const NumberPosition position = locate_number(number, scale);
  if (!position.exact || position.floor >= decimal_limit || position.floor <= -decimal_limit) return {};
  return position.floor;
}

std::string quoted(const Literal &literal) {
  return literal.form == Literal::Form::string ? "'" + literal.text + "'" : literal.text;
}

} // namespace

std::string_view kind_name(ValueKind kind) noexcept {
  switch (kind) {
  case ValueKind::integer:
    return "integer";
  case ValueKind::decimal:
    return "decimal";
  case ValueKind::date_time:
    return "date_time";
  case ValueKind::text:
    break;
  }
  return "text";
}

std::optional<ValueKind> kind_from_name(std::string_view name) noexcept {
  if (name == "integer") return ValueKind::integer;
  if (name == "decimal") return ValueKind::decimal;
  if (name == "text") return ValueKind::text;
  if (name == "date_time" || name == "date" || name == "time" || name == "timestamp") return ValueKind::date_time;
  return {};
}

std::string type_name(const ValueType &type) {
  if (type.kind == ValueKind::decimal) return "decimal(" + std::to_string(type.scale) + ")";
  if (type.kind != ValueKind::date_time) return std::string(kind_name(type.kind));
  switch (type.precision) {
  case TimePrecision::day:
    return "date";
  case TimePrecision::minute:
    return "timestamp(minute)";
  case TimePrecision::second:
    return "timestamp(second)";
  case TimePrecision::fraction:
    break;
  }
  return "timestamp(" + std::to_string(type.scale) + ")";
}

std::optional<std::int64_t> parse_integer(std::string_view text) noexcept {
  if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
  std::int64_t number;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size()) return {};
  return number;
}

std::optional<Decimal> parse_decimal(std::string_view text) noexcept {
  const std::optional<ScannedNumber> number = scan_number(text);
  if (!number) return {};
  const std::size_t telling = number->fraction.find_last_not_of('0') + 1; // 0 if there is none
  for (const std::size_t fraction_digits : {number->fraction.size(), telling}) {
    const std::int64_t written = static_cast<std::int64_t>(fraction_digits) - number->exponent;
    const std::int64_t scale = std::max<std::int64_t>(written, 0);
    if (scale > max_decimal_digits) continue;
    if (const auto mantissa = exact_decimal(*number, static_cast<int>(scale)))
      return Decimal{*mantissa, static_cast<int>(scale)};
  }
  return {};
}

std::optional<std::int64_t> rescale(const Decimal &decimal, int scale) noexcept {
  std::int64_t mantissa = decimal.mantissa;
  for (int i = decimal.scale; i < scale; ++i) {
    if (mantissa >= decimal_limit / 10 || mantissa <= -decimal_limit / 10) return {};
    mantissa *= 10;
  }
  return mantissa;
}

bool is_utf8(std::string_view bytes) noexcept {
  const char *at = bytes.data();
  const char *const end = at + bytes.size();
  while (at != end) {
    if (end - at >= 8) {
      std::uint64_t eight;
      std::memcpy(&eight, at, sizeof eight);
      if ((eight & 0x8080808080808080) == 0) {
        at += 8;
        continue;
      }
    }
    const auto lead = static_cast<unsigned char>(*at++);
    if (lead < 0x80) continue;
    const int more = lead >= 0xf0 ? 3 : lead >= 0xe0 ? 2 : 1;
    if (lead < 0xc2 || lead > 0xf4 || end - at < more) return false;
    std::uint32_t point = lead & (0x3fu >> more);
    for (int i = 0; i < more; ++i) {
      const auto next = static_cast<unsigned char>(*at++);
      if ((next & 0xc0) != 0x80) return false;
      point = point << 6 | (next & 0x3fu);
    }
    if ((more == 2 && (point < 0x800 || (point >= 0xd800 && point <= 0xdfff))) ||
        (more == 3 && (point < 0x10000 || point > 0x10ffff)))
      return false;
  }
  return true;
}

void append_number(std::string &out, const ValueType &type, std::int64_t number) {
  if (type.kind == ValueKind::date_time) return append_date_time(out, type, number);
  char digits[24];
  const std::string_view all(digits, std::to_chars(digits, std::end(digits), number).ptr);
  if (type.kind != ValueKind::decimal || type.scale == 0) {
    out += all;
    return;
  }
  std::string magnitude(all);
  if (number < 0) {
    out += '-';
    magnitude.erase(0, 1);
  }
  const auto scale = static_cast<std::size_t>(type.scale);
  if (magnitude.size() <= scale) magnitude.insert(0, scale + 1 - magnitude.size(), '0');
  out.append(magnitude, 0, magnitude.size() - scale);
  out += '.';
  out.append(magnitude, magnitude.size() - scale);
}

bool is_value_of(const ValueType &type, std::int64_t number) noexcept {
  constexpr std::int64_t first_decimal_out = 1'000'000'000'000'000'000;
  constexpr std::int64_t first_moment = -62'135'596'800'000'000, last_moment = 253'402'300'799'999'999;
  switch (type.kind) {
  case ValueKind::decimal:
    return number > -first_decimal_out && number < first_decimal_out;
  case ValueKind::date_time:
    return number >= first_moment && number <= last_moment;
  case ValueKind::integer:
  case ValueKind::text:
    break;
  }
  return true;
}

NumberPosition locate(const ValueType &type, const Literal &literal) {
  switch (type.kind) {
  case ValueKind::integer:
  case ValueKind::decimal:
    if (const auto number = scan_number(literal.text))
      return locate_number(*number, type.kind == ValueKind::decimal ? type.scale : 0);
    throw ValueError(quoted(literal) + " is not a number");
  case ValueKind::date_time:
    if (literal.form == Literal::Form::number)
      throw ValueError(quoted(literal) + " is a number, not a date or timestamp");
    if (const auto scanned = scan_date_time(literal.text)) return {scanned->value.microseconds, !scanned->cut, false};
    throw ValueError(quoted(literal) + " is not a date or timestamp (2001-01-05 or 2001-01-05 10:00:00)");
  case ValueKind::text:
    break;
  }
  throw ArgumentError("texts have no place among numbers");
}

} // namespace mipo::host
