// What a row of a translation's input holds: a code, or a decimal value in one of three layouts. Rows are taken in
// order; `next()` tells the key of one.
//
//   codes   00 00 00 2a | ...                     big-endian ub4
//   decimal c2 02 04      first byte 192 + exponent, then a byte a digit, each the digit plus one: 13
//           80            zero
#ifndef MIPO_XLATE_ROWS_H
#define MIPO_XLATE_ROWS_H

#include "xlate/entries.h"

namespace mipo::xlate {

class CodeRows {
public:
  CodeRows(const mipo_vec *column, const mipo_call_ctx *ctx)
      : codes_(static_cast<const ub1 *>(column->data)), next_(codes_ + size_t{ctx->first_row} * sizeof(ub4)) {}

  [[gnu::always_inline]] Key row(ub4 row) const {
    return simd::read_big_endian<ub4>(codes_ + size_t{row} * sizeof(ub4));
  }
  [[gnu::always_inline]] Key next() {
    const Key key = simd::read_big_endian<ub4>(next_);
    next_ += sizeof(ub4);
    return key;
  }

private:
  const ub1 *codes_;
  const ub1 *next_;
};

inline constexpr ub4 longest_value = 5; // one byte, and a digit each in four

/// The key of a decimal value of `length` bytes: seven bits a digit, and seven more for each place that the exponent
/// leaves after the digits. Of lengths that no key has no byte is read.
template <bool zero_has_key>
[[gnu::always_inline]] inline Key decimal_key(const ub1 *value, ub4 length) {
  constexpr ub1 zero = 128, least_positive = 192;
  const NoEntry nothing;
  const bool has_length = length - 1 < longest_value;
  const ub1 *bytes = has_length ? value : nothing.bytes;
  const ub4 digits = has_length ? length - 1 : 0;
  const ub4 first = bytes[0];
  // With more digits than the exponent says there is a fraction.
  const bool is_integer = first >= least_positive && digits <= first - least_positive;
  const bool is_zero = zero_has_key && length == 1 && first == zero;
  ub8 number = 0;
  for (ub4 digit = 1; digit < longest_value; ++digit) {
    const bool is_there = digit <= digits;
    const auto value_of_digit = static_cast<int8_t>(bytes[is_there ? digit : 0] - 1);
    const ub8 with_digit = (number << 7) + static_cast<ub8>(sb8{value_of_digit});
    number = is_there ? with_digit : number;
  }
  // The shift wraps above nine places, and the tables of hosts are built that way.
  const ub4 places = (first + 65 - length) & 255;
  number <<= ((places & 31) * 8 - places) & 63;
  return has_length && (is_integer || is_zero) ? number : no_key;
}

/// `cla`: big-endian offsets into the values, the first of them for `first_row`.
class OffsetRows {
public:
  static constexpr bool refuses_selection = true;

  OffsetRows(const mipo_vec *column, const mipo_call_ctx *ctx)
      : offsets_(static_cast<const ub1 *>(column->data)), values_(static_cast<const ub1 *>(ctx->xlate_values)) {}

  [[gnu::always_inline]] Key next() {
    const ub4 start = simd::read_big_endian<ub4>(offsets_);
    offsets_ += sizeof(ub4);
    const ub4 end = simd::read_big_endian<ub4>(offsets_);
    return decimal_key<true>(values_ + start, static_cast<ub2>(end - start));
  }

private:
  const ub1 *offsets_;
  const ub1 *values_;
};

/// `const`: values of one length, end to end from row 0 on.
class ConstantLengthRows {
public:
  static constexpr bool refuses_selection = true;

  ConstantLengthRows(const mipo_vec *, const mipo_call_ctx *ctx)
      : length_(ctx->xlate_form & 15),
        value_(static_cast<const ub1 *>(ctx->xlate_values) + size_t{ctx->first_row} * length_) {}

  [[gnu::always_inline]] Key next() {
    const Key key = decimal_key<false>(value_, length_);
    value_ += length_;
    return key;
  }

private:
  ub4 length_;
  const ub1 *value_;
};

/// `sep`: lengths less one in a stream of packed numbers, indexed from row 0; the values from `first_row` on, end to
/// end or at a fixed stride.
class SeparateLengthRows {
public:
  static constexpr bool refuses_selection = false; // takes all rows whatever is selected

  SeparateLengthRows(const mipo_vec *column, const mipo_call_ctx *ctx)
      : lengths_(static_cast<const ub1 *>(column->data)),
        length_bits_(ctx->xlate_form & 15),
        bit_(ub8{ctx->first_row} * length_bits_),
        value_(static_cast<const ub1 *>(ctx->xlate_values)),
        stride_(static_cast<int16_t>(ctx->xlate_form) > 15 ? ctx->xlate_form >> 4 : 0) {}

  [[gnu::always_inline]] Key next() {
    const ub1 *words = lengths_ + (bit_ >> 5) * sizeof(ub4);
    const ub8 window = ub8{simd::read_big_endian<ub4>(words)} << 32 | simd::read_big_endian<ub4>(words + sizeof(ub4));
    const auto length = static_cast<ub4>((window << (bit_ & 31)) >> 1 >> (63 - length_bits_)) + 1;
    bit_ += length_bits_;
    const Key key = decimal_key<true>(value_, length);
    value_ += stride_ != 0 ? stride_ : length;
    return key;
  }

private:
  const ub1 *lengths_;
  ub4 length_bits_;
  ub8 bit_;
  const ub1 *value_;
  ub4 stride_;
};

} // namespace mipo::xlate

#endif
