// Back end of ordinary loops: no intrinsics, any processor. Every other back end has to give the same bits.
#ifndef MIPO_SIMD_PLAIN_H
#define MIPO_SIMD_PLAIN_H

#include <type_traits>

#include "simd/lanes.h"
#include "simd/row_bits.h"

// Instrumented by a sanitizer, these loops are large, and there are hundreds of kernels to inline them into.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define MIPO_LANE_LOOP [[gnu::noinline]] inline
#else
#define MIPO_LANE_LOOP inline
#endif

namespace mipo::simd {

template <class AnyVector>
MIPO_LANE_LOOP auto lane_bits(AnyVector a, AnyVector b, AnyVector c, AnyVector d, AnyVector e, AnyVector f, AnyVector g,
                              AnyVector h) {
  using T = std::remove_cvref_t<decltype(a[0])>;
  const AnyVector masks[] = {a, b, c, d, e, f, g, h};
  constexpr size_t lanes = vector_bytes / sizeof(T);
  using Bits = RowBits<lanes_per_block<T>>;
  constexpr size_t word_bits = 8 * sizeof(typename Bits::Word);

  Bits bits{};
  for (size_t row = 0; row < lanes_per_block<T>; ++row) {
    const ub8 bit = masks[row / lanes][row % lanes] & 1;
    auto &word = bits.word[row / word_bits];
    word = static_cast<typename Bits::Word>(word | bit << row % word_bits);
  }
  return bits;
}

template <class T>
MIPO_LANE_LOOP Vector<T> byte_swap(Vector<T> vector) {
  for (size_t lane = 0; lane < vector_bytes / sizeof(T); ++lane) {
    if constexpr (sizeof(T) == 2) vector[lane] = __builtin_bswap16(vector[lane]);
    if constexpr (sizeof(T) == 4) vector[lane] = __builtin_bswap32(vector[lane]);
    if constexpr (sizeof(T) == 8) vector[lane] = __builtin_bswap64(vector[lane]);
  }
  return vector;
}

// Lanes of half the width, in order, from values that fit them: those of a, then those of b.
template <class Narrow, class T>
MIPO_LANE_LOOP Vector<Narrow> narrow_lanes(Vector<T> a, Vector<T> b) {
  constexpr size_t lanes = vector_bytes / sizeof(T);
  Vector<Narrow> narrowed{};
  for (size_t lane = 0; lane < lanes; ++lane) {
    narrowed[lane] = static_cast<Narrow>(a[lane]);
    narrowed[lanes + lane] = static_cast<Narrow>(b[lane]);
  }
  return narrowed;
}
inline Vector<ub1> narrow(Vector<ub2> a, Vector<ub2> b) {
  return narrow_lanes<ub1, ub2>(a, b);
}
inline Vector<ub2> narrow(Vector<ub4> a, Vector<ub4> b) {
  return narrow_lanes<ub2, ub4>(a, b);
}

inline Vector<ub1> load_groups(const ub1 *address) {
  return load<ub1>(address);
}

// Byte i of a group is the group's byte selectors[i], or 0 if the selector's top bit is set.
MIPO_LANE_LOOP Vector<ub1> shuffle_groups(Vector<ub1> group, Vector<ub1> selectors) {
  Vector<ub1> shuffled{};
  for (size_t i = 0; i < group_bytes; ++i)
    if (selectors[i] < 0x80) shuffled[i] = group[selectors[i] % group_bytes];
  return shuffled;
}

// Byte table[i] for each index: its low four bits count, and an index with its top bit set gives 0.
inline Vector<ub1> look_up(Vector<ub1> table, Vector<ub1> indices) {
  return shuffle_groups(table, indices);
}

// The lanes whose bit is set in `selection`, at the front; what comes after them is undefined.
inline Vector<ub4> compacted(Vector<ub4> lanes, ub8 selection) {
  constexpr size_t count = vector_bytes / sizeof(ub4);
  ub4 front[count + 1] = {}; // lanes that are not selected leave their place to the next one
  size_t selected = 0;
  for (size_t lane = 0; lane < count; ++lane) {
    front[selected] = lanes[lane];
    selected += selection >> lane & 1;
  }
  return load<ub4>(front);
}

// Lanes of ones where the bit of that number is set.
MIPO_LANE_LOOP Vector<ub4> bits_at(const void *bits, Vector<ub4> numbers) {
  Vector<ub4> mask{};
  for (size_t lane = 0; lane < vector_bytes / sizeof(ub4); ++lane) {
    const ub4 number = numbers[lane];
    mask[lane] = -(static_cast<const ub4 *>(bits)[number / 32] >> number % 32 & 1);
  }
  return mask;
}

// The bits of each byte the other way round: nibbles change places, then pairs, then bits.
inline Vector<ub1> reverse_bits(Vector<ub1> vector) {
  vector = vector << 4 | vector >> 4;
  vector = (vector & 0x33) << 2 | (vector >> 2 & 0x33);
  return (vector & 0x55) << 1 | (vector >> 1 & 0x55);
}

// Ones of each byte.
MIPO_LANE_LOOP Vector<ub1> byte_ones(Vector<ub1> vector) {
  auto words = (Vector<ub8>)vector;
  for (size_t lane = 0; lane < vector_bytes / sizeof(ub8); ++lane) words[lane] = byte_population_counts(words[lane]);
  return (Vector<ub1>)words;
}

// Sums of each eight bytes.
MIPO_LANE_LOOP Vector<ub8> sum_bytes(Vector<ub1> vector) {
  Vector<ub8> sums{};
  for (size_t byte = 0; byte < vector_bytes; ++byte) sums[byte / 8] += vector[byte];
  return sums;
}

} // namespace mipo::simd

#undef MIPO_LANE_LOOP

#endif
