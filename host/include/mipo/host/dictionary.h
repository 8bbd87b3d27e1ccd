// The sorted dictionary of a column: codes stand for values, and the order of codes is the order of values.
#ifndef MIPO_HOST_DICTIONARY_H
#define MIPO_HOST_DICTIONARY_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

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

/// Distinct values in ascending order. Their codes run from first_code() to code_count() - 1; if the column has rows
/// without value, these have code 0 and the values begin at 1.
class Dictionary {
public:
  /// Of stored numbers (values.h), strictly ascending. Throws ArgumentError if they are not, or if `type` is text.
  Dictionary(const ValueType &type, std::vector<std::int64_t> numbers, bool has_null);
  /// Of texts, strictly ascending in bytewise order, 4 GiB at most together. Throws ArgumentError if they are not.
  Dictionary(std::span<const std::string_view> texts, bool has_null);

  const ValueType &type() const noexcept { return type_; }
  /// Whether code 0 stands for rows without value.
  bool has_null() const noexcept { return has_null_; }
  bool is_null(ub8 code) const noexcept { return has_null_ && code == 0; }
  ub8 value_count() const noexcept { return value_count_; }
  /// Codes in use, with the one of rows without value.
  ub8 code_count() const noexcept { return value_count_ + first_code(); }
  /// Code of the least value.
  ub8 first_code() const noexcept { return has_null_ ? 1 : 0; }

  /// The stored number of a code. The type must not be text, and the code must stand for a value.
  std::int64_t number(ub8 code) const noexcept { return numbers_[code - first_code()]; }
  /// The bytes of a code, empty for a row without value. The type must be text.
  std::string_view text(ub8 code) const noexcept;
  /// Appends the canonical text of a code's value, whatever the type; nothing for a row without value.
  void append_value(std::string &out, ub8 code) const;
  std::string value(ub8 code) const;

  /// Code of the first value that is not less than (lower) or is greater than (upper) the constant; code_count() if
  /// there is none. Throws ValueError if the constant cannot be compared with the column's type.
  ub8 lower_bound(const Literal &literal) const;
  ub8 upper_bound(const Literal &literal) const;
  /// Code of the value that equals the constant. Throws as above.
  std::optional<ub8> find(const Literal &literal) const;
  /// Codes of the values that compare so with the constant; the code of rows without value is never among them.
  CodeInterval codes_where(Comparison comparison, const Literal &literal) const;
  /// Codes of all values.
  CodeInterval all_values() const noexcept;

  /// The symbol table of a text dictionary as kernels read it: bytes, and code_count() + 1 big-endian offsets.
  const std::string &symbol_bytes() const noexcept { return bytes_; }
  const std::vector<ub4> &symbol_offsets() const noexcept { return offsets_; }

private:
  // First code whose text is not `is_before`; code_count() if there is none.
  template <class IsBefore>
  ub8 first_text_not(IsBefore is_before) const;

  ValueType type_;
  bool has_null_;
  ub8 value_count_;
  std::vector<std::int64_t> numbers_;
  std::string bytes_;
  std::vector<ub4> offsets_;
};

} // namespace mipo::host

#endif
