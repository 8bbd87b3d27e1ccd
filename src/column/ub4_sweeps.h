// Steps over arrays of ub4 in place: what makes room in group keys for the next column's codes.
#ifndef MIPO_XLATE_UB4_SWEEPS_H
#define MIPO_XLATE_UB4_SWEEPS_H

#include "mipo/integers.h"

extern "C" {
// Multiplies each of `count` numbers by `factor`; products wrap.
void mipo_mul_ub4_const(ub4 *numbers, ub4 factor, ub4 count);

// Shifts each of `count` numbers left by `shift` bits, 0 to 31.
void mipo_shl_ub4_const(ub4 *numbers, ub4 shift, ub4 count);
}

#endif
