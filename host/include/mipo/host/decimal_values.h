// Columns of coded decimal values, which translation kernels read without a dictionary, and the key space in which
// their tables are built.
//
//   value 1300    c4 02 04        192 + four places; the digits 1 and 3, each plus one
//   key           1 << 7 | 3, then seven bits more for each of the two places after the digits
#ifndef MIPO_HOST_DECIMAL_VALUES_H
#define MIPO_HOST_DECIMAL_VALUES_H

#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "mipo/call.h"
#include "mipo/host/aligned_buffer.h"

namespace mipo::host {

/// The bytes of a decimal number in the coded form: a byte of sign and exponent, then a byte for each digit, with
/// trailing zeros left off. Of `number` / 10^`scale`, which must not be negative. At most 19
/// digits.
std::vector<ub1> encode_decimal(ub8 number, int scale = 0);
/// The integer that the bytes code; nothing if they code none, or one above 64 bits.
std::optional<ub8> decode_decimal(std::span<const ub1> value) noexcept;
/// The key under which kernels look the value up; nothing if they do not look it up: fractions, and integers of more
/// than four digits without their trailing zeros. `of_one_length` says that the column is laid out as
/// DecimalLayout::one_length, where zero has no key.
std::optional<ub8> decimal_key(std::span<const ub1> value, bool of_one_length = false) noexcept;

/// How the values of a column lie: which kernels read it.
enum class DecimalLayout {
  offsets,         ///< `cla`: big-endian offsets, one a row and one after the last
  one_length,      ///< `const`: all of one length of at most 15 bytes
  separate_lengths ///< `sep`: lengths in packed bits, of at most 8 bytes each
};

class DecimalColumn {
public:
  /// Values as encode_decimal() gives them. Throws EncodingError if they do not lie so.
  DecimalColumn(DecimalLayout layout, std::span<const std::vector<ub1>> values);

  DecimalLayout layout() const noexcept { return layout_; }
  ub4 rows() const noexcept { return vec_.nrows; }
  /// The coded bytes of a row.
  std::span<const ub1> value(ub4 row) const noexcept;
  /// To hand to kernels; lives as long as the column stays where it is.
  const mipo_vec &vec() const noexcept { return vec_; }
  /// Sets the fields of a call that goes through the column from `first_row` on. Of `offsets`, the vector to hand over
  /// begins there too.
  mipo_vec prepare(mipo_call_ctx &ctx, ub4 first_row = 0) const noexcept;

private:
  DecimalLayout layout_;
  AlignedBuffer values_, lengths_; // lengths_: offsets, or packed lengths
  std::vector<ub4> starts_;
  ub2 form_ = 0;
  mipo_vec vec_{};
};

} // namespace mipo::host

#endif
