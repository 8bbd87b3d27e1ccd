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
template <class Operation, bool null_aware>
struct OneBitTest {
  using enum OneBitAnswer;

  static OneBitAnswer answer(const mipo_vec *konst) {
    const auto k = [konst] { return simd::read_native<ub4>(konst->data); };
    if constexpr (std::is_same_v<Operation, eq>) return k() != 0 ? same : null_aware ? none : inverted;
    if constexpr (std::is_same_v<Operation, ne>)
      return null_aware ? (k() != 0 ? none : same) : (k() == 1 ? inverted : same);
    if constexpr (std::is_same_v<Operation, lt>) return null_aware ? none : k() != 0 ? inverted : none;
    if constexpr (std::is_same_v<Operation, gt>) return k() != 0 ? none : same;
    if constexpr (std::is_same_v<Operation, le>)
      return null_aware ? (k() != 0 ? same : none) : (k() != 0 ? all : inverted);
    if constexpr (std::is_same_v<Operation, ge>) return null_aware ? same : k() != 0 ? same : all;
  }

  static OneBitAnswer answer(const mipo_vec *lo_vec, const mipo_vec *hi_vec) {
    if constexpr (std::is_same_v<Operation, gt_lt> || (null_aware && std::is_same_v<Operation, ge_lt>)) return none;
    const ub4 lo = simd::read_native<ub4>(lo_vec->data), hi = simd::read_native<ub4>(hi_vec->data);
    if constexpr (std::is_same_v<Operation, gt_le>) return lo == 0 && hi == 1 ? same : none;
    if constexpr (std::is_same_v<Operation, ge_lt>) return lo == 0 && hi == 1 ? inverted : none;
    if constexpr (null_aware) return lo < 2 && hi == 1 ? same : none;
    if (lo == 0 && hi == 0) return inverted;
    if (lo == 0 && hi == 1) return all;
    return lo == 1 && hi == 1 ? same : none;
  }
};

// Writes the answer for `rows` rows of the stream at `base`; returns how many are set.
ub4 write_one_bit_answer(OneBitAnswer answer, const void *base, ub8 *bits, ub4 rows);

} // namespace mipo::scan

#endif
