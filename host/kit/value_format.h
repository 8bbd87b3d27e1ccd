// How the values of a column are stored: what is written, how one of them is found again, and what a constant looks
// like that kernels compare them with.
//
//   rank    number of a value in the dictionary that the column is made from
//   code    what conditions are asked in (Domain): the rank, or a number made unsigned
//   cell    what is stored: the code, or a dynamic-packed number
#ifndef MIPO_HOST_KIT_VALUE_FORMAT_H
#define MIPO_HOST_KIT_VALUE_FORMAT_H

#include <memory>
#include <span>
#include <vector>

#include "mipo/host/aligned_buffer.h"
#include "mipo/host/column.h"
#include "number_range.h"

namespace mipo::host {

/// The codes of a column's values, one behind the other: ranks and what stands for each of them.
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
  std::vector<ub8> positions; ///< of dynamic-packed values: where every so many of them begin
};

class ValueFormat {
public:
  /// For the values of a dictionary. Throws EncodingError if they cannot be stored so.
  ValueFormat(const Encoding &encoding, const Dictionary &dictionary);

  bool holds_numbers() const noexcept { return form_ != ValueForm::dictionary; }
  /// The domain of a column of numbers.
  NumberRange number_range(const Dictionary &dictionary) const;

  /// As an encoding says it; stored a value, at most; of the kernels that read the column.
  int encoding_bits() const noexcept { return bits_; }
  int stored_bits() const noexcept { return bits_ - 8 * cut_bytes_; }
  int kernel_bits() const noexcept;
  mipo_family family() const noexcept;
  mipo_variant variant(bool has_null) const noexcept;
  /// Shape flags of mipo_enc_ctx.
  ub4 flags() const noexcept;
  /// Bytes behind the values that kernels may read.
  std::size_t slack() const noexcept;

  std::size_t value_bytes(const CodeSequence &codes) const;
  std::size_t length_bytes(std::size_t values) const noexcept;
  ValueStreams store(const CodeSequence &codes) const;
  /// Code of value `i`; `values` points to the stream, decompressed.
  ub8 code(const ValueStreams &streams, const void *values, std::size_t i) const noexcept;
  Constant constant(ub8 code, mipo_enc_ctx *enc_ctx) const noexcept;

private:
  bool is_dynamic() const noexcept {
    return form_ == ValueForm::dynamic_packed || form_ == ValueForm::dynamic_packed_tz;
  }
  bool cuts_zeros() const noexcept {
    return form_ == ValueForm::trailing_zero || form_ == ValueForm::trailing_zero_const;
  }
  unsigned count(ub8 code) const noexcept;

  ValueForm form_;
  int bits_;
  int cut_bytes_ = 0; // trailing zero bytes that no value stores
};

} // namespace mipo::host

#endif
