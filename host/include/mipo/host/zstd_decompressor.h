// Compressed column storage on zstd. Only in builds with MIPO_HOST_FILES.
#ifndef MIPO_HOST_ZSTD_DECOMPRESSOR_H
#define MIPO_HOST_ZSTD_DECOMPRESSOR_H

#include <cstddef>
#include <span>
#include <vector>

#include "mipo/open.h"

namespace mipo::host {

/// Compresses to the stream that ZstdDecompressor reads: the length of what follows as 8 little-endian bytes, then one
/// zstd frame with a checksum. The length is needed because a kernel tells the decompressor where a stream begins, but
/// not where it ends. Throws CompressionError.
std::vector<std::byte> zstd_compress(std::span<const std::byte> bytes);

/// The decompressor to hand to CallContext. Stateless: one may serve any number of threads.
class ZstdDecompressor : public mipo_decompressor {
public:
  ZstdDecompressor() noexcept;
};

} // namespace mipo::host

#endif
