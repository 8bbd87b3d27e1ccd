// Back end of 128-bit vectors with the instructions up to SSE 4.2.
#ifndef MIPO_SIMD_SSE42_H
#define MIPO_SIMD_SSE42_H

#include <nmmintrin.h>

#include "simd/compaction_tables.h"
#include "simd/lanes.h"
#include "simd/row_bits.h"

namespace mipo::simd {

[[gnu::always_inline]] inline ub4 top_bits_of_bytes(__m128i bytes) {
  return static_cast<ub4>(_mm_movemask_epi8(bytes));
}

// Lanes of ones or zeros stay so when they are packed with signed saturation.
[[gnu::always_inline]] inline Vector<ub1> pack(Vector<ub2> a, Vector<ub2> b) {
  return (Vector<ub1>)_mm_packs_epi16((__m128i)a, (__m128i)b);
}
[[gnu::always_inline]] inline Vector<ub2> pack(Vector<ub4> a, Vector<ub4> b) {
  return (Vector<ub2>)_mm_packs_epi32((__m128i)a, (__m128i)b);
}
// The low halves of the 64-bit lanes.
[[gnu::always_inline]] inline Vector<ub4> pack(Vector<ub8> a, Vector<ub8> b) {
  return (Vector<ub4>)_mm_shuffle_ps((__m128)a, (__m128)b, 0x88);
}

[[gnu::always_inline]] inline RowBits<128> lane_bits(Vector<ub1> a, Vector<ub1> b, Vector<ub1> c, Vector<ub1> d,
                                                     Vector<ub1> e, Vector<ub1> f, Vector<ub1> g, Vector<ub1> h) {
  const auto word = [](Vector<ub1> w, Vector<ub1> x, Vector<ub1> y, Vector<ub1> z) {
    return static_cast<ub8>(top_bits_of_bytes((__m128i)w) | top_bits_of_bytes((__m128i)x) << 16) |
           static_cast<ub8>(top_bits_of_bytes((__m128i)y) | top_bits_of_bytes((__m128i)z) << 16) << 32;
  };
  return {{word(a, b, c, d), word(e, f, g, h)}};
}

[[gnu::always_inline]] inline RowBits<64> lane_bits(Vector<ub2> a, Vector<ub2> b, Vector<ub2> c, Vector<ub2> d,
                                                    Vector<ub2> e, Vector<ub2> f, Vector<ub2> g, Vector<ub2> h) {
  const auto half = [](Vector<ub2> w, Vector<ub2> x, Vector<ub2> y, Vector<ub2> z) {
    return top_bits_of_bytes((__m128i)pack(w, x)) | top_bits_of_bytes((__m128i)pack(y, z)) << 16;
  };
  return {{half(a, b, c, d) | static_cast<ub8>(half(e, f, g, h)) << 32}};
}

[[gnu::always_inline]] inline RowBits<32> lane_bits(Vector<ub4> a, Vector<ub4> b, Vector<ub4> c, Vector<ub4> d,
                                                    Vector<ub4> e, Vector<ub4> f, Vector<ub4> g, Vector<ub4> h) {
  const auto half = [](Vector<ub4> w, Vector<ub4> x, Vector<ub4> y, Vector<ub4> z) {
    return top_bits_of_bytes((__m128i)pack(pack(w, x), pack(y, z)));
  };
  return {{half(a, b, c, d) | half(e, f, g, h) << 16}};
}

[[gnu::always_inline]] inline RowBits<16> lane_bits(Vector<ub8> a, Vector<ub8> b, Vector<ub8> c, Vector<ub8> d,
                                                    Vector<ub8> e, Vector<ub8> f, Vector<ub8> g, Vector<ub8> h) {
  const Vector<ub2> low = pack(pack(a, b), pack(c, d));
  const Vector<ub2> high = pack(pack(e, f), pack(g, h));
  return {{static_cast<ub2>(top_bits_of_bytes((__m128i)pack(low, high)))}};
}

// Lanes of half the width, in order, from values that fit them: those of a, then those of b.
[[gnu::always_inline]] inline Vector<ub1> narrow(Vector<ub2> a, Vector<ub2> b) {
  return (Vector<ub1>)_mm_packus_epi16((__m128i)a, (__m128i)b);
}
[[gnu::always_inline]] inline Vector<ub2> narrow(Vector<ub4> a, Vector<ub4> b) {
  return (Vector<ub2>)_mm_packus_epi32((__m128i)a, (__m128i)b);
}

template <class T>
[[gnu::always_inline]] inline Vector<T> byte_swap(Vector<T> vector) {
  if constexpr (sizeof(T) == 1) return vector;
  constexpr char s = sizeof(T) - 1; // byte i of a lane of 2, 4 or 8 bytes comes from byte i xor s
  const __m128i swap = _mm_setr_epi8(0 ^ s, 1 ^ s, 2 ^ s, 3 ^ s, 4 ^ s, 5 ^ s, 6 ^ s, 7 ^ s, 8 ^ s, 9 ^ s, 10 ^ s,
                                     11 ^ s, 12 ^ s, 13 ^ s, 14 ^ s, 15 ^ s);
  return (Vector<T>)_mm_shuffle_epi8((__m128i)vector, swap);
}

[[gnu::always_inline]] inline Vector<ub1> load_groups(const ub1 *address) {
  return load<ub1>(address);
}

// Byte i of a group is the group's byte selectors[i], or 0 if the selector's top bit is set.
[[gnu::always_inline]] inline Vector<ub1> shuffle_groups(Vector<ub1> group, Vector<ub1> selectors) {
  return (Vector<ub1>)_mm_shuffle_epi8((__m128i)group, (__m128i)selectors);
}

// The lanes whose bit is set in `selection`, at the front; what comes after them is undefined.
[[gnu::always_inline]] inline Vector<ub4> compacted(Vector<ub4> lanes, ub8 selection) {
  return (Vector<ub4>)shuffle_groups((Vector<ub1>)lanes, load<ub1>(mipo_unpack_sel4x32_masks.bytes[selection]));
}

// Byte table[i] for each index: its low four bits count, and an index with its top bit set gives 0.
[[gnu::always_inline]] inline Vector<ub1> look_up(Vector<ub1> table, Vector<ub1> indices) {
  return shuffle_groups(table, indices);
}

// Lanes of ones where the bit of that number is set.
[[gnu::always_inline]] inline Vector<ub4> bits_at(const void *bits, Vector<ub4> numbers) {
  Vector<ub4> mask{};
  for (size_t lane = 0; lane < vector_bytes / sizeof(ub4); ++lane) {
    const ub4 number = numbers[lane];
    mask[lane] = -(static_cast<const ub4 *>(bits)[number / 32] >> number % 32 & 1);
  }
  return mask;
}

// The bits of each byte the other way round: its nibbles change places, and each is looked up.
[[gnu::always_inline]] inline Vector<ub1> reverse_bits(Vector<ub1> vector) {
  const __m128i low_reversed = _mm_setr_epi8(0, 8, 4, 12, 2, 10, 6, 14, 1, 9, 5, 13, 3, 11, 7, 15);
  const __m128i high_reversed = _mm_slli_epi16(low_reversed, 4);
  const __m128i nibble = _mm_set1_epi8(15);
  const __m128i low = _mm_and_si128((__m128i)vector, nibble);
  const __m128i high = _mm_and_si128(_mm_srli_epi16((__m128i)vector, 4), nibble);
  return (Vector<ub1>)_mm_or_si128(_mm_shuffle_epi8(high_reversed, low), _mm_shuffle_epi8(low_reversed, high));
}

// Ones of each byte, looked up by nibble.
[[gnu::always_inline]] inline Vector<ub1> byte_ones(Vector<ub1> vector) {
  const __m128i ones_of_nibble = _mm_setr_epi8(0, 1, 1, 2, 1, 2, 2, 3, 1, 2, 2, 3, 2, 3, 3, 4);
  const __m128i nibble = _mm_set1_epi8(15);
  const __m128i low = _mm_and_si128((__m128i)vector, nibble);
  const __m128i high = _mm_and_si128(_mm_srli_epi16((__m128i)vector, 4), nibble);
  return (Vector<ub1>)_mm_add_epi8(_mm_shuffle_epi8(ones_of_nibble, low), _mm_shuffle_epi8(ones_of_nibble, high));
}

// Sums of each eight bytes.
[[gnu::always_inline]] inline Vector<ub8> sum_bytes(Vector<ub1> vector) {
  return (Vector<ub8>)_mm_sad_epu8((__m128i)vector, _mm_setzero_si128());
}

} // namespace mipo::simd

#endif
