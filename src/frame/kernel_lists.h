// All 925 column kernels, gathered from the families' lists. A member becomes
//
//   ROW(shape, name, operation, family, width field, variant)
//
// where `shape` is the member of the union mipo_kernel that takes its address. Tables, tests and benchmarks expand
// these lists and keep none of their own.
#ifndef MIPO_FRAME_KERNEL_LISTS_H
#define MIPO_FRAME_KERNEL_LISTS_H

#include "arith/kernels.inc"
#include "decode/kernels.inc"
#include "mipo/keys.h"
#include "scan/kernels.inc"
#include "xlate/kernels.inc"

#define FOR_EACH_KERNEL(ROW) \
  SCAN_KERNELS(ROW)          \
  DECODE_FAMILY_KERNELS(ROW) \
  ARITHMETIC_KERNELS(ROW)    \
  XLATE_KERNELS(ROW)

namespace mipo::frame {

inline constexpr unsigned kernel_count = 0
#define COUNT_ONE(shape, name, operation, family, width_field, variant) +1
    FOR_EACH_KERNEL(COUNT_ONE)
#undef COUNT_ONE
    ;
static_assert(kernel_count == 925, "hosts compute keys for exactly this population");

} // namespace mipo::frame

#endif
