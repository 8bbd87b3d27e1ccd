// Columns of one-bit codes. A code is a bit, and nothing is compared: the constants decide which of four answers it is.
#ifndef MIPO_SCAN_ONE_BIT_H
#define MIPO_SCAN_ONE_BIT_H

#include "bitvec/algebra.h"
#include "scan/operations.h"
#include "scan/predicate.h"

namespace mipo::scan {

enum class OneBitAnswer {
  none,     // no row
  all,      // every row
  same,     // the rows with code 1
  inverted, // the rows with code 0
};

// Which answer an operation with its constants gives. Constants that do not matter are not read.
inline OneBitAnswer one_bit_answer(Operation operation, bool null_aware, const mipo_vec *low, const mipo_vec *high) {
  using enum OneBitAnswer;
  using enum Operation;
  const auto k = [low] { return simd::read_native<ub4>(low->data); };
  switch (operation) {
  case eq:
    return k() != 0 ? same : null_aware ? none : inverted;
  case ne:
    if (null_aware) return k() != 0 ? none : same;
    return k() == 1 ? inverted : same;
  case lt:
    return !null_aware && k() != 0 ? inverted : none;
  case gt:
    return k() != 0 ? none : same;
  case le:
    if (null_aware) return k() != 0 ? same : none;
    return k() != 0 ? all : inverted;
  case ge:
    return null_aware || k() != 0 ? same : all;
  case gt_lt:
    return none;
  default:
    break;
  }
  if (null_aware && operation == ge_lt) return none;
  const ub4 lo = k(), hi = simd::read_native<ub4>(high->data);
  if (operation == gt_le) return lo == 0 && hi == 1 ? same : none;
  if (operation == ge_lt) return lo == 0 && hi == 1 ? inverted : none;
  if (null_aware) return lo < 2 && hi == 1 ? same : none;
  if (lo == 0 && hi == 0) return inverted;
  if (lo == 0 && hi == 1) return all;
  return lo == 1 && hi == 1 ? same : none;
}

// Writes the answer for the rows of the stream at `base`; returns how many are set.
ub4 write_one_bit_answer(OneBitAnswer answer, const void *base, Output output);

} // namespace mipo::scan

#endif
