// The unsigned integer of a number of bits.
#ifndef MIPO_SIMD_UNSIGNED_H
#define MIPO_SIMD_UNSIGNED_H

#include "mipo/integers.h"

namespace mipo::simd {

template <unsigned bits>
struct UnsignedOf;
template <>
struct UnsignedOf<8> {
  using type = ub1;
};
template <>
struct UnsignedOf<16> {
  using type = ub2;
};
template <>
struct UnsignedOf<32> {
  using type = ub4;
};
template <>
struct UnsignedOf<64> {
  using type = ub8;
};

template <unsigned bits>
using Unsigned = typename UnsignedOf<bits>::type;

} // namespace mipo::simd

#endif
