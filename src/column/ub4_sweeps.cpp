#include "column/ub4_sweeps.h"

// Loops that the compiler turns into vectors by itself, on every level.

extern "C" void mipo_mul_ub4_const(ub4 *numbers, ub4 factor, ub4 count) {
  for (ub4 i = 0; i < count; ++i) numbers[i] *= factor;
}

extern "C" void mipo_shl_ub4_const(ub4 *numbers, ub4 shift, ub4 count) {
  for (ub4 i = 0; i < count; ++i) numbers[i] <<= shift;
}
