#include "mipo/host/aligned_buffer.h"

#include <cstring>
#include <new>
#include <utility>

namespace mipo::host {

AlignedBuffer::AlignedBuffer(std::size_t size)
    : bytes_(static_cast<std::byte *>(::operator new (size + slack, std::align_val_t{alignment}))), size_(size) {
  std::memset(bytes_, 0, size + slack);
  owner_.reset(static_cast<const void *>(bytes_),
               [](const void *bytes) { ::operator delete (const_cast<void *>(bytes), std::align_val_t{alignment}); });
}

AlignedBuffer::AlignedBuffer(std::span<const std::byte> bytes, std::shared_ptr<const void> owner) noexcept
    : owner_(std::move(owner)), bytes_(const_cast<std::byte *>(bytes.data())), size_(bytes.size()) {
}

AlignedBuffer::AlignedBuffer(const AlignedBuffer &other) : AlignedBuffer(other.size_) {
  if (size_ != 0) std::memcpy(data(), other.data(), size_);
}

AlignedBuffer::AlignedBuffer(AlignedBuffer &&other) noexcept
    : owner_(std::move(other.owner_)),
      bytes_(std::exchange(other.bytes_, nullptr)),
      size_(std::exchange(other.size_, 0)) {
}

AlignedBuffer &AlignedBuffer::operator=(AlignedBuffer other) noexcept {
  owner_.swap(other.owner_);
  std::swap(bytes_, other.bytes_);
  std::swap(size_, other.size_);
  return *this;
}

} // namespace mipo::host
