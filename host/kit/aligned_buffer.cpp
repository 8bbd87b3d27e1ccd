#include "mipo/host/aligned_buffer.h"

#include <cstring>
#include <new>
#include <utility>

namespace mipo::host {

void AlignedBuffer::Free::operator()(std::byte *bytes) const noexcept {
  ::operator delete (bytes, std::align_val_t{alignment});
}

AlignedBuffer::AlignedBuffer(std::size_t size)
    : bytes_(static_cast<std::byte *>(::operator new (size + slack, std::align_val_t{alignment}))), size_(size) {
  std::memset(bytes_.get(), 0, size + slack);
}

AlignedBuffer::AlignedBuffer(const AlignedBuffer &other) : AlignedBuffer(other.size_) {
  if (size_ != 0) std::memcpy(data(), other.data(), size_);
}

AlignedBuffer::AlignedBuffer(AlignedBuffer &&other) noexcept
    : bytes_(std::move(other.bytes_)), size_(std::exchange(other.size_, 0)) {
}

AlignedBuffer &AlignedBuffer::operator=(AlignedBuffer other) noexcept {
  bytes_.swap(other.bytes_);
  std::swap(size_, other.size_);
  return *this;
}

} // namespace mipo::host
