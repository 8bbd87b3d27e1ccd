// Back end of 128-bit Advanced SIMD. There is no instruction that gathers mask bits: the lanes' masks are narrowed to
// bytes, ANDed with the weight of their row, and neighbours are added until eight rows share a byte.
#ifndef MIPO_SIMD_NEON_H
#define MIPO_SIMD_NEON_H

#include <arm_neon.h>

#include "simd/compaction_tables.h"
#include "simd/lanes.h"
#include "simd/row_bits.h"

namespace mipo::simd {

// The low halves of all lanes of a, then of b: for lanes of ones or zeros, the same lanes at half the width.
[[gnu::always_inline]] inline Vector<ub1> narrow(Vector<ub2> a, Vector<ub2> b) {
  return (Vector<ub1>)vuzp1q_u8((uint8x16_t)a, (uint8x16_t)b);
}
[[gnu::always_inline]] inline Vector<ub2> narrow(Vector<ub4> a, Vector<ub4> b) {
  return (Vector<ub2>)vuzp1q_u16((uint16x8_t)a, (uint16x8_t)b);
}
[[gnu::always_inline]] inline Vector<ub4> narrow(Vector<ub8> a, Vector<ub8> b) {
  return (Vector<ub4>)vuzp1q_u32((uint32x4_t)a, (uint32x4_t)b);
}

[[gnu::always_inline]] inline uint8x16_t weighted(Vector<ub1> mask) {
  const uint8x16_t weights = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  return vandq_u8((uint8x16_t)mask, weights);
}

[[gnu::always_inline]] inline RowBits<128> lane_bits(Vector<ub1> a, Vector<ub1> b, Vector<ub1> c, Vector<ub1> d,
                                                     Vector<ub1> e, Vector<ub1> f, Vector<ub1> g, Vector<ub1> h) {
  const uint8x16_t ab = vpaddq_u8(weighted(a), weighted(b));
  const uint8x16_t cd = vpaddq_u8(weighted(c), weighted(d));
  const uint8x16_t ef = vpaddq_u8(weighted(e), weighted(f));
  const uint8x16_t gh = vpaddq_u8(weighted(g), weighted(h));
  const uint64x2_t bits = vreinterpretq_u64_u8(vpaddq_u8(vpaddq_u8(ab, cd), vpaddq_u8(ef, gh)));
  return {{vgetq_lane_u64(bits, 0), vgetq_lane_u64(bits, 1)}};
}

// 64 rows in four vectors of bytes.
[[gnu::always_inline]] inline ub8 byte_lane_bits(Vector<ub1> a, Vector<ub1> b, Vector<ub1> c, Vector<ub1> d) {
  const uint8x16_t ab = vpaddq_u8(weighted(a), weighted(b));
  const uint8x16_t cd = vpaddq_u8(weighted(c), weighted(d));
  const uint8x16_t abcd = vpaddq_u8(ab, cd);
  return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(abcd, abcd)), 0);
}

[[gnu::always_inline]] inline RowBits<64> lane_bits(Vector<ub2> a, Vector<ub2> b, Vector<ub2> c, Vector<ub2> d,
                                                    Vector<ub2> e, Vector<ub2> f, Vector<ub2> g, Vector<ub2> h) {
  return {{byte_lane_bits(narrow(a, b), narrow(c, d), narrow(e, f), narrow(g, h))}};
}

[[gnu::always_inline]] inline RowBits<32> lane_bits(Vector<ub4> a, Vector<ub4> b, Vector<ub4> c, Vector<ub4> d,
                                                    Vector<ub4> e, Vector<ub4> f, Vector<ub4> g, Vector<ub4> h) {
  const Vector<ub1> low = narrow(narrow(a, b), narrow(c, d));
  const Vector<ub1> high = narrow(narrow(e, f), narrow(g, h));
  const uint8x16_t pairs = vpaddq_u8(weighted(low), weighted(high));
  const uint8x16_t fours = vpaddq_u8(pairs, pairs);
  return {{vgetq_lane_u32(vreinterpretq_u32_u8(vpaddq_u8(fours, fours)), 0)}};
}

[[gnu::always_inline]] inline RowBits<16> lane_bits(Vector<ub8> a, Vector<ub8> b, Vector<ub8> c, Vector<ub8> d,
                                                    Vector<ub8> e, Vector<ub8> f, Vector<ub8> g, Vector<ub8> h) {
  const Vector<ub2> low = narrow(narrow(a, b), narrow(c, d));
  const Vector<ub2> high = narrow(narrow(e, f), narrow(g, h));
  const uint8x16_t bits = weighted(narrow(low, high));
  const uint8x16_t pairs = vpaddq_u8(bits, bits);
  const uint8x16_t fours = vpaddq_u8(pairs, pairs);
  return {{vgetq_lane_u16(vreinterpretq_u16_u8(vpaddq_u8(fours, fours)), 0)}};
}

template <class T>
[[gnu::always_inline]] inline Vector<T> byte_swap(Vector<T> vector) {
  if constexpr (sizeof(T) == 1)
    return vector;
  else if constexpr (sizeof(T) == 2)
    return (Vector<T>)vrev16q_u8((uint8x16_t)vector);
  else if constexpr (sizeof(T) == 4)
    return (Vector<T>)vrev32q_u8((uint8x16_t)vector);
  else
    return (Vector<T>)vrev64q_u8((uint8x16_t)vector);
}

[[gnu::always_inline]] inline Vector<ub1> load_groups(const ub1 *address) {
  return load<ub1>(address);
}

// Byte i of a group is the group's byte selectors[i], or 0 if the selector's top bit is set.
[[gnu::always_inline]] inline Vector<ub1> shuffle_groups(Vector<ub1> group, Vector<ub1> selectors) {
  return (Vector<ub1>)vqtbl1q_u8((uint8x16_t)group, (uint8x16_t)selectors);
}

// The lanes whose bit is set in `selection`, at the front; what comes after them is undefined.
[[gnu::always_inline]] inline Vector<ub4> compacted(Vector<ub4> lanes, ub8 selection) {
  return (Vector<ub4>)shuffle_groups((Vector<ub1>)lanes, load<ub1>(mipo_unpack_sel4x32_masks.bytes[selection]));
}

// Byte table[i] for each index: its low four bits count, and an index with its top bit set gives 0.
[[gnu::always_inline]] inline Vector<ub1> look_up(Vector<ub1> table, Vector<ub1> indices) {
  return shuffle_groups(table, indices & 0x8f);
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

// The bits of each byte the other way round.
[[gnu::always_inline]] inline Vector<ub1> reverse_bits(Vector<ub1> vector) {
  return (Vector<ub1>)vrbitq_u8((uint8x16_t)vector);
}

// Ones of each byte.
[[gnu::always_inline]] inline Vector<ub1> byte_ones(Vector<ub1> vector) {
  return (Vector<ub1>)vcntq_u8((uint8x16_t)vector);
}

// Sums of each eight bytes.
[[gnu::always_inline]] inline Vector<ub8> sum_bytes(Vector<ub1> vector) {
  return (Vector<ub8>)vpaddlq_u32(vpaddlq_u16(vpaddlq_u8((uint8x16_t)vector)));
}

} // namespace mipo::simd

#endif
