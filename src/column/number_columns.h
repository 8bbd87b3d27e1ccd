// Columns of numbers as a loop over rows sees them, and the two loops there are: one result a row, one sum of all.
//
// Values are whatever answers for a row and for a vector of rows: a column, one number for all rows, or something
// reckoned from these. The form in which numbers are stored is settled before the loop.
#ifndef MIPO_COLUMN_NUMBER_COLUMNS_H
#define MIPO_COLUMN_NUMBER_COLUMNS_H

#include <stddef.h>
#include <stdint.h>

#include "column/sortable.h"
#include "simd/streaming.h"

namespace mipo::column {

// The forms in which numbers are stored.
template <class T>
struct Native {
  using Number = T;
  [[gnu::always_inline]] static T number(const ub1 *stored) { return simd::read_native<T>(stored); }
  [[gnu::always_inline]] static simd::Vector<T> vector(const ub1 *stored) { return simd::load<T>(stored); }
};
template <class Float>
struct Sortable {
  using Number = Float;
  [[gnu::always_inline]] static Float number(const ub1 *stored) { return sortable_value<Float>(stored); }
  [[gnu::always_inline]] static simd::Vector<Float> vector(const ub1 *stored) { return sortable_vector<Float>(stored); }
};

template <class Form>
class NumberColumn {
public:
  using Number = typename Form::Number;

  explicit NumberColumn(const void *base) : base_(static_cast<const ub1 *>(base)) {}

  [[gnu::always_inline]] Number row(size_t row) const { return Form::number(base_ + row * sizeof(Number)); }
  [[gnu::always_inline]] auto vector(size_t row) const { return Form::vector(base_ + row * sizeof(Number)); }

  /// Whether storing a row at `results` changes rows that are read later when it goes row by row, and would be read
  /// before when it goes vector by vector.
  bool overlaps_forward(const ub1 *results) const {
    const auto ahead = reinterpret_cast<uintptr_t>(results) - reinterpret_cast<uintptr_t>(base_);
    return ahead != 0 && ahead < simd::vector_bytes;
  }

private:
  const ub1 *base_;
};

/// The first number of `base` for all rows, read once.
template <class Form>
class NumberConstant {
public:
  using Number = typename Form::Number;

  explicit NumberConstant(const void *base)
      : number_(Form::number(static_cast<const ub1 *>(base))), vector_(simd::broadcast<Number>(number_)) {}

  [[gnu::always_inline]] Number row(size_t) const { return number_; }
  [[gnu::always_inline]] auto vector(size_t) const { return vector_; }
  bool overlaps_forward(const ub1 *) const { return false; }

private:
  Number number_;
  simd::Vector<Number> vector_;
};

template <class Values>
[[gnu::always_inline]] inline void store_row(ub1 *results, const Values &values, size_t row) {
  const typename Values::Number number = values.row(row);
  memcpy(results + row * sizeof number, &number, sizeof number);
}

/// Stores results past the caches, from the first row on, and returns the first row that is left to do: 0 if the
/// results lie so that it cannot be done.
template <class Values>
size_t stream_rows(ub1 *results, Values values, size_t rows) {
  using Number = typename Values::Number;
  constexpr size_t vector_rows = simd::vector_bytes / sizeof(Number), block_rows = simd::lanes_per_block<Number>;
  if (reinterpret_cast<uintptr_t>(results) % sizeof(Number) != 0) return 0;
  size_t row = 0;
  for (; row < rows && !simd::is_vector_aligned(results + row * sizeof(Number)); ++row) store_row(results, values, row);
  for (; rows - row >= block_rows; row += block_rows)
    for (size_t i = 0; i < block_rows; i += vector_rows)
      simd::stream<Number>(results + (row + i) * sizeof(Number), values.vector(row + i));
  simd::end_of_stream();
  return row;
}

/// One result a row. The results may overlap what the values are read from: rows are then read as storing the rows
/// before has left them.
template <class Values>
void store_rows(void *results, Values values, size_t rows) {
  using Number = typename Values::Number;
  constexpr size_t vector_rows = simd::vector_bytes / sizeof(Number);
  auto *const to = static_cast<ub1 *>(results);
  size_t row = 0;
  if (!values.overlaps_forward(to)) {
    if (rows * sizeof(Number) >= simd::streamed_bytes) row = stream_rows(to, values, rows);
    for (; rows - row >= vector_rows; row += vector_rows)
      simd::store<Number>(to + row * sizeof(Number), values.vector(row));
  }
  for (; row < rows; ++row) {
    store_row(to, values, row);
    __asm__ volatile("" ::: "memory"); // else compilers make vectors of this loop too, and kernels four times larger
  }
}

/// Adds the values to each other in the order of the rows, which rounding depends on, and what the cell holds to their
/// sum, and stores that in the cell.
template <class Values>
void add_rows(void *cell, Values values, size_t rows) {
  using Number = typename Values::Number;
  constexpr size_t vector_rows = simd::vector_bytes / sizeof(Number);
  Number sum = 0;
  size_t row = 0;
  for (; rows - row >= vector_rows; row += vector_rows) {
    const simd::Vector<Number> numbers = values.vector(row);
    for (size_t i = 0; i < vector_rows; ++i) sum += numbers[i];
  }
  for (; row < rows; ++row) {
    sum += values.row(row);
    __asm__ volatile("" ::: "memory");
  }
  sum += simd::read_native<Number>(cell);
  memcpy(cell, &sum, sizeof sum);
}

} // namespace mipo::column

#endif
