#include "mipo/host/bit_vector.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace mipo::host {

BitVector::BitVector(ub8 size, bool value) : words_((size + 63) / 64 * 8), size_(size) {
  if (value) fill(true);
}

BitVector::BitVector(BitVector &&other) noexcept
    : words_(std::move(other.words_)), size_(std::exchange(other.size_, 0)) {
}

BitVector &BitVector::operator=(BitVector &&other) noexcept {
  words_ = std::move(other.words_);
  size_ = std::exchange(other.size_, 0);
  return *this;
}

void BitVector::set(ub8 bit, bool value) noexcept {
  const ub8 mask = ub8{1} << (bit & 63);
  ub8 &word = words()[bit >> 6];
  word = value ? word | mask : word & ~mask;
}

void BitVector::fill(bool value) noexcept {
  if (size_ == 0) return;
  std::memset(words_.data(), value ? 0xff : 0, words_.size());
  clear_spare_bits();
}

ub8 BitVector::count() const noexcept {
  ub8 count = 0;
  for (ub8 i = 0; i < word_count(); ++i) count += static_cast<ub8>(std::popcount(words()[i]));
  return count;
}

void BitVector::clear_spare_bits() noexcept {
  if ((size_ & 63) != 0) words()[size_ >> 6] &= (ub8{1} << (size_ & 63)) - 1;
}

bool operator==(const BitVector &a, const BitVector &b) noexcept {
  return a.size_ == b.size_ && std::equal(a.words(), a.words() + a.word_count(), b.words());
}

namespace {

using BinaryEntry = decltype(mipo_specialized_ctx::mipo_lbiwvand_dydi);

ub4 combine(const Library &library, BinaryEntry mipo_specialized_ctx::*member, BitVector &result, const BitVector &a,
            const BitVector &b) {
  if (a.size() != b.size()) throw ArgumentError("bit vectors of different sizes cannot be combined");
  if (result.size() != a.size()) result = BitVector(a.size());
  ub4 count = 0;
  entry(library, member)(result.words(), &count, a.words(), b.words(), a.size());
  return count; // bits above the size stay zero, since they are zero in both operands
}

} // namespace

ub4 bit_and(const Library &library, BitVector &result, const BitVector &a, const BitVector &b) {
  return combine(library, &mipo_specialized_ctx::mipo_lbiwvand_dydi, result, a, b);
}

ub4 bit_or(const Library &library, BitVector &result, const BitVector &a, const BitVector &b) {
  return combine(library, &mipo_specialized_ctx::mipo_lbiwvor_dydi, result, a, b);
}

ub4 bit_xor(const Library &library, BitVector &result, const BitVector &a, const BitVector &b) {
  return combine(library, &mipo_specialized_ctx::mipo_lbiwvxor_dydi, result, a, b);
}

ub4 bit_and_not(const Library &library, BitVector &result, const BitVector &a, const BitVector &b) {
  // The entry complements its first source.
  return combine(library, &mipo_specialized_ctx::mipo_lbiwvandnot_dydi, result, b, a);
}

ub4 bit_not(const Library &library, BitVector &result, const BitVector &a) {
  if (result.size() != a.size()) result = BitVector(a.size());
  ub4 count = 0;
  entry(library, &mipo_specialized_ctx::mipo_lbiwvnot_dydi)(result.words(), &count, a.words(), a.size());
  result.clear_spare_bits();
  return count;
}

RowReader::RowReader(const Library &library, const BitVector &bits, ub8 first)
    : ones_(entry(library, &mipo_specialized_ctx::mipo_lbiwvones_dydi)) {
  entry(library, &mipo_specialized_ctx::mipo_lbiwv_ictx_ini2_dydi)(&iterator_, bits.words(), bits.size(), 0, first);
}

std::span<const ub4> RowReader::next() {
  return {rows_.data(), ones_(&iterator_, rows_.data(), batch_rows)};
}

} // namespace mipo::host
