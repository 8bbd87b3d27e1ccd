// Number of one-bits in a word.
#ifndef MIPO_SIMD_POPULATION_COUNT_H
#define MIPO_SIMD_POPULATION_COUNT_H

#include "mipo/integers.h"

namespace mipo::simd {

// Ones of each byte of `word`, in that byte: pairs of bits are added, then nibbles, then bytes.
inline ub8 byte_population_counts(ub8 word) {
  word -= (word >> 1) & 0x5555555555555555;
  word = (word & 0x3333333333333333) + ((word >> 2) & 0x3333333333333333);
  return (word + (word >> 4)) & 0x0f0f0f0f0f0f0f0f;
}

inline ub4 population_count(ub8 word) {
#if defined(MIPO_SIMD_PLAIN)
  // The builtin is a call into the compiler's runtime on processors without the instruction.
  return static_cast<ub4>((byte_population_counts(word) * 0x0101010101010101) >> 56);
#else
  return static_cast<ub4>(__builtin_popcountll(word));
#endif
}

} // namespace mipo::simd

#endif
