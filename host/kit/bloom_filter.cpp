#include "mipo/host/bloom_filter.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <bit>
#include <cmath>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

constexpr ub8 least_bits = 64, greatest_bits = ub8{1} << 32;

// Each once.
std::vector<ub8> distinct_hashes(const HashedRows &rows) {
  std::vector<ub8> hashes(rows.rows());
  for (ub4 row = 0; row < rows.rows(); ++row) hashes[row] = rows.hash(row);
  std::sort(hashes.begin(), hashes.end());
  hashes.erase(std::unique(hashes.begin(), hashes.end()), hashes.end());
  return hashes;
}

} // namespace

ub8 xxh3_hash(const void *value, ub8 length, ub8 seed) {
  return XXH3_64bits_withSeed(value, length, seed);
}

HashedRows::HashedRows(const Library &library, const mipo_vec &column, ub8 seed)
    : hashes_(column.nrows * sizeof(ub8)), records_(std::make_unique<Records>()) {
  *records_ = {};
  records_->enc_ctx.flags = MIPO_HASHED;
  records_->enc_ctx.bits = 64;
  records_->vec.data = hashes_.data();
  records_->vec.nrows = column.nrows;
  records_->vec.enc_ctx = &records_->enc_ctx;
  mipo_vec seeds{};
  seeds.data = &seed;
  seeds.nrows = 1;
  seeds.enc_ctx = &records_->enc_ctx;
  const ub4 code = entry(library, &mipo_specialized_ctx::mipo_hash_dydi)(&records_->vec, &column, &seeds, xxh3_hash, 0);
  if (code != 0) throw ArgumentError("a column in none of the forms that can be hashed");
  auto *const words = reinterpret_cast<ub8 *>(hashes_.data());
  for (ub4 row = 0; row < column.nrows; ++row) words[row] = __builtin_bswap64(words[row]);
}

ub8 HashedRows::hash(ub4 row) const noexcept {
  return __builtin_bswap64(reinterpret_cast<const ub8 *>(hashes_.data())[row]);
}

BloomFilter::BloomFilter(const HashedRows &rows, const BloomOptions &options)
    : BloomFilter(distinct_hashes(rows), options) {
}

BloomFilter::BloomFilter(std::span<const ub8> hashes, const BloomOptions &options)
    : records_(std::make_unique<Records>()) {
  if (!(options.false_positives > 0 && options.false_positives < 1))
    throw ArgumentError("a rate of false positives lies between 0 and 1");
  const std::size_t segment = options.segment_bytes;
  if (segment != 0 && (!std::has_single_bit(segment) || segment < least_bits / 8 || segment > greatest_bits / 16))
    throw ArgumentError("a segment of a filter has a power of two of bytes, 8 to 2^28");
  // Of n keys in m bits, 1 - exp(-n/m) of the bits are set.
  const double wanted = static_cast<double>(hashes.size()) / -std::log1p(-options.false_positives);
  ub8 bits = least_bits;
  while (static_cast<double>(bits) < wanted && bits < greatest_bits) bits *= 2;
  if (segment != 0) bits = std::max<ub8>(bits, segment * 8);
  bits_ = AlignedBuffer(bits / 8);
  for (const ub8 hash : hashes) {
    const ub8 bit = hash & (bits - 1);
    bits_.data()[bit / 8] |= static_cast<std::byte>(1 << bit % 8);
  }
  *records_ = {};
  records_->enc_ctx.bloom_mask = static_cast<ub4>(bits - 1);
  records_->vec.enc_ctx = &records_->enc_ctx;
  records_->vec.bv = reinterpret_cast<ub8 *>(bits_.data());
  if (segment == 0) return;
  for (ub8 at = 0; at < bits / 8; at += segment) segments_.push_back(bits_.data() + at);
  records_->enc_ctx.bloom_two_level = 1;
  records_->enc_ctx.bloom_shift = static_cast<ub4>(std::countr_zero(segment * 8));
  records_->enc_ctx.bloom_word_mask = static_cast<ub4>(segment * 8 - 1);
  records_->vec.bv = reinterpret_cast<ub8 *>(segments_.data());
}

double BloomFilter::density() const noexcept {
  ub8 set = 0;
  for (const std::byte byte : bits_.bytes()) set += static_cast<ub8>(std::popcount(static_cast<ub1>(byte)));
  return static_cast<double>(set) / (8.0 * static_cast<double>(bits_.size()));
}

} // namespace mipo::host
