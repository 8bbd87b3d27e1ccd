// The sum of all integers of a column, block by block.
//
// Lanes are made unsigned by flipping their sign bits, which adds 2^(bits - 1) to each row and is taken off at the end.
// Unsigned lanes are easily widened: neighbours are added into a lane of twice the width until the lanes have 64 bits.
#ifndef MIPO_COLUMN_INTEGER_TOTAL_H
#define MIPO_COLUMN_INTEGER_TOTAL_H

#include <type_traits>

#include "simd/simd.h"

namespace mipo::column {

// Integers as a column stores them: of the width of T, which is unsigned.
template <class T, bool big_endian>
class StoredIntegers {
public:
  using Number = ub8;

  explicit StoredIntegers(const void *base) : base_(static_cast<const ub1 *>(base)) {}

  // Wrapping sums of signed numbers are those of their bits.
  ub8 operator[](ub4 row) const {
    const ub1 *stored = base_ + size_t{row} * sizeof(T);
    const T bits = big_endian ? simd::read_big_endian<T>(stored) : simd::read_native<T>(stored);
    return static_cast<ub8>(sb8{static_cast<std::make_signed_t<T>>(bits)});
  }

  simd::Vector<T> vector(ub4 row) const {
    const simd::Vector<T> stored = simd::load<T>(base_ + size_t{row} * sizeof(T));
    if constexpr (big_endian && sizeof(T) > 1)
      return simd::byte_swap<T>(stored);
    else
      return stored;
  }

private:
  const ub1 *base_;
};

// Sums of neighbours, in lanes of twice the width.
template <class Wide, class T>
[[gnu::always_inline]] inline simd::Vector<Wide> add_neighbours(simd::Vector<T> lanes) {
  constexpr unsigned lane_bits = 8 * sizeof(T);
  const auto pairs = (simd::Vector<Wide>)lanes;
  return (pairs & static_cast<T>(~T{0})) + (pairs >> lane_bits);
}

// The vectors of a block, added up in lanes of 64 bits.
template <class T, class... Vectors>
[[gnu::always_inline]] inline simd::Vector<ub8> add_block(Vectors... vectors) {
  if constexpr (sizeof(T) == 1)
    return (simd::sum_bytes(vectors) + ...);
  else if constexpr (sizeof(T) == 2)
    return add_neighbours<ub8, ub4>((add_neighbours<ub4, ub2>(vectors) + ...));
  else if constexpr (sizeof(T) == 4)
    return (add_neighbours<ub8, ub4>(vectors) + ...);
  else
    return (vectors + ...);
}

// Of the rows 0 up to `rows`; wraps.
template <class T, bool big_endian>
ub8 total(StoredIntegers<T, big_endian> integers, ub4 rows) {
  constexpr ub4 block_rows = simd::lanes_per_block<T>, vector_rows = simd::vector_bytes / sizeof(T);
  constexpr T sign = sizeof(T) < 8 ? static_cast<T>(T{1} << (8 * sizeof(T) - 1)) : 0; // 64 bits are wide enough
  simd::Vector<ub8> sums{};
  ub4 row = 0;
  for (; rows - row >= block_rows; row += block_rows)
    sums += simd::for_block([&](size_t i) { return integers.vector(row + static_cast<ub4>(i) * vector_rows) ^ sign; },
                            [](auto... vectors) { return add_block<T>(vectors...); });
  ub8 sum = 0;
  for (size_t lane = 0; lane < simd::vector_bytes / sizeof(ub8); ++lane) sum += sums[lane];
  sum -= ub8{row} * sign;
  for (; row < rows; ++row) sum += integers[row];
  return sum;
}

} // namespace mipo::column

#endif
