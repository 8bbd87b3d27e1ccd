// What the codes of a column stand for: unsigned numbers in the order of the values.
#ifndef MIPO_HOST_DOMAIN_H
#define MIPO_HOST_DOMAIN_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "mipo/host/values.h"
#include "mipo/integers.h"

namespace mipo::host {

/// Comparison of a column with a constant.
enum class Comparison { equal, less, less_or_equal, greater_or_equal, greater };

/// The codes `first` to `last`, both included; none if empty().
struct CodeInterval {
  ub8 first = 1;
  ub8 last = 0;
  bool empty() const noexcept { return first > last; }
  /// Number of codes.
  ub8 size() const noexcept { return empty() ? 0 : last - first + 1; }
};

/// The codes from first_code() to code_count() - 1 and their values, in ascending order. Of a dictionary every code
/// stands for a value that the column has; of a column of numbers the codes are all numbers, of some step, from the
/// least to the greatest of the column, whether rows have them or not. Whoever asks for codes of values need not know
/// which of the two it is.
class Domain {
public:
  virtual ~Domain() = default;

  const ValueType &type() const noexcept { return type_; }
  /// Whether code 0 stands for NULL rows. Columns of numbers tell such rows by their validity instead.
  bool has_null() const noexcept { return has_null_; }
  bool is_null(ub8 code) const noexcept { return has_null_ && code == 0; }
  /// Distinct values of the column.
  ub8 value_count() const noexcept { return value_count_; }
  /// One above the greatest code. It fits 64 bits.
  ub8 code_count() const noexcept { return code_count_; }
  /// Code of the least value; code_count() if there are no values.
  ub8 first_code() const noexcept { return first_code_; }

  /// The stored number of a code. The type must not be text, and the code must stand for a value.
  virtual std::int64_t number(ub8 code) const noexcept = 0;
  /// The bytes of a code, empty for a NULL row. The type must be text.
  virtual std::string_view text(ub8 code) const noexcept = 0;
  /// Appends the canonical text of a code's value, whatever the type; nothing for a NULL row.
  void append_value(std::string &out, ub8 code) const;
  std::string value(ub8 code) const;

  /// The first code whose value is not less than (lower) or is greater than (upper) the constant; code_count() if there
  /// is none. Throws ValueError if the constant cannot be compared with the column's type.
  ub8 lower_bound(const Literal &literal) const;
  ub8 upper_bound(const Literal &literal) const;
  /// Code of the value that equals the constant. Throws as above.
  std::optional<ub8> find(const Literal &literal) const;
  /// Codes of the values that compare so with the constant; the code of NULL rows is never among them.
  CodeInterval codes_where(Comparison comparison, const Literal &literal) const;
  /// Codes of all values.
  CodeInterval all_values() const noexcept;

protected:
  Domain(const ValueType &type, bool has_null, ub8 value_count, ub8 first_code, ub8 code_count)
      : type_(type), has_null_(has_null), value_count_(value_count), first_code_(first_code), code_count_(code_count) {}
  Domain(const Domain &) = default;
  Domain(Domain &&) = default;
  Domain &operator=(const Domain &) = default;
  Domain &operator=(Domain &&) = default;

private:
  // First code that is not before what is looked for; code_count() if there is none.
  template <class IsBefore>
  ub8 first_not(IsBefore is_before) const;

  ValueType type_;
  bool has_null_;
  ub8 value_count_, first_code_, code_count_;
};

} // namespace mipo::host

#endif
