#include "conversion_model.h"

#include <cstring>

namespace mipo::reference {
namespace {

enum Type : ub1 { float_type = 1, double_type = 2, integer_type = 3, half_type = 7, brain_type = 8 };

constexpr ub4 refused = 24;

// A type's width in bits; patterns above the limit but for the sign stand for no number and are stored as one pattern.
struct Format {
  unsigned bits;
  ub8 limit, stored_not_a_number;
};

Format format_of(ub1 type) {
  switch (type) {
  case float_type:
    return {32, 0x7f800000, 0xffc00000};
  case double_type:
    return {64, 0x7ff0000000000000, 0xfff8000000000000};
  case half_type:
    return {16, 0x7e00, 0xfe00};
  case brain_type:
    return {16, 0x7f80, 0xffc0};
  default:
    return {0, 0, 0};
  }
}

ub8 big_endian(const ub1 *bytes, unsigned count) {
  ub8 value = 0;
  for (unsigned i = 0; i < count; ++i) value = value * 256 + bytes[i];
  return value;
}

ub8 little_endian(const ub1 *bytes, unsigned count) {
  ub8 value = 0;
  for (unsigned i = count; i-- > 0;) value = value * 256 + bytes[i];
  return value;
}

ub8 pattern_of(const Format &format, ub8 stored) {
  const ub8 top = ub8{1} << (format.bits - 1);
  return stored >= top ? stored - top : top + top - 1 - stored;
}

ub8 stored_of(const Format &format, ub8 pattern) {
  const ub8 top = ub8{1} << (format.bits - 1);
  const ub8 absolute = pattern % top;
  if (absolute > format.limit) return format.stored_not_a_number;
  if (pattern == top) return top;
  return pattern > top ? top + top - 1 - pattern : pattern + top;
}

template <class T>
T number_of(const ub1 *bytes) {
  T number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

template <class T>
std::vector<ub1> bytes_of(T number) {
  std::vector<ub1> bytes(sizeof number);
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

template <class T, class Pattern>
std::vector<ub1> sum_of_numbers(const ConversionCall &call, const ub1 *source, const ub1 *total) {
  T sum = 0;
  for (ub4 row = 0; row < call.rows; ++row) {
    const auto pattern = static_cast<Pattern>(
        pattern_of(format_of(call.type), big_endian(source + sizeof(T) * row, static_cast<unsigned>(sizeof(T)))));
    sum = sum + number_of<T>(reinterpret_cast<const ub1 *>(&pattern));
  }
  return bytes_of(static_cast<T>(sum + number_of<T>(total)));
}

std::vector<ub1> sum_of_integers(const ConversionCall &call, const ub1 *source, const ub1 *total) {
  const unsigned bytes = element_bytes(call);
  ub8 sum = number_of<ub8>(total);
  for (ub4 row = 0; bytes != 0 && row < call.rows; ++row) {
    const ub1 *element = source + ub8{bytes} * row;
    sum += big_endian(element, bytes);
    if (element[0] >= 0x80 && bytes < 8) sum -= ub8{1} << (8 * bytes);
  }
  return bytes_of(sum);
}

} // namespace

unsigned element_bytes(const ConversionCall &call) {
  if (call.type != integer_type) return format_of(call.type).bits / 8;
  return call.bits == 8 || call.bits == 16 || call.bits == 32 || call.bits == 64 ? call.bits / 8 : 0;
}

ConversionOutcome convert(const ConversionCall &call, const std::vector<ub1> &source, const std::vector<ub1> &total) {
  if (call.type == integer_type) {
    if (!call.sum) return {std::nullopt, {}};
    return {0, sum_of_integers(call, source.data(), total.data())};
  }
  const Format format = format_of(call.type);
  if (format.bits == 0 || (call.sum && (call.native || format.bits == 16))) return {refused, {}};
  if (call.sum)
    return {0, call.type == float_type ? sum_of_numbers<float, ub4>(call, source.data(), total.data())
                                       : sum_of_numbers<double, ub8>(call, source.data(), total.data())};

  const unsigned bytes = format.bits / 8;
  std::vector<ub1> result;
  for (ub4 row = 0; row < call.rows; ++row) {
    const ub1 *element = source.data() + ub8{bytes} * row;
    const ub8 converted =
        call.native ? stored_of(format, little_endian(element, bytes)) : pattern_of(format, big_endian(element, bytes));
    for (unsigned i = 0; i < bytes; ++i)
      result.push_back(static_cast<ub1>(converted >> 8 * (call.native ? bytes - 1 - i : i)));
  }
  return {0, result};
}

} // namespace mipo::reference
