// Columns, constants and results as kernels take them, together with their memory.
#ifndef MIPO_HOST_COLUMN_H
#define MIPO_HOST_COLUMN_H

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "mipo/host/bit_vector.h"
#include "mipo/host/dictionary.h"
#include "mipo/host/encoding.h"
#include "mipo/keys.h"
#include "mipo/open.h"
#include "mipo/vec.h"

namespace mipo::host {

/// Compresses the bytes of a column, for instance `zstd_compress`.
using Compressor = std::function<std::vector<std::byte>(std::span<const std::byte>)>;

struct ColumnOptions {
  std::optional<Encoding> encoding; ///< nothing: chosen from the data (encoding_choice.h), compressed with a compressor
  Compressor compressor;            ///< what a compressed encoding takes; kernels decompress the column on first use
};

/// Bytes that a column takes, without slack and without what the kit keeps to find single rows.
struct StoredSize {
  std::size_t values = 0;     ///< codes or numbers; of a compressed column, the compressed stream
  std::size_t lengths = 0;    ///< counts of trailing zeros, control bytes
  std::size_t runs = 0;       ///< lengths or starts of runs
  std::size_t validity = 0;   ///< bits of the rows, or runs, that have a value
  std::size_t dictionary = 0; ///< values of the dictionary

  std::size_t column() const noexcept { return values + lengths + runs + validity; }
  std::size_t total() const noexcept { return column() + dictionary; }
};

/// A constant of a kernel: a vector of one row.
class Constant {
public:
  /// Of a dictionary column: a cell of 64 bits with the code zero-extended, as kernels of all widths need it.
  explicit Constant(ub8 code) noexcept : Constant(code, 0, nullptr) {}
  /// `cell` holds the value's bytes as they are stored, `count` what a column stores beside each value. Kernels take
  /// the value's width from `enc_ctx`, which must outlive the constant.
  Constant(ub8 cell, ub1 count, mipo_enc_ctx *enc_ctx) noexcept;
  Constant(const Constant &other) noexcept : Constant(other.cell_, other.count_, other.vec_.enc_ctx) {}
  Constant &operator=(const Constant &other) noexcept;

  /// Lives as long as the constant.
  const mipo_vec &vec() const noexcept { return vec_; }

private:
  ub8 cell_;
  ub1 count_;
  mipo_vec vec_{};
};

/// A column in one of the encodings that predicate kernels read. Keeps all its memory; the records stay where they are
/// when the column is moved.
///
/// Every value has a code, and kernels compare rows as the codes compare: see domain(). Rows without value have code 0
/// where has_null() says so. In columns of numbers they hold the least code and are told by validity(), which is the
/// filter of vec(): no predicate lets them in, and so they are the rows that `>= first code` leaves out.
class EncodedColumn {
public:
  /// One code of `dictionary` a row. A form that stores numbers takes them from the dictionary and does not keep it.
  /// Throws ArgumentError if a code is not in the dictionary or if there are more rows than a vector can have
  /// (2^32 - 1), EncodingError if the values cannot be stored in the encoding that is asked for.
  EncodedColumn(std::span<const ub4> codes, Dictionary dictionary, const ColumnOptions &options = {});
  EncodedColumn(EncodedColumn &&) noexcept;
  EncodedColumn &operator=(EncodedColumn &&) noexcept;
  ~EncodedColumn();

  /// Looks at every byte of a column whose memory comes from a file, when it is first called, and throws
  /// ColumnFileError if anything there would lead a kernel or a reader astray. Call it before rows are read; there is
  /// nothing to do for columns that were encoded in this process. May be called by several threads at once.
  void check() const;
  /// The same of the dictionary alone: enough before domain() is asked for values and codes of constants.
  void check_domain() const;

  /// The record to hand to kernels. It and all that it points to live as long as the column. Kernels write the
  /// decompressed copy of a compressed column and the run bits of a run-length one, so calls on one such column must
  /// not run at once.
  const mipo_vec &vec() const noexcept;
  /// The encoding, with its width.
  const Encoding &encoding() const noexcept;
  /// What the codes stand for.
  const Domain &domain() const noexcept;
  const ValueType &type() const noexcept { return domain().type(); }
  bool has_dictionary() const noexcept;
  /// Throws ArgumentError if the column has none.
  const Dictionary &dictionary() const;

  ub4 rows() const noexcept;
  ub4 null_rows() const noexcept;
  /// Bits that a value takes in the stream, of dynamic-packed columns at most.
  int bits() const noexcept;
  /// Whether runs of equal rows are stored once. Kernels answer for runs then and the column's `burst` makes rows of
  /// them: a selection of rows cannot be handed to them, but has to be applied to their result.
  bool has_runs() const noexcept { return encoding().runs != RunForm::none; }
  /// Values in the stream: runs, or rows if there are no runs.
  ub4 stored_values() const noexcept;
  StoredSize stored_size() const noexcept;
  /// Bytes of the column as stored, without dictionary.
  std::size_t stored_bytes() const noexcept { return stored_size().column(); }
  bool is_compressed() const noexcept { return encoding().compressed; }
  /// Whether the decompressed copy exists.
  bool is_decompressed() const noexcept;
  /// Makes the decompressed copy, as the first kernel would; nothing to do if the column is plain or the copy exists.
  /// Throws CompressionError.
  void decompress(mipo_decompressor &decompressor) const;
  /// Gives the decompressed copy back. Needed after a decompression that failed or was left by an exception: the copy
  /// is not whole then, and the next kernel would take it for the column.
  void drop_decompressed() noexcept;

  /// Code of a row below rows(); the least one if the row has no value and the column no code for that. Takes the
  /// time of a few loads, in run-length columns of a binary search. The column must be plain or decompressed.
  ub8 code(ub4 row) const noexcept;
  /// Codes of many rows, ascending ones, with `no_value` for those that have none: a fraction of a nanosecond each
  /// where places of whole bytes are stored. `codes` must have as much room as there are rows.
  void read_codes(std::span<const ub4> rows, ub8 no_value, std::span<ub8> codes) const;
  /// Whether a row has a value. The column must be plain or decompressed.
  bool has_value(ub4 row) const noexcept;
  /// Appends the canonical text of a row's value. False, and nothing appended, if it has none.
  bool append_value(std::string &out, ub4 row) const;
  /// Of a column of numbers: the stored values that are some row's value, one bit for each. Null if all rows have
  /// values, or if the column has a code for those that have none.
  const BitVector *validity() const noexcept;

  /// Key of the column's own kernel of an operation: the one that passes over NULL rows where the operation
  /// has one.
  ub4 key(mipo_operation operation) const noexcept;
  /// The same in another variant, for instance MIPO_VARIANT_PLAIN to look for code 0 in a column that has_null().
  ub4 key(mipo_operation operation, mipo_variant variant) const noexcept;
  /// A code as a constant of the column's predicate kernels. It must be a code of the domain, or 0.
  Constant constant(ub8 code) const noexcept;

private:
  friend struct ColumnParts;
  struct Storage;
  explicit EncodedColumn(std::unique_ptr<Storage> storage) noexcept;
  std::unique_ptr<Storage> storage_;
};

/// What a predicate, a translation or a Bloom filter writes: a bit vector over `rows` rows, and the record that points
/// to it. After its words is the spare one that the expansion of runs may touch.
class Result {
public:
  explicit Result(ub4 rows);
  Result(Result &&) noexcept = default;
  Result &operator=(Result &&) noexcept = default;

  /// To hand to a kernel. Lives as long as the result.
  mipo_vec *vec() noexcept { return &vec_; }
  ub4 rows() const noexcept { return vec_.nrows; }
  /// Set bits, as the last kernel counted them.
  ub4 count() const noexcept { return vec_.nset; }
  BitVector &bits() noexcept { return bits_; }
  const BitVector &bits() const noexcept { return bits_; }
  /// First and last set bit as kernels that look rows up in tables report them: of translation and of Bloom filters;
  /// 2^32 - 1 if no bit is set.
  ub4 first_row() const noexcept { return ends_[0]; }
  ub4 last_row() const noexcept { return ends_[1]; }

private:
  BitVector bits_;
  std::unique_ptr<ub4[]> ends_; // where the record's `data` points, also after a move
  mipo_vec vec_{};
};

} // namespace mipo::host

#endif
