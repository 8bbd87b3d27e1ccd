#include "group_model.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

namespace mipo::reference {

KeyRange key_range(const std::vector<KeyColumn> &columns, bool multiply) {
  KeyRange range;
  for (const KeyColumn &column : columns) {
    if (!column.has_codes) return {2, 0};
    range.groups =
        multiply ? range.groups * column.code_count : column.code_count + ((range.groups - 1) << column.bits);
    if (range.groups > 0xffffffff) return {4, 0};
  }
  return range;
}

ub4 group_key(const std::vector<KeyColumn> &columns, bool multiply, ub4 row) {
  ub8 key = 0; // of a valid range no step leaves 64 bits
  for (const KeyColumn &column : columns)
    key = (multiply ? key * column.code_count : key << column.bits) + column.codes[row];
  return static_cast<ub4>(key);
}

template <class Float>
Float decoded(const ub1 *stored, bool native) {
  using Bits = std::conditional_t<sizeof(Float) == 4, ub4, ub8>;
  constexpr Bits top = Bits{1} << (8 * sizeof(Bits) - 1);
  Bits bits = 0;
  if (native) {
    std::memcpy(&bits, stored, sizeof bits);
  } else {
    for (unsigned byte = 0; byte < sizeof bits; ++byte) bits = static_cast<Bits>(bits << 8 | stored[byte]);
    bits = (bits & top) != 0 ? bits - top : ~bits;
  }
  Float number;
  std::memcpy(&number, &bits, sizeof number);
  return number;
}

int64_t decoded_integer(const ub1 *stored, unsigned bytes, bool big_endian) {
  ub8 number = 0;
  for (unsigned byte = 0; byte < bytes; ++byte) number = number << 8 | stored[big_endian ? byte : bytes - 1 - byte];
  if (bytes < 8 && number >> (8 * bytes - 1) != 0) number -= ub8{1} << 8 * bytes;
  return static_cast<int64_t>(number);
}

template <class Float>
Float sum_from(Float start, const std::vector<Float> &numbers) {
  volatile Float sum = start; // stored in its own precision after each step
  for (const Float number : numbers) sum = sum + number;
  return sum;
}

template float decoded(const ub1 *, bool);
template double decoded(const ub1 *, bool);
template float sum_from(float, const std::vector<float> &);
template double sum_from(double, const std::vector<double> &);

} // namespace mipo::reference
