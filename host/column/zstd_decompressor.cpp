#include "mipo/host/zstd_decompressor.h"

#include <zstd.h>

#include <bit>
#include <cstring>
#include <memory>
#include <string>

#include "mipo/host/errors.h"
#include "mipo/integers.h"

namespace mipo::host {
namespace {

static_assert(std::endian::native == std::endian::little, "the length in front of the frame is little-endian");

ub4 decompress_stream(mipo_decompressor *, const void *source, void *destination, ub4 *out_length, ub4 size) {
  ub8 compressed_length;
  std::memcpy(&compressed_length, source, sizeof compressed_length);
  const std::size_t length = ZSTD_decompress(destination, size, static_cast<const char *>(source) + sizeof(ub8),
                                             static_cast<std::size_t>(compressed_length));
  if (ZSTD_isError(length) != 0) return 1;
  *out_length = static_cast<ub4>(length);
  return length == size ? 0 : 1;
}

struct FreeContext {
  void operator()(ZSTD_CCtx *context) const noexcept { ZSTD_freeCCtx(context); }
};

} // namespace

std::vector<std::byte> zstd_compress(std::span<const std::byte> bytes) {
  const std::unique_ptr<ZSTD_CCtx, FreeContext> context(ZSTD_createCCtx());
  if (!context) throw CompressionError("zstd has no memory for compressing");
  ZSTD_CCtx_setParameter(context.get(), ZSTD_c_checksumFlag, 1);
  std::vector<std::byte> stream(sizeof(ub8) + ZSTD_compressBound(bytes.size()));
  const std::size_t length = ZSTD_compress2(context.get(), stream.data() + sizeof(ub8), stream.size() - sizeof(ub8),
                                            bytes.data(), bytes.size());
  if (ZSTD_isError(length) != 0)
    throw CompressionError(std::string("zstd cannot compress: ") + ZSTD_getErrorName(length));
  const ub8 compressed_length = length;
  std::memcpy(stream.data(), &compressed_length, sizeof compressed_length);
  stream.resize(sizeof(ub8) + length);
  return stream;
}

ZstdDecompressor::ZstdDecompressor() noexcept : mipo_decompressor{decompress_stream} {
}

} // namespace mipo::host
