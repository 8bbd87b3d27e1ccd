// Streams of short values that share their first bytes in groups of sixteen, as sorted keys do.
#ifndef MIPO_HOST_PREFIX_STREAM_H
#define MIPO_HOST_PREFIX_STREAM_H

#include <memory>
#include <span>
#include <vector>

#include "mipo/host/aligned_buffer.h"
#include "mipo/host/library.h"
#include "mipo/vec.h"

namespace mipo::host {

/// Where a decoded value lies, as kernels that take row references read it.
struct RowReference {
  ub8 address;
  ub2 length;
  ub2 zero;
  ub4 unused; ///< no kernel writes it
};
static_assert(sizeof(RowReference) == 16);

/// Values of one width, stored in groups of 16 rows: a group holds the longest prefix that its values have in common
/// once, and what follows it for each. Owns its memory; the records stay where they are when the stream is moved.
class PrefixStream {
public:
  static constexpr std::size_t group_rows = 16;
  static constexpr unsigned widest = 8;

  /// `values` lie back to back, `width` bytes each. Throws ArgumentError if the width is not 1 to 8 or does not divide
  /// the size, EncodingError if there are more than 2^32 - 1 rows or the stream would pass 4 GiB.
  PrefixStream(std::span<const std::byte> values, unsigned width);

  /// The record to hand to kernels. Lives as long as the stream.
  const mipo_vec &vec() const noexcept { return records_->vec; }
  ub4 rows() const noexcept { return records_->enc_ctx.prefix_rows; }
  unsigned width() const noexcept { return records_->enc_ctx.prefix_width; }
  std::size_t stored_bytes() const noexcept { return groups_.size() + offsets_.size(); }

  /// All values back to back, by the library's kernel. `references`, if given, becomes one element a row, which points
  /// into the result. Throws MissingKernel.
  std::vector<std::byte> decode(const Library &library, std::vector<RowReference> *references = nullptr) const;
  /// Writes the `width()` bytes of a row below rows() to `out`, without a kernel.
  void value(ub4 row, std::byte *out) const noexcept;

private:
  struct Records {
    mipo_vec vec{};
    mipo_enc_ctx enc_ctx{};
  };

  AlignedBuffer groups_, offsets_;
  std::unique_ptr<Records> records_;
};

} // namespace mipo::host

#endif
