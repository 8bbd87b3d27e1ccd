// Moving the selected lanes of a vector to its front, by tables that a group's selection bits choose from.
#ifndef MIPO_DECODE_COMPACTION_H
#define MIPO_DECODE_COMPACTION_H

#include "bitvec/ones.h"
#include "simd/simd.h"

namespace mipo::decode {

// Row m moves the 32-bit lanes whose bit is set in m to the front, in order, and clears the rest.
struct NibbleSelectors {
  alignas(16) ub1 bytes[16][simd::group_bytes];
};

constexpr NibbleSelectors make_nibble_selectors() {
  NibbleSelectors selectors{};
  for (unsigned nibble = 0; nibble < 16; ++nibble) {
    unsigned found = 0;
    for (unsigned lane = 0; lane < 4; ++lane)
      for (unsigned byte = 0; byte < 4 && (nibble >> lane & 1) != 0; ++byte)
        selectors.bytes[nibble][found++] = static_cast<ub1>(4 * lane + byte);
    while (found < simd::group_bytes) selectors.bytes[nibble][found++] = 0x80;
  }
  return selectors;
}

} // namespace mipo::decode

extern "C" const mipo::decode::NibbleSelectors mipo_unpack_sel4x32_masks;

namespace mipo::decode {

// The lanes of a vector whose bit is set in `selection`, at the front; what is after them is undefined.
[[gnu::always_inline]] inline simd::Vector<ub4> compacted(simd::Vector<ub4> lanes, ub8 selection) {
#if defined(MIPO_SIMD_AVX2)
  return simd::lanes_at(lanes, simd::load<ub4>(mipo_unpack_sel8x32_masks.positions[selection]));
#else
  return (simd::Vector<ub4>)simd::shuffle_groups((simd::Vector<ub1>)lanes,
                                                 simd::load<ub1>(mipo_unpack_sel4x32_masks.bytes[selection]));
#endif
}

} // namespace mipo::decode

#endif
