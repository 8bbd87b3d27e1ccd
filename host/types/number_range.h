// The domain of a column that stores numbers.
#ifndef MIPO_HOST_TYPES_NUMBER_RANGE_H
#define MIPO_HOST_TYPES_NUMBER_RANGE_H

#include <span>
#include <vector>

#include "mipo/host/dictionary.h"

namespace mipo::host {

/// The stored numbers of a type in the least unit that it can tell apart: a date in days, other types as they are.
std::int64_t unit_of(const ValueType &type) noexcept;

/// Numbers from the least to the greatest of a column. The code of a number is (number / unit + bias) >> cut_bits.
class NumberRange final : public Domain {
public:
  /// `numbers` are the distinct numbers of the column, ascending, all of them multiples of unit << cut_bits once the
  /// bias is added. Throws EncodingError if the greatest code leaves no room for one above it.
  NumberRange(const ValueType &type, std::span<const std::int64_t> numbers, ub8 bias, int cut_bits);

  std::int64_t number(ub8 code) const noexcept override {
    return static_cast<std::int64_t>((code << cut_bits_) - bias_) * unit_;
  }
  std::string_view text(ub8) const noexcept override { return {}; }
  ub8 code(std::int64_t number) const noexcept { return code_of(number, unit_, bias_, cut_bits_); }
  struct Codes {
    ub8 first, end;
  };
  /// Of codes that are known already.
  NumberRange(const ValueType &type, ub8 value_count, Codes codes, ub8 bias, int cut_bits);

  /// Whether all codes stand for numbers that are values of the type.
  bool has_values_only() const noexcept;
  /// The codes of a dictionary's codes. Rows without value get the least code.
  std::vector<ub8> codes_of_ranks(const Dictionary &dictionary) const;

private:
  static ub8 code_of(std::int64_t number, std::int64_t unit, ub8 bias, int cut_bits) noexcept {
    return (static_cast<ub8>(number / unit) + bias) >> cut_bits;
  }
  static Codes codes_of(const ValueType &type, std::span<const std::int64_t> numbers, ub8 bias, int cut_bits);

  std::int64_t unit_;
  ub8 bias_;
  int cut_bits_;
};

} // namespace mipo::host

#endif
