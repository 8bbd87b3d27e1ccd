// Columns of byte strings in the shapes that stream kernels read, together with their memory; and reading them back.
#ifndef MIPO_HOST_VALUE_STREAM_H
#define MIPO_HOST_VALUE_STREAM_H

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "mipo/host/aligned_buffer.h"
#include "mipo/host/bit_vector.h"
#include "mipo/vec.h"

namespace mipo::host {

/// How the rows of a stream lie.
enum class RowShape : ub4 {
  fixed = MIPO_FIXED,                 ///< back to back, all of one width
  lengths_ahead = MIPO_LV,            ///< back to back, each after its length
  lengths_apart = MIPO_LV_SEP,        ///< back to back, the lengths in an array of their own
  addresses = MIPO_LP,                ///< records of length and address
  addresses_and_lengths = MIPO_LP_SEP ///< an array of addresses and one of lengths
};

/// All of them.
inline constexpr RowShape row_shapes[] = {RowShape::fixed, RowShape::lengths_ahead, RowShape::lengths_apart,
                                          RowShape::addresses, RowShape::addresses_and_lengths};

/// Longest value, in bytes, of all shapes but `fixed`.
inline constexpr std::size_t longest_stream_value = 0xffff;

struct StreamForm {
  RowShape shape = RowShape::fixed;
  std::size_t width = 0; ///< of `fixed`: bytes of every value, 1 to 2^29 - 1; of no meaning otherwise

  /// Whether a row's place follows from the lengths of the rows before it.
  bool is_walked() const noexcept { return shape == RowShape::lengths_ahead || shape == RowShape::lengths_apart; }
};

/// The form that a vector's context tells. Throws ArgumentError if it is none of these.
StreamForm stream_form(const mipo_vec &vec);

/// A stream of values. Owns all its memory, the bytes that addresses point to too; the records stay where they are when
/// the stream is moved.
class ValueStream {
public:
  /// Copies `values`. Throws ArgumentError if the form has no such width or if there are more rows than a vector can
  /// have (2^32 - 1), EncodingError if a value is longer than `longest_stream_value` or not as wide as the form.
  ValueStream(StreamForm form, std::span<const std::string_view> values);

  /// The record to hand to kernels, which only read it. Lives as long as the stream.
  const mipo_vec &vec() const noexcept { return records_->vec; }
  const StreamForm &form() const noexcept { return form_; }
  ub4 rows() const noexcept { return vec().nrows; }
  /// Bytes that rows, lengths and addresses take, with what the addresses point to.
  std::size_t stored_bytes() const noexcept { return data_.size() + lengths_.size() + values_.size(); }

private:
  friend class StreamOutput;
  struct Records {
    mipo_vec vec{};
    mipo_enc_ctx enc_ctx{};
  };
  ValueStream(StreamForm form, std::span<const std::string_view> values, std::size_t value_bytes);
  ValueStream(StreamForm form, std::size_t rows, std::size_t data_bytes, std::size_t value_bytes);

  StreamForm form_;
  AlignedBuffer data_, lengths_, values_;
  std::unique_ptr<Records> records_;
};

/// Room for the rows that a kernel copies. Of the shapes with addresses it takes these only: the bytes stay where they
/// are.
class StreamOutput {
public:
  /// Room for `rows` rows and, where they lie back to back with lengths, for `bytes` bytes, lengths before rows
  /// included. Throws ArgumentError if the form has no such width.
  StreamOutput(StreamForm form, ub4 rows, std::size_t bytes = 0);

  /// To hand to a kernel. Lives as long as the output.
  mipo_vec *vec() noexcept { return &stream_.records_->vec; }
  /// What the last kernel wrote is in `nrows` and `data_bytes`.
  const mipo_vec &vec() const noexcept { return stream_.vec(); }
  const StreamForm &form() const noexcept { return stream_.form(); }
  ub4 row_capacity() const noexcept { return row_capacity_; }
  std::size_t byte_capacity() const noexcept { return byte_capacity_; }
  /// Makes all of the room free again.
  void clear() noexcept;

private:
  ub4 row_capacity_;
  std::size_t byte_capacity_;
  ValueStream stream_;
};

/// The rows of a stream from first to last. The views are of the stream's own memory, or what its addresses lead to.
class StreamReader {
public:
  /// Of the `vec.nrows` rows. Throws ArgumentError if the vector is no stream.
  explicit StreamReader(const mipo_vec &vec);

  ub4 rows_left() const noexcept { return rows_left_; }
  /// The next row. There must be one.
  std::string_view next() noexcept;

private:
  StreamForm form_;
  ub4 rows_left_;
  const std::byte *data_;
  const std::byte *lengths_;
};

/// All rows of a stream.
std::vector<std::string_view> read_rows(const mipo_vec &vec);

/// Sets the bits of the rows that are the same in both streams, and returns their count. Throws ArgumentError if the
/// streams differ in form or in the number of rows.
ub4 equal_rows(const Library &library, BitVector &equal, const mipo_vec &left, const mipo_vec &right);

} // namespace mipo::host

#endif
