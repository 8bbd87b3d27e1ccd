// Compressed text, decompressed while it is read.
#ifndef MIPO_HOST_INPUT_DECOMPRESSING_READER_H
#define MIPO_HOST_INPUT_DECOMPRESSING_READER_H

#include <functional>
#include <memory>
#include <span>
#include <string_view>

namespace mipo::host {

/// The bytes that come next; empty at the end.
using ByteSource = std::function<std::span<const char>()>;

class DecompressingReader {
public:
  virtual ~DecompressingReader() = default;
  /// Fills `text` as far as the source goes; how many bytes that were. Throws CompressionError if the source is damaged
  /// or ends too early.
  virtual std::size_t read(std::span<char> text) = 0;
};

/// What a file that begins with `head` is compressed by; null if by nothing that is known.
std::unique_ptr<DecompressingReader> reader_for(std::string_view head, ByteSource source);

} // namespace mipo::host

#endif
