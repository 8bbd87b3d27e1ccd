// Bit vectors as values: one bit a row, low bit first in 64-bit words, a set bit means selected.
#ifndef MIPO_HOST_BIT_VECTOR_H
#define MIPO_HOST_BIT_VECTOR_H

#include <array>
#include <span>
#include <utility>

#include "mipo/host/aligned_buffer.h"
#include "mipo/host/library.h"
#include "mipo/iterator.h"

namespace mipo::host {

/// A bit vector that owns its words. They are aligned to 64 bytes and followed by at least one spare word. The bits
/// at and above size() are zero after every operation declared here; a kernel keeps them zero too. The words stay where
/// they are when the vector is moved.
class BitVector {
public:
  BitVector() noexcept = default;
  /// `size` bits, all `value`.
  explicit BitVector(ub8 size, bool value = false);
  /// The first `size` bits of words that are there already; those above them must be zero.
  BitVector(AlignedBuffer words, ub8 size) noexcept : words_(std::move(words)), size_(size) {}
  BitVector(const BitVector &) = default;
  BitVector(BitVector &&other) noexcept;
  BitVector &operator=(const BitVector &) = default;
  BitVector &operator=(BitVector &&other) noexcept;
  ~BitVector() = default;

  ub8 size() const noexcept { return size_; }
  /// Words in use: (size() + 63) / 64.
  ub8 word_count() const noexcept { return (size_ + 63) / 64; }
  ub8 *words() noexcept { return reinterpret_cast<ub8 *>(words_.data()); }
  const ub8 *words() const noexcept { return reinterpret_cast<const ub8 *>(words_.data()); }

  /// `bit` must be below size().
  bool test(ub8 bit) const noexcept { return (words()[bit >> 6] >> (bit & 63) & 1) != 0; }
  void set(ub8 bit, bool value = true) noexcept;
  /// Sets all bits to `value`.
  void fill(bool value) noexcept;
  /// Number of set bits.
  ub8 count() const noexcept;
  /// Zeroes the bits at and above size(), for whoever wrote to words() and left something there.
  void clear_spare_bits() noexcept;

  friend bool operator==(const BitVector &a, const BitVector &b) noexcept;

private:
  AlignedBuffer words_;
  ub8 size_ = 0;
};

/// Set algebra by the library's word entries. The operands must have equal sizes (else ArgumentError); `result` takes
/// that size and may be one of the operands. Each returns the number of set bits of the result.
ub4 bit_and(const Library &library, BitVector &result, const BitVector &a, const BitVector &b);
ub4 bit_or(const Library &library, BitVector &result, const BitVector &a, const BitVector &b);
ub4 bit_xor(const Library &library, BitVector &result, const BitVector &a, const BitVector &b);
/// `a` without the bits of `b`.
ub4 bit_and_not(const Library &library, BitVector &result, const BitVector &a, const BitVector &b);
ub4 bit_not(const Library &library, BitVector &result, const BitVector &a);

/// The numbers of the set bits in ascending order, in batches, by the library's batch extractor:
///
///   RowReader rows(library, bits);
///   for (auto batch = rows.next(); !batch.empty(); batch = rows.next()) ...
///
/// Library and vector must outlive the reader, and the vector must not change under it.
class RowReader {
public:
  static constexpr std::size_t batch_rows = 1024;

  /// Begins at bit `first`.
  RowReader(const Library &library, const BitVector &bits, ub8 first = 0);
  RowReader(const RowReader &) = delete;
  RowReader &operator=(const RowReader &) = delete;

  /// The next row numbers, at most `batch_rows` of them; empty at the end. They live until the next call.
  std::span<const ub4> next();

private:
  decltype(mipo_specialized_ctx::mipo_lbiwvones_dydi) ones_;
  mipo_lbiv_ictx iterator_{};
  std::array<ub4, batch_rows> rows_;
};

} // namespace mipo::host

#endif
