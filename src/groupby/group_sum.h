// Sums over rows, by group or of all, of any values into any accumulators. What differs between the forms of a column
// is chosen before the loop.
#ifndef MIPO_GROUPBY_GROUP_SUM_H
#define MIPO_GROUPBY_GROUP_SUM_H

#include <string.h>

#include "column/sortable.h"
#include "mipo/group.h"
#include "simd/simd.h"

namespace mipo::groupby {

// Values: what is added, by row.

template <class Float>
class NativeNumbers {
public:
  using Number = Float;

  explicit NativeNumbers(const void *base) : base_(static_cast<const ub1 *>(base)) {}

  Float operator[](ub4 row) const { return simd::read_native<Float>(base_ + size_t{row} * sizeof(Float)); }

private:
  const ub1 *base_;
};

template <class Float>
class SortableNumbers {
public:
  using Number = Float;

  explicit SortableNumbers(const void *base) : base_(static_cast<const ub1 *>(base)) {}

  Float operator[](ub4 row) const { return column::sortable_value<Float>(base_ + size_t{row} * sizeof(Float)); }

private:
  const ub1 *base_;
};

// Accumulators: where it is added, by group.

// An array of numbers.
template <class Number>
class PlainAccumulators {
public:
  explicit PlainAccumulators(void *base) : base_(static_cast<ub1 *>(base)) {}

  void add(ub4 group, Number value) const {
    ub1 *sum = base_ + size_t{group} * sizeof(Number);
    value = simd::read_native<Number>(sum) + value;
    memcpy(sum, &value, sizeof value);
  }

private:
  ub1 *base_;
};

// Records of the host's, with a sum and maybe a row count somewhere in each.
template <class Float, bool has_count>
class RecordAccumulators {
public:
  RecordAccumulators(void *base, size_t record_bytes, const mipo_group_sum_offsets &offsets)
      : sums_(static_cast<ub1 *>(base) + offsets.sum),
        counts_(static_cast<ub1 *>(base) + offsets.count),
        record_bytes_(record_bytes) {}

  void add(ub4 group, Float value) const {
    ub1 *sum = sums_ + group * record_bytes_;
    value = simd::read_native<Float>(sum) + value;
    memcpy(sum, &value, sizeof value);
    if constexpr (has_count) {
      ub1 *count = counts_ + group * record_bytes_;
      const ub4 rows = simd::read_native<ub4>(count) + 1;
      memcpy(count, &rows, sizeof rows);
    }
  }

  void set_first(Float sum, ub4 rows) const {
    memcpy(sums_, &sum, sizeof sum);
    if constexpr (has_count) memcpy(counts_, &rows, sizeof rows);
  }

private:
  ub1 *sums_;
  ub1 *counts_;
  size_t record_bytes_;
};

// Both go row by row, in order: floating-point sums depend on it.

template <class Values, class Accumulators>
void add_by_group(Values values, const ub4 *keys, ub4 rows, Accumulators accumulators) {
  constexpr ub4 step_rows = 4; // a row is four instructions, and counting rows would be two more
  ub4 row = 0;
  for (; rows - row >= step_rows; row += step_rows)
    for (ub4 i = 0; i < step_rows; ++i) accumulators.add(keys[row + i], values[row + i]);
  for (; row < rows; ++row) accumulators.add(keys[row], values[row]);
}

template <class Values>
typename Values::Number total(Values values, ub4 rows) {
  typename Values::Number sum = 0;
  for (ub4 row = 0; row < rows; ++row) sum += values[row];
  return sum;
}

} // namespace mipo::groupby

#endif
