// Hashes of columns, and Bloom filters over them: which rows of one column may have their value in another one. Only in
// builds with MIPO_HOST_FILES.
#ifndef MIPO_HOST_BLOOM_FILTER_H
#define MIPO_HOST_BLOOM_FILTER_H

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "mipo/host/aligned_buffer.h"
#include "mipo/host/column.h"
#include "mipo/host/context.h"
#include "mipo/host/library.h"

namespace mipo::host {

/// XXH3 of 64 bits, as the entry mipo_hash_dydi calls it.
ub8 xxh3_hash(const void *value, ub8 length, ub8 seed);

/// A hash for each row. The library writes them as native words and reads big-endian ones: the kit keeps the latter.
class HashedRows {
public:
  /// By value: rows of two columns with equal values have equal hashes, however the columns are encoded. Texts and byte
  /// strings of the five shapes of value_stream.h are hashed by their bytes, numbers by their digits (2 as 2.00), times
  /// by their microseconds; a null row by no bytes. The column must be plain or decompressed.
  HashedRows(const Library &library, const EncodedColumn &column, ub8 seed = 0);
  /// Byte strings: the rows of a vector in one of the seven forms that mipo_hash_dydi takes, by the bytes that are
  /// stored. Throws MissingKernel, and ArgumentError for a vector in none of the forms, of runs, compressed, or of
  /// codes whose dictionary has no symbols; an EncodedColumn of those has its own constructor.
  HashedRows(const Library &library, const mipo_vec &byte_strings, ub8 seed = 0);

  ub4 rows() const noexcept { return records_->vec.nrows; }
  ub8 hash(ub4 row) const noexcept;
  /// To hand to mipo_bloom_dydi; lives as long as this.
  const mipo_vec &vec() const noexcept { return records_->vec; }

private:
  friend class BloomFilter;
  struct Records {
    mipo_enc_ctx enc_ctx;
    mipo_vec vec;
  };
  // What was hashed: rows are comparable if it is the same.
  struct Source {
    enum class Kind { bytes, number, date_time };
    Kind kind = Kind::bytes;
    ub4 fixed_bytes = 0; // of byte strings that all have this length; else 0
    ub8 seed = 0;

    bool is_comparable_to(const Source &other) const noexcept;
    std::string text() const;
  };

  HashedRows(ub4 rows, Source source);
  void hash_strings(const Library &library, const mipo_vec &strings);

  AlignedBuffer hashes_;
  std::unique_ptr<Records> records_;
  Source source_;
};

struct BloomOptions {
  /// Wanted part of rows without a counterpart that pass all the same, above 0 and below 1. As one bit is looked at for
  /// each row, 1 % takes about 100 bits a key.
  double false_positives = 0.05;
  /// Bytes of a segment, a power of two; 0 for one array. Segments may be added to a filter without moving the others.
  std::size_t segment_bytes = 0;
};

class BloomFilter {
public:
  /// Of the hashes of all keys, each once: more of them make the filter larger than it need be. Sizes are powers of
  /// two, 8 bytes to 512 MiB; a filter that would be larger lets more rows pass. Throws ArgumentError for options out
  /// of range.
  explicit BloomFilter(std::span<const ub8> hashes, const BloomOptions &options = {});
  /// Of rows that may have the same key.
  explicit BloomFilter(const HashedRows &rows, const BloomOptions &options = {});

  std::size_t bytes() const noexcept { return bits_.size(); }
  /// The part of all hashes that pass.
  double density() const noexcept;
  /// The rows that may have their value among the keys, of those that are selected in the context. Throws ArgumentError
  /// if the filter was made from rows of another kind (texts, numbers, byte strings of another length) or with another
  /// seed: their hashes of equal values would differ; or if the selection is one of another number of rows.
  Result probe(const Library &library, CallContext &context, const HashedRows &rows) const;
  /// To hand to mipo_bloom_dydi; lives as long as the filter.
  const mipo_vec &vec() const noexcept { return records_->vec; }

private:
  struct Records {
    mipo_enc_ctx enc_ctx;
    mipo_vec vec;
  };
  AlignedBuffer bits_;
  std::vector<const std::byte *> segments_;
  std::unique_ptr<Records> records_;
  std::optional<HashedRows::Source> source_; ///< nothing if it was made from hashes
};

} // namespace mipo::host

#endif
