// Lanes: vectors of unsigned integers in one register, and the masks that comparing them gives.
//
// A block is always 128 bytes of lanes, whatever the register: 128 lanes of 8 bits up to 16 lanes of 64 bits. Plain
// lane arithmetic is the compiler's vector types; what instruction sets do differently stands in one file each (avx2.h,
// sse42.h, neon.h, plain.h), under the same names.
//
// Only two comparisons exist, equal and at most. The others are complements, and a complement costs nothing here: a
// Mask carries in its type whether its bits are to be read inverted, and the inversion is made once on the finished
// bits, 64 rows at a time.
#ifndef MIPO_SIMD_LANES_H
#define MIPO_SIMD_LANES_H

#include <stddef.h>

#include "mipo/integers.h"

namespace mipo::simd {

inline constexpr size_t block_bytes = 128;

#if defined(MIPO_SIMD_AVX2)
inline constexpr size_t vector_bytes = 32;
#elif defined(MIPO_SIMD_SSE42) || defined(MIPO_SIMD_NEON) || defined(MIPO_SIMD_PLAIN)
inline constexpr size_t vector_bytes = 16;
#else
#error "no back end chosen: define MIPO_SIMD_ and one of AVX2, SSE42, NEON, PLAIN"
#endif

inline constexpr size_t vectors_per_block = block_bytes / vector_bytes;

// Whether an instruction shifts each lane by a count of its own.
#if defined(MIPO_SIMD_AVX2)
template <class T>
inline constexpr bool lanes_shift_apart = sizeof(T) >= 4;
#elif defined(MIPO_SIMD_NEON)
template <class T>
inline constexpr bool lanes_shift_apart = true;
#else
template <class T>
inline constexpr bool lanes_shift_apart = false;
#endif

// Whether an instruction moves bytes to places that a table tells. Without one, packed codes are fetched one by one
// faster than in lanes.
#if defined(MIPO_SIMD_PLAIN)
inline constexpr bool shuffles_bytes = false;
#else
inline constexpr bool shuffles_bytes = true;
#endif

// Table shuffles work within groups of 16 bytes, whatever the register.
inline constexpr size_t group_bytes = 16;
inline constexpr size_t groups_per_vector = vector_bytes / group_bytes;

template <class T>
inline constexpr size_t lanes_per_block = block_bytes / sizeof(T);

template <class T>
struct VectorOf {
  typedef T type __attribute__((vector_size(vector_bytes)));
  // Columns start at any address, and their bytes are whatever the host stored there.
  typedef T unaligned __attribute__((vector_size(vector_bytes), aligned(1), may_alias));
};
template <class T>
using Vector = typename VectorOf<T>::type;

template <class T>
[[gnu::always_inline]] inline Vector<T> load(const void *address) {
  return *static_cast<const typename VectorOf<T>::unaligned *>(address);
}

template <class T>
[[gnu::always_inline]] inline void store(void *address, Vector<T> vector) {
  *static_cast<typename VectorOf<T>::unaligned *>(address) = vector;
}

template <class T>
[[gnu::always_inline]] inline Vector<T> broadcast(T value) {
  return value - Vector<T>{};
}

// Lanes of T to compare with each other and with broadcast constants.
template <class T>
struct Lanes {
  Vector<T> vector;
};

// One lane of ones or zeros for each lane compared. `inverted`: ones mean that the comparison does not hold.
template <class T, bool inverted>
struct Mask {
  Vector<T> vector;
};

template <class T>
[[gnu::always_inline]] inline Mask<T, false> operator==(Lanes<T> a, Lanes<T> b) {
  return {(Vector<T>)(a.vector == b.vector)};
}

// Unsigned. Up to 32 bits x86-64 has a minimum, which tells at most in two steps; for 64 bits it has a greater-than
// only.
template <class T>
[[gnu::always_inline]] inline auto operator<=(Lanes<T> a, Lanes<T> b) {
  if constexpr (sizeof(T) < 8)
    return Mask<T, false>{(Vector<T>)(a.vector <= b.vector)};
  else
    return Mask<T, true>{(Vector<T>)(a.vector > b.vector)};
}

template <class T>
[[gnu::always_inline]] inline Lanes<T> operator-(Lanes<T> a, Lanes<T> b) {
  return {a.vector - b.vector};
}

template <class T>
[[gnu::always_inline]] inline Lanes<T> lesser(Lanes<T> a, Lanes<T> b) {
  return {a.vector < b.vector ? a.vector : b.vector};
}
template <class T>
[[gnu::always_inline]] inline Lanes<T> greater(Lanes<T> a, Lanes<T> b) {
  return {a.vector > b.vector ? a.vector : b.vector};
}

template <class T, bool inverted>
[[gnu::always_inline]] inline Mask<T, !inverted> operator!(Mask<T, inverted> mask) {
  return {mask.vector};
}

template <class T>
[[gnu::always_inline]] inline Mask<T, false> operator|(Mask<T, false> a, Mask<T, false> b) {
  return {a.vector | b.vector};
}
template <class T>
[[gnu::always_inline]] inline auto operator!=(Lanes<T> a, Lanes<T> b) {
  return !(a == b);
}
template <class T>
[[gnu::always_inline]] inline auto operator>=(Lanes<T> a, Lanes<T> b) {
  return b <= a;
}
template <class T>
[[gnu::always_inline]] inline auto operator>(Lanes<T> a, Lanes<T> b) {
  return !(a <= b);
}
template <class T>
[[gnu::always_inline]] inline auto operator<(Lanes<T> a, Lanes<T> b) {
  return !(b <= a);
}

} // namespace mipo::simd

#endif
