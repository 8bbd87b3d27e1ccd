// Back end of 256-bit vectors. A vector is two 128-bit halves: packing works within each half, so the 64-bit quarters
// of what it gives have to be put back in order.
#ifndef MIPO_SIMD_AVX2_H
#define MIPO_SIMD_AVX2_H

#include <immintrin.h>

#include "simd/compaction_tables.h"
#include "simd/lanes.h"
#include "simd/row_bits.h"

namespace mipo::simd {

[[gnu::always_inline]] inline ub4 top_bits_of_bytes(__m256i bytes) {
  return static_cast<ub4>(_mm256_movemask_epi8(bytes));
}

[[gnu::always_inline]] inline RowBits<128> lane_bits(Vector<ub1> a, Vector<ub1> b, Vector<ub1> c, Vector<ub1> d) {
  const ub8 low = top_bits_of_bytes((__m256i)a) | static_cast<ub8>(top_bits_of_bytes((__m256i)b)) << 32;
  const ub8 high = top_bits_of_bytes((__m256i)c) | static_cast<ub8>(top_bits_of_bytes((__m256i)d)) << 32;
  return {{low, high}};
}

// Lanes of ones or zeros stay so when they are packed with signed saturation.
[[gnu::always_inline]] inline RowBits<64> lane_bits(Vector<ub2> a, Vector<ub2> b, Vector<ub2> c, Vector<ub2> d) {
  const __m256i ab = _mm256_permute4x64_epi64(_mm256_packs_epi16((__m256i)a, (__m256i)b), 0xd8);
  const __m256i cd = _mm256_permute4x64_epi64(_mm256_packs_epi16((__m256i)c, (__m256i)d), 0xd8);
  return {{top_bits_of_bytes(ab) | static_cast<ub8>(top_bits_of_bytes(cd)) << 32}};
}

// Two packs leave the 32-bit groups in the order a0 b0 c0 d0 a1 b1 c1 d1 (halves 0 and 1), one permutation mends both.
[[gnu::always_inline]] inline RowBits<32> lane_bits(Vector<ub4> a, Vector<ub4> b, Vector<ub4> c, Vector<ub4> d) {
  const __m256i ab = _mm256_packs_epi32((__m256i)a, (__m256i)b);
  const __m256i cd = _mm256_packs_epi32((__m256i)c, (__m256i)d);
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  return {{top_bits_of_bytes(_mm256_permutevar8x32_epi32(_mm256_packs_epi16(ab, cd), order))}};
}

[[gnu::always_inline]] inline RowBits<16> lane_bits(Vector<ub8> a, Vector<ub8> b, Vector<ub8> c, Vector<ub8> d) {
  const auto bits = [](Vector<ub8> mask) { return static_cast<ub4>(_mm256_movemask_pd((__m256d)mask)); };
  return {{static_cast<ub2>(bits(a) | bits(b) << 4 | bits(c) << 8 | bits(d) << 12)}};
}

// Lanes of half the width, in order, from values that fit them: those of a, then those of b.
[[gnu::always_inline]] inline Vector<ub1> narrow(Vector<ub2> a, Vector<ub2> b) {
  return (Vector<ub1>)_mm256_permute4x64_epi64(_mm256_packus_epi16((__m256i)a, (__m256i)b), 0xd8);
}
[[gnu::always_inline]] inline Vector<ub2> narrow(Vector<ub4> a, Vector<ub4> b) {
  return (Vector<ub2>)_mm256_permute4x64_epi64(_mm256_packus_epi32((__m256i)a, (__m256i)b), 0xd8);
}

// The 32-bit words of an array at these indices, one a lane.
[[gnu::always_inline]] inline Vector<ub4> gather_words(const void *base, Vector<ub4> indices) {
  return (Vector<ub4>)_mm256_i32gather_epi32(static_cast<const int *>(base), (__m256i)indices, 4);
}

// The lanes whose bit is set in `selection`, at the front; what comes after them is undefined.
[[gnu::always_inline]] inline Vector<ub4> compacted(Vector<ub4> lanes, ub8 selection) {
  const auto positions = load<ub4>(mipo_unpack_sel8x32_masks.positions[selection]);
  return (Vector<ub4>)_mm256_permutevar8x32_epi32((__m256i)lanes, (__m256i)positions);
}

template <class T>
[[gnu::always_inline]] inline Vector<T> byte_swap(Vector<T> vector) {
  if constexpr (sizeof(T) == 1) return vector;
  constexpr char s = sizeof(T) - 1; // byte i of a lane of 2, 4 or 8 bytes comes from byte i xor s
  const __m256i swap =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0 ^ s, 1 ^ s, 2 ^ s, 3 ^ s, 4 ^ s, 5 ^ s, 6 ^ s, 7 ^ s, 8 ^ s, 9 ^ s,
                                                10 ^ s, 11 ^ s, 12 ^ s, 13 ^ s, 14 ^ s, 15 ^ s));
  return (Vector<T>)_mm256_shuffle_epi8((__m256i)vector, swap);
}

// One group from each address. Where the compiler knows how far apart they are, one load may do.
[[gnu::always_inline]] inline Vector<ub1> load_groups(const ub1 *low, const ub1 *high) {
  const auto group = [](const ub1 *address) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(address)); };
  if (__builtin_constant_p(high - low)) {
    if (high == low) return (Vector<ub1>)_mm256_broadcastsi128_si256(group(low));
    if (high == low + group_bytes) return load<ub1>(low);
  }
  return (Vector<ub1>)_mm256_inserti128_si256(_mm256_castsi128_si256(group(low)), group(high), 1);
}

// Byte i of a group is the group's byte selectors[i], or 0 if the selector's top bit is set.
[[gnu::always_inline]] inline Vector<ub1> shuffle_groups(Vector<ub1> groups, Vector<ub1> selectors) {
  return (Vector<ub1>)_mm256_shuffle_epi8((__m256i)groups, (__m256i)selectors);
}

// Byte table[i] for each index: its low four bits count, and an index with its top bit set gives 0.
[[gnu::always_inline]] inline Vector<ub1> look_up(Vector<ub1> table, Vector<ub1> indices) {
  return shuffle_groups(table, indices);
}

// Lanes of ones where the bit of that number is set. Each lane fetches the word that its bit is in.
[[gnu::always_inline]] inline Vector<ub4> bits_at(const void *bits, Vector<ub4> numbers) {
  const __m256i words = _mm256_i32gather_epi32(static_cast<const int *>(bits), (__m256i)(numbers >> 5), 4);
  const __m256i to_the_top = _mm256_andnot_si256((__m256i)numbers, _mm256_set1_epi32(31));
  return (Vector<ub4>)_mm256_srai_epi32(_mm256_sllv_epi32(words, to_the_top), 31);
}

// The bits of each byte the other way round: its nibbles change places, and each is looked up.
[[gnu::always_inline]] inline Vector<ub1> reverse_bits(Vector<ub1> vector) {
  const __m256i low_reversed =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15));
  const __m256i high_reversed = _mm256_slli_epi16(low_reversed, 4);
  const __m256i nibble = _mm256_set1_epi8(15);
  const __m256i low = _mm256_and_si256((__m256i)vector, nibble);
  const __m256i high = _mm256_and_si256(_mm256_srli_epi16((__m256i)vector, 4), nibble);
  return (Vector<ub1>)_mm256_or_si256(_mm256_shuffle_epi8(high_reversed, low), _mm256_shuffle_epi8(low_reversed, high));
}

// Ones of each byte, looked up by nibble.
[[gnu::always_inline]] inline Vector<ub1> byte_ones(Vector<ub1> vector) {
  const __m256i ones_of_nibble =
      _mm256_broadcastsi128_si256(_mm_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4));
  const __m256i nibble = _mm256_set1_epi8(15);
  const __m256i low = _mm256_and_si256((__m256i)vector, nibble);
  const __m256i high = _mm256_and_si256(_mm256_srli_epi16((__m256i)vector, 4), nibble);
  return (Vector<ub1>)_mm256_add_epi8(_mm256_shuffle_epi8(ones_of_nibble, low),
                                      _mm256_shuffle_epi8(ones_of_nibble, high));
}

// Sums of each eight bytes.
[[gnu::always_inline]] inline Vector<ub8> sum_bytes(Vector<ub1> vector) {
  return (Vector<ub8>)_mm256_sad_epu8((__m256i)vector, _mm256_setzero_si256());
}

} // namespace mipo::simd

#endif
