// Columns, constants and results as kernels take them, with the memory behind them.
#ifndef MIPO_HOST_COLUMN_H
#define MIPO_HOST_COLUMN_H

#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "mipo/host/bit_vector.h"
#include "mipo/host/dictionary.h"
#include "mipo/keys.h"
#include "mipo/vec.h"

namespace mipo::host {

/// Compresses the bytes of a column, for instance `zstd_compress`.
using Compressor = std::function<std::vector<std::byte>(std::span<const std::byte>)>;

struct ColumnOptions {
  int bits = 0;          ///< width of a code: 8, 16, 32 or 64; 0 = the narrowest that holds all codes
  Compressor compressor; ///< if there is one, the column is stored compressed and kernels decompress it on first use
};

/// A column of dictionary codes: an array of big-endian integers, and the dictionary. Owns all its memory; the records
/// stay where they are when the column is moved.
class DictionaryColumn {
public:
  /// One code a row. Throws ArgumentError if a code is not in the dictionary or does not fit the width, or if there are
  /// more rows than a vector can have (2^32 - 1).
  DictionaryColumn(std::span<const ub4> codes, Dictionary dictionary, const ColumnOptions &options = {});
  DictionaryColumn(DictionaryColumn &&) noexcept;
  DictionaryColumn &operator=(DictionaryColumn &&) noexcept;
  ~DictionaryColumn();

  /// The record to hand to kernels. It and all that it points to live as long as the column. Kernels on a compressed
  /// column write its decompressed copy, so calls on one such column must not run at once.
  const mipo_vec &vec() const noexcept;
  const Dictionary &dictionary() const noexcept;
  const ValueType &type() const noexcept { return dictionary().type(); }
  ub4 rows() const noexcept;
  /// Width of a code.
  int bits() const noexcept;
  /// Bytes of codes, as stored.
  std::size_t stored_bytes() const noexcept;
  bool is_compressed() const noexcept;
  /// Whether the decompressed copy exists.
  bool is_decompressed() const noexcept;
  /// Gives the decompressed copy back. Needed after a decompression that failed or was left by an exception: the copy
  /// is not whole then, and the next kernel would take it for the column.
  void drop_decompressed() noexcept;

  /// Code of a row below rows(). The column must be plain or decompressed.
  ub8 code(ub4 row) const noexcept;
  /// Key of a kernel of the `dict` family on this column.
  ub4 key(mipo_operation operation, mipo_variant variant = MIPO_VARIANT_PLAIN) const noexcept {
    return column_key(operation, MIPO_FAMILY_DICT, bits(), variant);
  }

private:
  struct Storage;
  std::unique_ptr<Storage> storage_;
};

/// A constant of a kernel: a vector of one row whose cell of 64 bits holds the value zero-extended, as kernels of all
/// widths need it.
class Constant {
public:
  explicit Constant(ub8 value) noexcept;
  Constant(const Constant &other) noexcept : Constant(other.value_) {}
  Constant &operator=(const Constant &other) noexcept {
    value_ = other.value_;
    return *this;
  }

  ub8 value() const noexcept { return value_; }
  /// Lives as long as the constant.
  const mipo_vec &vec() const noexcept { return vec_; }

private:
  ub8 value_;
  mipo_vec vec_{};
};

/// What a predicate writes: a bit vector over `rows` rows, and the record that points to it.
class Result {
public:
  explicit Result(ub4 rows);
  Result(Result &&) noexcept = default;
  Result &operator=(Result &&) noexcept = default;

  /// To hand to a kernel. Lives as long as the result.
  mipo_vec *vec() noexcept { return &vec_; }
  /// Set bits, as the last kernel counted them.
  ub4 count() const noexcept { return vec_.nset; }
  BitVector &bits() noexcept { return bits_; }
  const BitVector &bits() const noexcept { return bits_; }

private:
  BitVector bits_;
  mipo_vec vec_{};
};

} // namespace mipo::host

#endif
