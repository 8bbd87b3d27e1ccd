// How the values of a column are stored: what is written, how one of them is found again, and what a constant looks
// like that kernels compare them with.
//
//   rank    number of a value in the dictionary that the column is made from
//   code    what conditions are asked in (Domain): the rank, or a number made unsigned
//   cell    what is stored: the code, or a dynamic-packed number
#ifndef MIPO_HOST_COLUMN_VALUE_FORMAT_H
#define MIPO_HOST_COLUMN_VALUE_FORMAT_H

#include <memory>
#include <span>
#include <vector>

#include "host/types/number_range.h"
#include "mipo/host/aligned_buffer.h"
#include "mipo/host/column.h"

namespace mipo::host {

/// The codes of a column's values, one after the other: ranks and what stands for each of them.
class CodeSequence {
public:
  /// No table: ranks are codes.
  CodeSequence(std::span<const ub4> ranks, std::span<const ub8> code_of_rank)
      : ranks_(ranks), code_of_rank_(code_of_rank) {}

  std::size_t size() const noexcept { return ranks_.size(); }
  ub8 operator[](std::size_t i) const noexcept { return code_of_rank_.empty() ? ranks_[i] : code_of_rank_[ranks_[i]]; }

private:
  std::span<const ub4> ranks_;
  std::span<const ub8> code_of_rank_;
};

/// Values as they are stored: `values` goes into a vector's `data`, `lengths` into its `lens`.
struct ValueStreams {
  AlignedBuffer values, lengths;
  AlignedBuffer positions; ///< of dynamic-packed values: where every so many of them begin, ub8
};

class ValueFormat {
public:
  /// For the values of a dictionary. Throws EncodingError if they cannot be stored so.
  ValueFormat(const Encoding &encoding, const Dictionary &dictionary);
  /// As another format of this encoding says it of itself. Throws EncodingError if there is no such width.
  ValueFormat(const Encoding &encoding, int cut_bytes);

  bool holds_numbers() const noexcept { return form_ != ValueForm::dictionary; }
  /// The domain of a column of numbers.
  NumberRange number_range(const Dictionary &dictionary) const;
  NumberRange number_range(const ValueType &type, ub8 value_count, ub8 first_code, ub8 code_count) const;

  /// As an encoding says it; stored a value, at most; of the kernels that read the column.
  int encoding_bits() const noexcept { return bits_; }
  int stored_bits() const noexcept { return bits_ - 8 * cut_bytes_; }
  /// Trailing zero bytes that no value stores, and how many there may be at most.
  int cut_bytes() const noexcept { return cut_bytes_; }
  int most_cut_bytes() const noexcept;
  bool is_dynamic() const noexcept {
    return form_ == ValueForm::dynamic_packed || form_ == ValueForm::dynamic_packed_tz;
  }
  int kernel_bits() const noexcept;
  mipo_family family() const noexcept;
  mipo_variant variant(bool has_null) const noexcept;
  /// Shape flags of mipo_enc_ctx.
  ub4 flags() const noexcept;
  /// Bytes after the values that kernels may read.
  std::size_t slack() const noexcept;

  std::size_t value_bytes(const CodeSequence &codes) const;
  /// The same where all values take as many bits: not of dynamic-packed ones.
  std::size_t value_bytes(std::size_t values) const noexcept {
    return (values * static_cast<std::size_t>(stored_bits()) + 7) / 8;
  }
  std::size_t length_bytes(std::size_t values) const noexcept;
  std::size_t position_bytes(std::size_t values) const noexcept;
  /// Bytes of dynamic-packed value `i`, and whether `positions` tells where it begins.
  int dynamic_bytes(const std::byte *lengths, std::size_t i) const noexcept;
  static bool has_position(std::size_t i) noexcept;
  /// Dynamic-packed values whose lengths stand in one byte: 8, 4 or 2. A position comes at multiples of it.
  std::size_t values_per_control() const noexcept;
  /// What is stored beside a code: the count of its trailing zero bytes, where the form has one.
  unsigned count(ub8 code) const noexcept;
  unsigned stored_count(const std::byte *lengths, std::size_t i) const noexcept;
  ValueStreams store(const CodeSequence &codes) const;
  /// Code of value `i`; `values` points to the stream, decompressed.
  ub8 code(const ValueStreams &streams, const void *values, std::size_t i) const noexcept;
  /// The same of the values at these places, as many.
  void read_codes(const ValueStreams &streams, const void *values, std::span<const ub4> places, ub8 *codes) const;
  Constant constant(ub8 code, mipo_enc_ctx *enc_ctx) const noexcept;

private:
  ub8 bias() const noexcept;
  bool cuts_zeros() const noexcept {
    return form_ == ValueForm::trailing_zero || form_ == ValueForm::trailing_zero_const;
  }

  ValueForm form_;
  int bits_;
  int cut_bytes_ = 0; // trailing zero bytes that no value stores
};

} // namespace mipo::host

#endif
