#include "host/types/number_range.h"

#include "mipo/host/errors.h"

namespace mipo::host {

std::int64_t unit_of(const ValueType &type) noexcept {
  constexpr std::int64_t second = 1'000'000;
  if (type.kind != ValueKind::date_time) return 1;
  switch (type.precision) {
  case TimePrecision::day:
    return 24 * 60 * 60 * second;
  case TimePrecision::minute:
    return 60 * second;
  case TimePrecision::second:
    return second;
  case TimePrecision::fraction:
    break;
  }
  std::int64_t unit = second;
  for (int digit = 0; digit < type.scale; ++digit) unit /= 10;
  return unit;
}

NumberRange::Codes NumberRange::codes_of(const ValueType &type, std::span<const std::int64_t> numbers, ub8 bias,
                                         int cut_bits) {
  const std::int64_t unit = unit_of(type);
  const ub8 zero = code_of(0, unit, bias, cut_bits);
  if (numbers.empty()) return {zero, zero}; // what NULL rows hold then
  const ub8 last = code_of(numbers.back(), unit, bias, cut_bits);
  if (last == ~ub8{0})
    throw EncodingError("the greatest number of 64 bits has no place among numbers: it needs a dictionary");
  return {code_of(numbers.front(), unit, bias, cut_bits), last + 1};
}

NumberRange::NumberRange(const ValueType &type, std::span<const std::int64_t> numbers, ub8 bias, int cut_bits)
    : NumberRange(type, numbers.size(), codes_of(type, numbers, bias, cut_bits), bias, cut_bits) {
}

bool NumberRange::has_values_only() const noexcept {
  if (first_code() == code_count()) return true;
  for (const ub8 code : {first_code(), code_count() - 1}) {
    const ub8 shifted = code << cut_bits_;
    std::int64_t product;
    if (shifted >> cut_bits_ != code ||
        __builtin_mul_overflow(static_cast<std::int64_t>(shifted - bias_), unit_, &product) ||
        !is_value_of(type(), product))
      return false;
  }
  return true;
}

NumberRange::NumberRange(const ValueType &type, ub8 value_count, Codes codes, ub8 bias, int cut_bits)
    : Domain(type, false, value_count, codes.first, codes.end), unit_(unit_of(type)), bias_(bias), cut_bits_(cut_bits) {
}

std::vector<ub8> NumberRange::codes_of_ranks(const Dictionary &dictionary) const {
  std::vector<ub8> codes(dictionary.first_code(), first_code());
  for (const std::int64_t number : dictionary.numbers()) codes.push_back(code(number));
  return codes;
}

} // namespace mipo::host
