// Comparing and copying the bytes of one row: mostly a few, for which a call would cost more than the work.
#ifndef MIPO_COLUMN_ROW_BYTES_H
#define MIPO_COLUMN_ROW_BYTES_H

#include <string.h>

#include "simd/simd.h"

namespace mipo::column {

// From here on libc's loops are ahead.
inline constexpr size_t long_row_bytes = 64;

// Whether `length` bytes, at least a T and not more than two, agree. The two reads overlap.
template <class T>
[[gnu::always_inline]] inline bool same_ends(const ub1 *a, const ub1 *b, size_t length) {
  const size_t last = length - sizeof(T);
  return ((simd::read_native<T>(a) ^ simd::read_native<T>(b)) |
          (simd::read_native<T>(a + last) ^ simd::read_native<T>(b + last))) == 0;
}

[[gnu::always_inline]] inline bool same_bytes(const ub1 *a, const ub1 *b, size_t length) {
  if (length >= 8) {
    if (length >= long_row_bytes) return memcmp(a, b, length) == 0;
    for (; length > 16; a += 8, b += 8, length -= 8)
      if (simd::read_native<ub8>(a) != simd::read_native<ub8>(b)) return false;
    return same_ends<ub8>(a, b, length);
  }
  if (length >= 4) return same_ends<ub4>(a, b, length);
  if (length >= 2) return same_ends<ub2>(a, b, length);
  return length == 0 || *a == *b;
}

// Copies `length` bytes, at least a T and not more than two.
template <class T>
[[gnu::always_inline]] inline void copy_ends(ub1 *to, const ub1 *from, size_t length) {
  const size_t last = length - sizeof(T);
  const T head = simd::read_native<T>(from), tail = simd::read_native<T>(from + last);
  memcpy(to, &head, sizeof head);
  memcpy(to + last, &tail, sizeof tail);
}

[[gnu::always_inline]] inline void copy_bytes(ub1 *to, const ub1 *from, size_t length) {
  if (length >= 8) {
    if (length >= long_row_bytes) {
      memcpy(to, from, length);
      return;
    }
    for (; length > 16; to += 8, from += 8, length -= 8) memcpy(to, from, 8);
    return copy_ends<ub8>(to, from, length);
  }
  if (length >= 4) return copy_ends<ub4>(to, from, length);
  if (length >= 2) return copy_ends<ub2>(to, from, length);
  if (length != 0) *to = *from;
}

} // namespace mipo::column

#endif
