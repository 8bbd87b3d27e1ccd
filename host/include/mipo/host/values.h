// Values of columns and constants of queries: types, parsing, canonical texts, exact comparison.
#ifndef MIPO_HOST_VALUES_H
#define MIPO_HOST_VALUES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "mipo/host/errors.h"

namespace mipo::host {

enum class ValueKind {
  integer,   ///< 64-bit signed
  decimal,   ///< exact, at most 18 digits in all at the scale of the column
  date_time, ///< a date of the years 0001 to 9999, alone or with a time of day; no time zone
  text       ///< valid UTF-8, ordered bytewise
};

/// Finest unit of a date_time column.
enum class TimePrecision { day, minute, second, fraction };

/// The type of a column. Two types are equal if values of the one print and order like values of the other.
struct ValueType {
  ValueKind kind = ValueKind::text;
  int scale = 0;                                ///< decimal: digits after the point; date_time: of the fraction
  TimePrecision precision = TimePrecision::day; ///< date_time

  friend bool operator==(const ValueType &, const ValueType &) = default;
};

inline constexpr int max_decimal_digits = 18;
inline constexpr int max_fraction_digits = 6;

/// Whether values of the kind can be calculated with.
constexpr bool is_number(ValueKind kind) noexcept {
  return kind == ValueKind::integer || kind == ValueKind::decimal;
}
/// "integer", "decimal", "date_time" or "text".
std::string_view kind_name(ValueKind kind) noexcept;
/// The kind of this name; "date", "time" and "timestamp" mean date_time too. Nothing if there is none.
std::optional<ValueKind> kind_from_name(std::string_view name) noexcept;
/// The type as a person would say it: "integer", "decimal(2)", "date", "timestamp(minute)", "timestamp(3)" with 3
/// digits of the second's fraction, "text".
std::string type_name(const ValueType &type);

// Stored numbers: an integer itself, a decimal times 10^scale, a date_time in microseconds since 1970-01-01 00:00.

/// Reads decimal digits with an optional sign. Nothing if the text is something else or out of range.
std::optional<std::int64_t> parse_integer(std::string_view text) noexcept;

/// A decimal number: mantissa / 10^scale, with the digits after the point as written.
struct Decimal {
  std::int64_t mantissa;
  int scale;
};
/// Reads [sign] digits [. digits] [e exponent], with digits on one side of the point at least. Nothing if the text is
/// something else, or has more than 18 digits that tell (leading zeros and, if need be, trailing ones do not).
std::optional<Decimal> parse_decimal(std::string_view text) noexcept;
/// The number at a scale not below its own; nothing if that takes more than 18 digits.
std::optional<std::int64_t> rescale(const Decimal &decimal, int scale) noexcept;

/// A date, or a date and time, as written.
struct DateTime {
  std::int64_t microseconds;
  TimePrecision precision;
  int fraction_digits;
};
/// Reads 2001-01-05, 2001-01-05 10:00, 2001-01-05 10:00:30 or 2001-01-05 10:00:30.123456, also with a T between date
/// and time. Nothing if the text is something else, the date or time does not exist, or the fraction of the second has
/// more than 6 digits.
std::optional<DateTime> parse_date_time(std::string_view text) noexcept;

/// Whether the bytes are UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool is_utf8(std::string_view bytes) noexcept;

/// Appends the canonical text of a stored number of this type: all digits of the scale, all units of the precision.
void append_number(std::string &out, const ValueType &type, std::int64_t number);

/// Whether a stored number is one that values of the type have: a decimal of at most 18 digits, a time of the years
/// 0001 to 9999.
bool is_value_of(const ValueType &type, std::int64_t number) noexcept;

/// A constant of a query, as written there.
struct Literal {
  enum class Form {
    number, ///< 1000, -10.5, 1e3
    string  ///< 'LAS', '2001-01-05': what it means depends on the column that it is compared with
  };
  Form form;
  std::string text; ///< without quotes
};

/// Where a constant lies among the stored numbers of a type: at `floor` if `exact`, else between `floor` and the next
/// number. A constant above all stored numbers lies after the greatest of them; one below all has no floor.
struct NumberPosition {
  std::int64_t floor;
  bool exact;
  bool below_all; // `floor` has no meaning
};

/// Places a constant among the stored numbers of an integer, decimal or date_time type, with all its digits: nothing is
/// rounded. A string is read as the type demands. Throws ValueError if the constant cannot be compared with the type.
NumberPosition locate(const ValueType &type, const Literal &literal);

} // namespace mipo::host

#endif
