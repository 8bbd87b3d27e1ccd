// Floating-point columns in sortable form: bytes that compare as the numbers do, high byte first.
#ifndef MIPO_HOST_SORTABLE_NUMBERS_H
#define MIPO_HOST_SORTABLE_NUMBERS_H

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "mipo/host/aligned_buffer.h"
#include "mipo/host/library.h"
#include "mipo/vec.h"

namespace mipo::host {

enum class FloatType : ub1 {
  float32 = MIPO_NUM_FLOAT,
  float64 = MIPO_NUM_DOUBLE,
  float16 = MIPO_NUM_FLOAT16,
  bfloat16 = MIPO_NUM_BFLOAT16
};

/// A column of numbers in sortable form. Every not-a-number is stored as one and sorts above all numbers, negative zero
/// is stored as zero; all else comes back as it was. Owns its memory; the records stay where they are when the column
/// is moved. The vector has the shape MIPO_FIXED, so that kernels for byte strings read it too.
class SortableColumn {
public:
  /// By the library's conversion. Throws MissingKernel, or ArgumentError if there are more than 2^32 - 1 values.
  SortableColumn(const Library &library, std::span<const float> values);
  SortableColumn(const Library &library, std::span<const double> values);
  /// Patterns of a 16-bit type. Throws ArgumentError if `type` is not one.
  SortableColumn(const Library &library, FloatType type, std::span<const ub2> patterns);

  /// The record to hand to kernels. Lives as long as the column.
  const mipo_vec &vec() const noexcept { return records_->vec; }
  FloatType type() const noexcept { return static_cast<FloatType>(records_->enc_ctx.num_type); }
  ub4 rows() const noexcept { return vec().nrows; }
  std::span<const std::byte> stored() const noexcept { return stored_.bytes(); }

  /// The numbers, by the library's conversion. Each throws ArgumentError if the column is of another type.
  std::vector<float> floats(const Library &library) const;
  std::vector<double> doubles(const Library &library) const;
  std::vector<ub2> patterns(const Library &library) const;

private:
  struct Records {
    mipo_vec vec{};
    mipo_enc_ctx enc_ctx{};
  };
  SortableColumn(const Library &library, FloatType type, const void *values, std::size_t count);
  template <class T>
  std::vector<T> read(const Library &library, bool fits, std::string_view wanted) const;

  AlignedBuffer stored_;
  std::unique_ptr<Records> records_;
};

} // namespace mipo::host

#endif
