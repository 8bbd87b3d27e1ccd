// The block of lanes, for the instruction set that this object is compiled for, and the steps that all back ends share.
#ifndef MIPO_SIMD_SIMD_H
#define MIPO_SIMD_SIMD_H

#include <utility>

#include "simd/lanes.h"
#include "simd/population_count.h"
#include "simd/row_bits.h"

#if defined(MIPO_SIMD_AVX2)
#include "simd/avx2.h"
#elif defined(MIPO_SIMD_SSE42)
#include "simd/sse42.h"
#elif defined(MIPO_SIMD_NEON)
#include "simd/neon.h"
#else
#include "simd/plain.h"
#endif

namespace mipo::simd {

template <class T>
[[gnu::always_inline]] inline Lanes<T> broadcast_lanes(T value) {
  return {broadcast(value)};
}

template <class T>
[[gnu::always_inline]] inline Lanes<T> byte_swap(Lanes<T> lanes) {
  return {byte_swap<T>(lanes.vector)};
}

// The 16 bytes at `address` in every group of a vector.
[[gnu::always_inline]] inline Vector<ub1> broadcast_group(const ub1 *address) {
  return [address]<size_t... group>(std::index_sequence<group...>) __attribute__((always_inline)) {
    return load_groups((static_cast<void>(group), address)...);
  }
  (std::make_index_sequence<groups_per_vector>{});
}

#if defined(MIPO_SIMD_AVX2)
inline constexpr bool has_gather = true;
#else
inline constexpr bool has_gather = false; // loops over rows do as well
[[gnu::always_inline]] inline Vector<ub4> gather_words(const void *base, Vector<ub4> indices) {
  Vector<ub4> words{};
  for (size_t lane = 0; lane < vector_bytes / sizeof(ub4); ++lane)
    memcpy(reinterpret_cast<ub1 *>(&words) + lane * sizeof(ub4),
           static_cast<const ub1 *>(base) + size_t{indices[lane]} * sizeof(ub4), sizeof(ub4));
  return words;
}
#endif

// The lanes with odd numbers, of a and then of b.
template <class T>
[[gnu::always_inline]] inline Vector<T> odd_lanes(Vector<T> a, Vector<T> b) {
  return [=]<int... lane>(std::integer_sequence<int, lane...>) __attribute__((always_inline)) {
    return __builtin_shufflevector(a, b, (2 * lane + 1)...);
  }
  (std::make_integer_sequence<int, vector_bytes / sizeof(T)>{});
}

// One bit a row from the masks of a whole block.
template <class T, bool inverted, class... Further>
[[gnu::always_inline]] inline RowBits<lanes_per_block<T>> row_bits(Mask<T, inverted> first, Further... further) {
  static_assert(1 + sizeof...(further) == vectors_per_block, "a block is always 128 bytes");
  return lane_bits(first.vector, further.vector...) ^ (inverted ? ~ub8{0} : ub8{0});
}

// Calls step(i) for each vector of a block, and hands all results to `combine`. A loop over an array of vectors would
// send them through the stack.
template <class Step, class Combine>
[[gnu::always_inline]] inline auto for_block(Step step, Combine combine) {
  return [&]<size_t... i>(std::index_sequence<i...>) __attribute__((always_inline)) {
    return combine(step(i)...);
  }
  (std::make_index_sequence<vectors_per_block>{});
}

// Integer of type T at any address.
template <class T>
[[gnu::always_inline]] inline T read_native(const void *address) {
  T value;
  memcpy(&value, address, sizeof value);
  return value;
}

template <class T>
[[gnu::always_inline]] inline T read_big_endian(const void *address) {
  const T value = read_native<T>(address);
  if constexpr (sizeof(T) == 1)
    return value;
  else if constexpr (sizeof(T) == 2)
    return __builtin_bswap16(value);
  else if constexpr (sizeof(T) == 4)
    return __builtin_bswap32(value);
  else
    return __builtin_bswap64(value);
}

} // namespace mipo::simd

#endif
