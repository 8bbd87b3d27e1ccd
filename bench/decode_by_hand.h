// What unpacking codes is held against: loops with AVX2 intrinsics, each written for one width and its narrowest
// output, and the loop that fetches code after code.
#ifndef MIPO_BENCH_DECODE_BY_HAND_H
#define MIPO_BENCH_DECODE_BY_HAND_H

#include <immintrin.h>

#include <cstring>
#include <type_traits>

#include "mipo/integers.h"

namespace mipo::bench {

inline __m256i unaligned(const void *address) {
  return _mm256_loadu_si256(static_cast<const __m256i *>(address));
}
inline __m128i unaligned_half(const void *address) {
  return _mm_loadu_si128(static_cast<const __m128i *>(address));
}
inline void put(void *address, __m256i vector) {
  _mm256_storeu_si256(static_cast<__m256i *>(address), vector);
}

template <int width>
struct UnpackByHand {
  static constexpr bool exists = false;
};

template <>
struct UnpackByHand<8> {
  static constexpr bool exists = true;
  static void run(const ub1 *stream, ub1 *out, ub4 rows) {
    for (ub4 row = 0; row < rows; row += 32) put(out + row, unaligned(stream + row));
  }
};

template <>
struct UnpackByHand<16> {
  static constexpr bool exists = true;
  static void run(const ub1 *stream, ub2 *out, ub4 rows) {
    const __m256i swap =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
    for (ub4 row = 0; row < rows; row += 16) put(out + row, _mm256_shuffle_epi8(unaligned(stream + 2 * row), swap));
  }
};

template <>
struct UnpackByHand<32> {
  static constexpr bool exists = true;
  static void run(const ub1 *stream, ub4 *out, ub4 rows) {
    const __m256i swap =
        _mm256_broadcastsi128_si256(_mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
    for (ub4 row = 0; row < rows; row += 8) put(out + row, _mm256_shuffle_epi8(unaligned(stream + 4 * row), swap));
  }
};

// 8 codes of 5 bits are 5 bytes: 16 codes from 10 bytes into lanes of 16 bits, at the top, then at the bottom.
template <>
struct UnpackByHand<5> {
  static constexpr bool exists = true;
  static __m256i lanes(const ub1 *stream) {
    const __m256i selectors = _mm256_setr_epi8(1, 0, 1, 0, 2, 1, 2, 1, 3, 2, 4, 3, 4, 3, 5, 4, //
                                               6, 5, 6, 5, 7, 6, 7, 6, 8, 7, 9, 8, 9, 8, 10, 9);
    const __m256i to_the_top = _mm256_broadcastsi128_si256(_mm_setr_epi16(1, 32, 4, 128, 16, 2, 64, 8));
    const __m256i bytes = _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(unaligned_half(stream)), selectors);
    return _mm256_srli_epi16(_mm256_mullo_epi16(bytes, to_the_top), 11);
  }
  static void run(const ub1 *stream, ub1 *out, ub4 rows) {
    for (ub4 row = 0; row < rows; row += 32, stream += 20)
      put(out + row, _mm256_permute4x64_epi64(_mm256_packus_epi16(lanes(stream), lanes(stream + 10)), 0xd8));
  }
};

// 8 codes of 11 bits are 11 bytes, into lanes of 32 bits.
template <>
struct UnpackByHand<11> {
  static constexpr bool exists = true;
  static __m256i lanes(const ub1 *stream) {
    const __m256i selectors = _mm256_setr_epi8(3, 2, 1, 0, 4, 3, 2, 1, 5, 4, 3, 2, 7, 6, 5, 4, //
                                               8, 7, 6, 5, 9, 8, 7, 6, 11, 10, 9, 8, 12, 11, 10, 9);
    const __m256i shifts = _mm256_setr_epi32(21, 18, 15, 20, 17, 14, 19, 16);
    const __m256i bytes = _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(unaligned_half(stream)), selectors);
    return _mm256_and_si256(_mm256_srlv_epi32(bytes, shifts), _mm256_set1_epi32(0x7ff));
  }
  static void run(const ub1 *stream, ub2 *out, ub4 rows) {
    for (ub4 row = 0; row < rows; row += 16, stream += 22)
      put(out + row, _mm256_permute4x64_epi64(_mm256_packus_epi32(lanes(stream), lanes(stream + 11)), 0xd8));
  }
};

// 8 codes of 17 bits are 17 bytes: one load for four codes each.
template <>
struct UnpackByHand<17> {
  static constexpr bool exists = true;
  static void run(const ub1 *stream, ub4 *out, ub4 rows) {
    const __m256i selectors = _mm256_setr_epi8(3, 2, 1, 0, 5, 4, 3, 2, 7, 6, 5, 4, 9, 8, 7, 6, //
                                               3, 2, 1, 0, 5, 4, 3, 2, 7, 6, 5, 4, 9, 8, 7, 6);
    const __m256i shifts = _mm256_setr_epi32(15, 14, 13, 12, 11, 10, 9, 8);
    for (ub4 row = 0; row < rows; row += 8, stream += 17) {
      const __m256i bytes =
          _mm256_inserti128_si256(_mm256_castsi128_si256(unaligned_half(stream)), unaligned_half(stream + 8), 1);
      put(out + row, _mm256_and_si256(_mm256_srlv_epi32(_mm256_shuffle_epi8(bytes, selectors), shifts),
                                      _mm256_set1_epi32(0x1ffff)));
    }
  }
};

template <int width>
using UnpackedCode = std::conditional_t<(width <= 8), ub1, std::conditional_t<(width <= 16), ub2, ub4>>;

template <int width>
inline ub4 fetch_code(const ub1 *stream, ub8 row) {
  ub8 window;
  memcpy(&window, stream + row * width / 8, sizeof window);
  return static_cast<ub4>(__builtin_bswap64(window) << row * width % 8 >> (64 - width));
}

template <int width, class Out>
ub4 unpack_row_by_row(const ub1 *stream, Out *out, ub4 rows) {
  for (ub4 row = 0; row < rows; ++row) out[row] = static_cast<Out>(fetch_code<width>(stream, row));
  return rows;
}

// Without a branch on the selection, which nobody could foresee: each code is stored, and kept if it is selected.
template <int width, class Out>
ub4 compact_row_by_row(const ub1 *stream, const ub8 *selection, Out *out, ub4 rows) {
  ub4 written = 0;
  for (ub4 row = 0; row < rows; ++row) {
    out[written] = static_cast<Out>(fetch_code<width>(stream, row));
    written += static_cast<ub4>(selection[row / 64] >> row % 64 & 1);
  }
  return written;
}

} // namespace mipo::bench

#endif
