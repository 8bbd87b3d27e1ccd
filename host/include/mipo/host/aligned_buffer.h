// Memory for codes and words: aligned to cache lines, with readable slack after its end.
#ifndef MIPO_HOST_ALIGNED_BUFFER_H
#define MIPO_HOST_ALIGNED_BUFFER_H

#include <cstddef>
#include <memory>
#include <span>

namespace mipo::host {

/// `size()` bytes, aligned to 64 bytes and followed by at least `slack` zero bytes. They are its own, zero at first, or
/// borrowed: then nobody may write them. The bytes stay where they are when the buffer is moved; a copy is always its
/// own.
class AlignedBuffer {
public:
  static constexpr std::size_t alignment = 64;
  static constexpr std::size_t slack = 64;

  AlignedBuffer() noexcept = default;
  explicit AlignedBuffer(std::size_t size);
  /// Borrows bytes that lie so, for instance in a mapped file, and keeps `owner` as long as they are needed.
  AlignedBuffer(std::span<const std::byte> bytes, std::shared_ptr<const void> owner) noexcept;
  AlignedBuffer(const AlignedBuffer &other);
  AlignedBuffer(AlignedBuffer &&other) noexcept;
  AlignedBuffer &operator=(AlignedBuffer other) noexcept;
  ~AlignedBuffer() = default;

  std::size_t size() const noexcept { return size_; }
  std::byte *data() noexcept { return bytes_; }
  const std::byte *data() const noexcept { return bytes_; }
  std::span<const std::byte> bytes() const noexcept { return {data(), size_}; }

private:
  std::shared_ptr<const void> owner_;
  std::byte *bytes_ = nullptr;
  std::size_t size_ = 0;
};

} // namespace mipo::host

#endif
