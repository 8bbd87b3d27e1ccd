#include "host/types/date_time.h"

#include <algorithm>
#include <chrono>

namespace mipo::host {
namespace {

constexpr std::int64_t microseconds_per_second = 1'000'000;
constexpr std::int64_t microseconds_per_day = 86'400 * microseconds_per_second;

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// Reads exactly `digits` digits off the front of `text`; -1 if they are not there.
int take_number(std::string_view &text, std::size_t digits) {
  if (text.size() < digits) return -1;
  int number = 0;
  for (std::size_t i = 0; i < digits; ++i) {
    if (!is_digit(text[i])) return -1;
    number = number * 10 + (text[i] - '0');
  }
  text.remove_prefix(digits);
  return number;
}

bool take(std::string_view &text, char c) {
  if (text.empty() || text.front() != c) return false;
  text.remove_prefix(1);
  return true;
}

// The digits after the seconds' point, all of the rest of the text.
bool take_fraction(std::string_view text, ScannedDateTime &out) {
  if (text.empty() || !std::ranges::all_of(text, is_digit)) return false;
  std::int64_t fraction = 0;
  for (std::size_t i = 0; i < std::size_t{max_fraction_digits}; ++i)
    fraction = fraction * 10 + (i < text.size() ? text[i] - '0' : 0);
  out.value.microseconds += fraction;
  out.value.precision = TimePrecision::fraction;
  out.value.fraction_digits = static_cast<int>(std::min(text.size(), std::size_t{max_fraction_digits}));
  out.cut = text.find_first_not_of('0', max_fraction_digits) != std::string_view::npos;
  return true;
}

void append_padded(std::string &out, std::int64_t number, std::size_t width) {
  char digits[20];
  for (std::size_t i = width; i-- > 0; number /= 10) digits[i] = static_cast<char>('0' + number % 10);
  out.append(digits, width);
}

} // namespace

std::optional<ScannedDateTime> scan_date_time(std::string_view text) noexcept {
  const int year = take_number(text, 4);
  if (year < 1 || !take(text, '-')) return {};
  const int month = take_number(text, 2);
  if (month < 1 || !take(text, '-')) return {};
  const int day = take_number(text, 2);
  if (day < 1) return {};
  const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                                         std::chrono::day{static_cast<unsigned>(day)}};
  if (!date.ok()) return {};
  const std::int64_t days = std::chrono::sys_days{date}.time_since_epoch().count();
  ScannedDateTime out{{days * microseconds_per_day, TimePrecision::day, 0}, false};
  if (text.empty()) return out;

  if (!take(text, ' ') && !take(text, 'T')) return {};
  const int hour = take_number(text, 2);
  if (hour < 0 || hour > 23 || !take(text, ':')) return {};
  const int minute = take_number(text, 2);
  if (minute < 0 || minute > 59) return {};
  out.value.microseconds += (hour * 60 + minute) * 60 * microseconds_per_second;
  out.value.precision = TimePrecision::minute;
  if (text.empty()) return out;

  if (!take(text, ':')) return {};
  const int second = take_number(text, 2);
  if (second < 0 || second > 59) return {};
  out.value.microseconds += second * microseconds_per_second;
  out.value.precision = TimePrecision::second;
  if (text.empty()) return out;

  if (!take(text, '.') || !take_fraction(text, out)) return {};
  return out;
}

std::optional<DateTime> parse_date_time(std::string_view text) noexcept {
  const std::optional<ScannedDateTime> scanned = scan_date_time(text);
  if (!scanned || scanned->cut) return {};
  return scanned->value;
}

void append_date_time(std::string &out, const ValueType &type, std::int64_t microseconds) {
  std::int64_t days = microseconds / microseconds_per_day;
  std::int64_t time = microseconds % microseconds_per_day;
  if (time < 0) {
    time += microseconds_per_day;
    --days;
  }
  const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{days}}};
  append_padded(out, static_cast<int>(date.year()), 4);
  out += '-';
  append_padded(out, static_cast<unsigned>(date.month()), 2);
  out += '-';
  append_padded(out, static_cast<unsigned>(date.day()), 2);
  if (type.precision == TimePrecision::day) return;

  const std::int64_t seconds = time / microseconds_per_second;
  out += ' ';
  append_padded(out, seconds / 3600, 2);
  out += ':';
  append_padded(out, seconds / 60 % 60, 2);
  if (type.precision == TimePrecision::minute) return;
  out += ':';
  append_padded(out, seconds % 60, 2);
  if (type.precision == TimePrecision::second) return;
  out += '.';
  std::int64_t fraction = time % microseconds_per_second;
  for (int digits = max_fraction_digits; digits > type.scale; --digits) fraction /= 10;
  append_padded(out, fraction, static_cast<std::size_t>(type.scale));
}

} // namespace mipo::host
