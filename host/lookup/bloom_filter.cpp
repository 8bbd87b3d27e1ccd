#include "mipo/host/bloom_filter.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

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

// A number as it is hashed: its digits without trailing zeros after the point, and how many are left there.
class NumberBytes {
public:
  std::span<const char> of(std::int64_t digits, const ValueType &type) {
    char scale = static_cast<char>(type.kind == ValueKind::decimal ? type.scale : 0);
    for (; scale > 0 && digits % 10 == 0; --scale) digits /= 10;
    std::memcpy(bytes_, &digits, sizeof digits);
    bytes_[sizeof digits] = scale;
    return bytes_;
  }

private:
  char bytes_[sizeof(std::int64_t) + 1];
};

} // namespace

ub8 xxh3_hash(const void *value, ub8 length, ub8 seed) {
  return XXH3_64bits_withSeed(value, length, seed);
}

bool HashedRows::Source::is_comparable_to(const Source &other) const noexcept {
  const bool equal_lengths = fixed_bytes == 0 || other.fixed_bytes == 0 || fixed_bytes == other.fixed_bytes;
  return kind == other.kind && equal_lengths && seed == other.seed;
}

std::string HashedRows::Source::text() const {
  const std::string what = kind == Kind::number      ? "numbers"
                           : kind == Kind::date_time ? "times"
                           : fixed_bytes == 0        ? "byte strings"
                                                     : "byte strings of " + std::to_string(fixed_bytes) + " bytes";
  return what + " with seed " + std::to_string(seed);
}

HashedRows::HashedRows(ub4 rows, Source source)
    : hashes_(rows * sizeof(ub8)), records_(std::make_unique<Records>()), source_(source) {
  *records_ = {};
  records_->enc_ctx.flags = MIPO_HASHED;
  records_->enc_ctx.bits = 64;
  records_->vec.data = hashes_.data();
  records_->vec.nrows = rows;
  records_->vec.enc_ctx = &records_->enc_ctx;
}

HashedRows::HashedRows(const Library &library, const mipo_vec &byte_strings, ub8 seed)
    : HashedRows(byte_strings.nrows, Source{Source::Kind::bytes, 0, seed}) {
  const mipo_enc_ctx &form = *byte_strings.enc_ctx;
  if ((form.flags & (MIPO_RLE | MIPO_BREP)) != 0)
    throw ArgumentError("runs and compressed rows cannot be hashed as they are stored");
  if ((form.flags & MIPO_FIXED) != 0)
    source_.fixed_bytes = form.bits >> 3;
  else if ((form.flags & (MIPO_PACKED | MIPO_CODES)) != 0 && (form.sym_varlen > 1 || form.sym_base == 0))
    throw ArgumentError("codes of a dictionary without symbols cannot be hashed");
  hash_strings(library, byte_strings);
}

HashedRows::HashedRows(const Library &library, const EncodedColumn &column, ub8 seed)
    : HashedRows(column.rows(), Source{column.type().kind == ValueKind::text        ? Source::Kind::bytes
                                       : column.type().kind == ValueKind::date_time ? Source::Kind::date_time
                                                                                    : Source::Kind::number,
                                       0, seed}) {
  if (column.is_compressed() && !column.is_decompressed())
    throw ArgumentError("a compressed column is hashed once it is decompressed");
  const bool has_symbols = source_.kind == Source::Kind::bytes;
  if (has_symbols && !column.has_runs() && !column.is_compressed()) {
    hash_strings(library, column.vec());
    return;
  }
  const Domain &domain = column.domain();
  auto *const words = reinterpret_cast<ub8 *>(hashes_.data());
  for (ub4 row = 0; row < column.rows(); ++row) {
    const ub8 code = column.code(row);
    NumberBytes number;
    std::span<const char> value;
    if (column.has_value(row)) value = has_symbols ? domain.text(code) : number.of(domain.number(code), column.type());
    words[row] = __builtin_bswap64(xxh3_hash(value.data(), value.size(), seed));
  }
}

void HashedRows::hash_strings(const Library &library, const mipo_vec &strings) {
  mipo_vec seeds{};
  seeds.data = &source_.seed;
  seeds.nrows = 1;
  seeds.enc_ctx = &records_->enc_ctx;
  const ub4 code =
      entry(library, &mipo_specialized_ctx::mipo_hash_dydi)(&records_->vec, &strings, &seeds, xxh3_hash, 0);
  if (code != MIPO_DONE) throw ArgumentError("a vector in none of the forms that can be hashed");
  auto *const words = reinterpret_cast<ub8 *>(hashes_.data());
  for (ub4 row = 0; row < strings.nrows; ++row) words[row] = __builtin_bswap64(words[row]);
}

ub8 HashedRows::hash(ub4 row) const noexcept {
  return __builtin_bswap64(reinterpret_cast<const ub8 *>(hashes_.data())[row]);
}

BloomFilter::BloomFilter(const HashedRows &rows, const BloomOptions &options)
    : BloomFilter(distinct_hashes(rows), options) {
  source_ = rows.source_;
}

Result BloomFilter::probe(const Library &library, CallContext &context, const HashedRows &rows) const {
  if (source_ && !source_->is_comparable_to(rows.source_))
    throw ArgumentError("a filter of hashed " + source_->text() + " cannot be asked for hashed " + rows.source_.text());
  context.check_selection(rows.rows(), "hashed rows");
  Result result(rows.rows());
  constexpr ub4 one_bit = 1;
  const ub4 code = entry(library, &mipo_specialized_ctx::mipo_bloom_dydi)(result.vec(), &rows.vec(), &vec(),
                                                                          context.record(), one_bit);
  context.throw_if_reported();
  throw_unless_answered("mipo_bloom_dydi", code);
  return result;
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
