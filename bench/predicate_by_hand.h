// What a kernel for byte-aligned codes is held against: loops with AVX2 intrinsics, each written for one width and one
// operation, with nothing of the frame around them. Also the plain read of the same bytes.
#ifndef MIPO_BENCH_PREDICATE_BY_HAND_H
#define MIPO_BENCH_PREDICATE_BY_HAND_H

#include <immintrin.h>

#include <cstring>

#include "mipo/keys.h"

namespace mipo::bench {

template <int width>
struct ByHand;

template <>
struct ByHand<8> {
  static constexpr int rows_per_step = 64;
  static __m256i set1(ub8 k) { return _mm256_set1_epi8(static_cast<char>(k)); }
  static __m256i swap(__m256i v) { return v; }
  static __m256i eq(__m256i a, __m256i b) { return _mm256_cmpeq_epi8(a, b); }
  static __m256i le(__m256i a, __m256i b) { return _mm256_cmpeq_epi8(_mm256_min_epu8(a, b), a); }
  static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi8(a, b); }
  template <class Compare>
  static ub8 bits(const __m256i *v, Compare compare) {
    const auto low = static_cast<ub4>(_mm256_movemask_epi8(compare(_mm256_loadu_si256(v))));
    const auto high = static_cast<ub4>(_mm256_movemask_epi8(compare(_mm256_loadu_si256(v + 1))));
    return low | static_cast<ub8>(high) << 32;
  }
};

template <>
struct ByHand<16> {
  static constexpr int rows_per_step = 64;
  static __m256i set1(ub8 k) { return _mm256_set1_epi16(static_cast<short>(k)); }
  static __m256i swap(__m256i v) {
    return _mm256_shuffle_epi8(v, _mm256_setr_epi8(1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14, 1, 0, 3, 2, 5,
                                                   4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14));
  }
  static __m256i eq(__m256i a, __m256i b) { return _mm256_cmpeq_epi16(a, b); }
  static __m256i le(__m256i a, __m256i b) { return _mm256_cmpeq_epi16(_mm256_min_epu16(a, b), a); }
  static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi16(a, b); }
  template <class Compare>
  static ub8 bits(const __m256i *v, Compare compare) {
    const auto half = [&](const __m256i *w) {
      const __m256i packed = _mm256_packs_epi16(compare(_mm256_loadu_si256(w)), compare(_mm256_loadu_si256(w + 1)));
      return static_cast<ub4>(_mm256_movemask_epi8(_mm256_permute4x64_epi64(packed, 0xd8)));
    };
    return half(v) | static_cast<ub8>(half(v + 2)) << 32;
  }
};

template <>
struct ByHand<32> {
  static constexpr int rows_per_step = 64;
  static __m256i set1(ub8 k) { return _mm256_set1_epi32(static_cast<int>(k)); }
  static __m256i swap(__m256i v) {
    return _mm256_shuffle_epi8(v, _mm256_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12, 3, 2, 1, 0, 7,
                                                   6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
  }
  static __m256i eq(__m256i a, __m256i b) { return _mm256_cmpeq_epi32(a, b); }
  static __m256i le(__m256i a, __m256i b) { return _mm256_cmpeq_epi32(_mm256_min_epu32(a, b), a); }
  static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi32(a, b); }
  template <class Compare>
  static ub8 bits(const __m256i *v, Compare compare) {
    const auto half = [&](const __m256i *w) {
      const __m256i ab = _mm256_packs_epi32(compare(_mm256_loadu_si256(w)), compare(_mm256_loadu_si256(w + 1)));
      const __m256i cd = _mm256_packs_epi32(compare(_mm256_loadu_si256(w + 2)), compare(_mm256_loadu_si256(w + 3)));
      const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
      return static_cast<ub4>(_mm256_movemask_epi8(_mm256_permutevar8x32_epi32(_mm256_packs_epi16(ab, cd), order)));
    };
    return half(v) | static_cast<ub8>(half(v + 4)) << 32;
  }
};

template <>
struct ByHand<64> {
  static constexpr int rows_per_step = 64;
  static __m256i set1(ub8 k) { return _mm256_set1_epi64x(static_cast<long long>(k)); }
  static __m256i swap(__m256i v) {
    return _mm256_shuffle_epi8(v, _mm256_setr_epi8(7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3,
                                                   2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8));
  }
  static __m256i eq(__m256i a, __m256i b) { return _mm256_cmpeq_epi64(a, b); }
  // The complement of greater-than stands in `scan_by_hand`.
  static __m256i gt(__m256i a, __m256i b) {
    const __m256i sign = _mm256_set1_epi64x(static_cast<long long>(ub8{1} << 63));
    return _mm256_cmpgt_epi64(_mm256_xor_si256(a, sign), _mm256_xor_si256(b, sign));
  }
  static __m256i sub(__m256i a, __m256i b) { return _mm256_sub_epi64(a, b); }
  template <class Compare>
  static ub8 bits(const __m256i *v, Compare compare) {
    ub8 word = 0;
    for (int i = 0; i < 16; ++i) {
      const __m256i mask = compare(_mm256_loadu_si256(v + i));
      word |= static_cast<ub8>(static_cast<ub4>(_mm256_movemask_pd(_mm256_castsi256_pd(mask)))) << 4 * i;
    }
    return word;
  }
};

/// Bits of `rows` rows (a multiple of 64) into `out`; returns how many are set. `lo` and `hi` are the constants, `hi`
/// of the two-sided operations only, with lo < hi.
template <int width, int operation>
ub4 scan_by_hand(const void *codes, ub8 rows, ub8 lo, ub8 hi, ub8 *out) {
  using Lanes = ByHand<width>;
  constexpr bool has_le = width < 64;
  constexpr bool two_sided = operation >= MIPO_OP_GT_LT;
  constexpr bool low_open = operation == MIPO_OP_GT_LT || operation == MIPO_OP_GT_LE;
  constexpr bool high_open = operation == MIPO_OP_GT_LT || operation == MIPO_OP_GE_LT;
  const ub8 first = two_sided ? lo + low_open : lo;
  const __m256i k = Lanes::set1(first), k_swapped = Lanes::swap(k), span = Lanes::set1(hi - high_open - first);

  const auto compare = [=](__m256i v) __attribute__((always_inline)) {
    if constexpr (operation == MIPO_OP_EQ || operation == MIPO_OP_NE) return Lanes::eq(v, k_swapped);
    v = Lanes::swap(v);
    if constexpr (two_sided) v = Lanes::sub(v, k);
    const __m256i &bound = two_sided ? span : k;
    constexpr bool from_below = operation == MIPO_OP_LE || operation == MIPO_OP_GT || two_sided;
    if constexpr (has_le)
      return from_below ? Lanes::le(v, bound) : Lanes::le(bound, v);
    else
      return from_below ? Lanes::gt(v, bound) : Lanes::gt(bound, v);
  };
  constexpr bool complemented =
      operation == MIPO_OP_NE || (has_le ? operation == MIPO_OP_LT || operation == MIPO_OP_GT
                                         : operation == MIPO_OP_LE || operation == MIPO_OP_GE || two_sided);
  ub8 count = 0;
  const auto *v = static_cast<const __m256i *>(codes);
  for (ub8 word = 0; word < rows / 64; ++word, v += width / 4) {
    ub8 bits = Lanes::bits(v, compare);
    if constexpr (complemented) bits = ~bits;
    out[word] = bits;
    count += static_cast<ub8>(_mm_popcnt_u64(bits));
  }
  return static_cast<ub4>(count);
}

/// Reads `bytes` bytes (a multiple of 128) and does nothing else with them.
inline ub8 read_by_hand(const void *data, ub8 bytes) {
  const auto *v = static_cast<const __m256i *>(data);
  __m256i a{}, b{}, c{}, d{};
  for (ub8 i = 0; i < bytes / 32; i += 4) {
    a = _mm256_or_si256(a, _mm256_loadu_si256(v + i));
    b = _mm256_or_si256(b, _mm256_loadu_si256(v + i + 1));
    c = _mm256_or_si256(c, _mm256_loadu_si256(v + i + 2));
    d = _mm256_or_si256(d, _mm256_loadu_si256(v + i + 3));
  }
  const __m256i all = _mm256_or_si256(_mm256_or_si256(a, b), _mm256_or_si256(c, d));
  return static_cast<ub8>(_mm256_extract_epi64(all, 0) | _mm256_extract_epi64(all, 2));
}

} // namespace mipo::bench

#endif
