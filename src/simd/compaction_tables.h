// What moves the selected lanes of a vector to its front: tables that the selection's bits choose a row from.
#ifndef MIPO_SIMD_COMPACTION_TABLES_H
#define MIPO_SIMD_COMPACTION_TABLES_H

#include "simd/lanes.h"

namespace mipo::simd {

// Row b lists the positions of the set bits of byte b; the rest of the row is 0.
struct BitPositions {
  alignas(32) ub4 positions[256][8];
};

constexpr BitPositions make_bit_positions() {
  BitPositions table{};
  for (ub4 byte = 0; byte < 256; ++byte) {
    ub4 found = 0;
    for (ub4 bit = 0; bit < 8; ++bit)
      if (byte >> bit & 1) table.positions[byte][found++] = bit;
  }
  return table;
}

// Row m moves the 32-bit lanes of a group whose bit is set in m to the front, in order, and clears the rest.
struct CompactionSelectors {
  alignas(16) ub1 bytes[16][group_bytes];
};

constexpr CompactionSelectors make_compaction_selectors() {
  CompactionSelectors selectors{};
  for (unsigned nibble = 0; nibble < 16; ++nibble) {
    unsigned found = 0;
    for (unsigned lane = 0; lane < 4; ++lane)
      for (unsigned byte = 0; byte < 4 && (nibble >> lane & 1) != 0; ++byte)
        selectors.bytes[nibble][found++] = static_cast<ub1>(4 * lane + byte);
    while (found < group_bytes) selectors.bytes[nibble][found++] = 0x80;
  }
  return selectors;
}

} // namespace mipo::simd

// Hosts read these tables too.
extern "C" const mipo::simd::BitPositions mipo_unpack_sel8x32_masks;
extern "C" const mipo::simd::CompactionSelectors mipo_unpack_sel4x32_masks;

#endif
