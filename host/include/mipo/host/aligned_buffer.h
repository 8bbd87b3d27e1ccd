// Memory for codes and words: aligned to cache lines, zero-filled, with readable slack behind its end.
#ifndef MIPO_HOST_ALIGNED_BUFFER_H
#define MIPO_HOST_ALIGNED_BUFFER_H

#include <cstddef>
#include <memory>
#include <span>

namespace mipo::host {

/// Owns `size()` bytes, zero at first, aligned to 64 bytes and followed by at least `slack` zero bytes that belong to
/// it too. The bytes stay where they are when the buffer is moved.
class AlignedBuffer {
public:
  static constexpr std::size_t alignment = 64;
  static constexpr std::size_t slack = 64;

  AlignedBuffer() noexcept = default;
  explicit AlignedBuffer(std::size_t size);
  AlignedBuffer(const AlignedBuffer &other);
  AlignedBuffer(AlignedBuffer &&other) noexcept;
  AlignedBuffer &operator=(AlignedBuffer other) noexcept;
  ~AlignedBuffer() = default;

  std::size_t size() const noexcept { return size_; }
  std::byte *data() noexcept { return bytes_.get(); }
  const std::byte *data() const noexcept { return bytes_.get(); }
  std::span<const std::byte> bytes() const noexcept { return {data(), size_}; }

private:
  struct Free {
    void operator()(std::byte *bytes) const noexcept;
  };
  std::unique_ptr<std::byte, Free> bytes_;
  std::size_t size_ = 0;
};

} // namespace mipo::host

#endif
