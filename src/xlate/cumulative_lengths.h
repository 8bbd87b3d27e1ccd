// Cumulative length arrays: from the lengths of values that lie back to back to where each of them starts.
//
//   lengths  3 0 2          starts  0 3 3 5        all places big-endian ub4
#ifndef MIPO_XLATE_CUMULATIVE_LENGTHS_H
#define MIPO_XLATE_CUMULATIVE_LENGTHS_H

#include "mipo/integers.h"

extern "C" {
// Fills the first src_len + 1 of the `res_len` places of `res` from `src_len` lengths; sums wrap. Fewer places are a
// bug of the caller and end the process.
void mipo_build_cla_1_ub1(ub4 *res, ub4 res_len, const ub1 *src, ub4 src_len);

// The same from big-endian lengths of two bytes.
void mipo_build_cla_1_ub2(ub4 *res, ub4 res_len, const ub2 *src, ub4 src_len);
}

#endif
