#include "host/input/decompressing_reader.h"

#include <zlib.h>
#include <zstd.h>

#include <new>
#include <string>
#include <utility>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

constexpr std::string_view zstd_magic = "\x28\xb5\x2f\xfd", gzip_magic = "\x1f\x8b";
constexpr const char *ends_early = "ends in the middle of a compressed frame";

class ZstdReader final : public DecompressingReader {
public:
  explicit ZstdReader(ByteSource source) : source_(std::move(source)), stream_(ZSTD_createDStream()) {
    if (!stream_) throw std::bad_alloc();
  }

  std::size_t read(std::span<char> text) override {
    ZSTD_outBuffer output{text.data(), text.size(), 0};
    while (output.pos < output.size) {
      if (input_.pos == input_.size) {
        const std::span<const char> piece = source_();
        input_ = {piece.data(), piece.size(), 0};
        if (piece.empty()) {
          // The decoder may hold bytes back for which there was no room.
          if (frame_open_ && !step(output)) throw CompressionError(ends_early);
          if (!frame_open_ || output.pos == output.size) break;
          continue;
        }
      }
      step(output);
    }
    return output.pos;
  }

private:
  struct Free {
    void operator()(ZSTD_DStream *stream) const noexcept { ZSTD_freeDStream(stream); }
  };

  // One step of the decoder; whether it got any further.
  bool step(ZSTD_outBuffer &output) {
    const std::size_t before = output.pos + input_.pos;
    const std::size_t left = ZSTD_decompressStream(stream_.get(), &output, &input_);
    if (ZSTD_isError(left) != 0)
      throw CompressionError(std::string("is not a sound zstd file: ") + ZSTD_getErrorName(left));
    frame_open_ = left != 0;
    return output.pos + input_.pos != before;
  }

  ByteSource source_;
  std::unique_ptr<ZSTD_DStream, Free> stream_;
  ZSTD_inBuffer input_{};
  bool frame_open_ = false;
};

class GzipReader final : public DecompressingReader {
public:
  explicit GzipReader(ByteSource source) : source_(std::move(source)) {
    constexpr int gzip_alone = 16; // added to the window's bits
    if (inflateInit2(&stream_, MAX_WBITS + gzip_alone) != Z_OK) throw std::bad_alloc();
  }
  GzipReader(const GzipReader &) = delete;
  GzipReader &operator=(const GzipReader &) = delete;
  ~GzipReader() override { inflateEnd(&stream_); }

  std::size_t read(std::span<char> text) override {
    stream_.next_out = reinterpret_cast<Bytef *>(text.data());
    stream_.avail_out = static_cast<uInt>(text.size());
    while (stream_.avail_out != 0) {
      if (stream_.avail_in == 0) {
        const std::span<const char> piece = source_();
        if (piece.empty()) {
          if (member_open_) throw CompressionError(ends_early);
          break;
        }
        stream_.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(piece.data()));
        stream_.avail_in = static_cast<uInt>(piece.size());
      }
      // Files may be made of several members, one after the other.
      if (!std::exchange(member_open_, true)) inflateReset(&stream_);
      const int status = inflate(&stream_, Z_NO_FLUSH);
      if (status == Z_STREAM_END)
        member_open_ = false;
      else if (status != Z_OK && status != Z_BUF_ERROR)
        throw CompressionError(std::string("is not a sound gzip file") +
                               (stream_.msg != nullptr ? std::string(": ") + stream_.msg : ""));
    }
    return text.size() - stream_.avail_out;
  }

private:
  ByteSource source_;
  z_stream stream_{};
  bool member_open_ = false;
};

} // namespace

std::unique_ptr<DecompressingReader> reader_for(std::string_view head, ByteSource source) {
  if (head.starts_with(zstd_magic)) return std::make_unique<ZstdReader>(std::move(source));
  if (head.starts_with(gzip_magic)) return std::make_unique<GzipReader>(std::move(source));
  return nullptr;
}

} // namespace mipo::host
