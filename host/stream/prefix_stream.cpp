#include "mipo/host/prefix_stream.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <string>

#include "mipo/host/return_codes.h"

namespace mipo::host {
namespace {

static_assert(std::endian::native == std::endian::little);

/// Calls visit(first byte, rows, length of the longest common prefix) for each group.
template <class Visit>
void for_each_group(std::span<const std::byte> values, std::size_t width, Visit visit) {
  for (std::size_t at = 0; at < values.size();) {
    const std::byte *group = values.data() + at;
    const std::size_t rows = std::min((values.size() - at) / width, PrefixStream::group_rows);
    std::size_t prefix = width;
    for (std::size_t row = 1; row < rows; ++row)
      prefix = static_cast<std::size_t>(std::mismatch(group, group + prefix, group + row * width).first - group);
    visit(group, rows, prefix);
    at += rows * width;
  }
}

std::size_t group_size(std::size_t rows, std::size_t width, std::size_t prefix) {
  return 1 + prefix + rows * (width - prefix);
}

} // namespace

PrefixStream::PrefixStream(std::span<const std::byte> values, unsigned width) : records_(std::make_unique<Records>()) {
  if (width < 1 || width > widest)
    throw ArgumentError("values of a prefix stream have 1 to 8 bytes, not " + std::to_string(width));
  if (values.size() % width != 0)
    throw ArgumentError(std::to_string(values.size()) + " bytes are no whole number of values of " +
                        std::to_string(width) + " bytes");
  constexpr std::size_t greatest = std::numeric_limits<ub4>::max();
  const std::size_t rows = values.size() / width;
  std::size_t size = 0;
  for_each_group(values, width, [&](const std::byte *, std::size_t group, std::size_t prefix) {
    size += group_size(group, width, prefix);
  });
  if (rows > greatest || size > greatest)
    throw EncodingError(std::to_string(rows) + " values are too many for one prefix stream");

  groups_ = AlignedBuffer(size);
  offsets_ = AlignedBuffer((rows + group_rows - 1) / group_rows * sizeof(ub4));
  std::byte *stored = groups_.data(), *offset = offsets_.data();
  for_each_group(values, width, [&](const std::byte *group, std::size_t count, std::size_t prefix) {
    const ub4 start = __builtin_bswap32(static_cast<ub4>(stored - groups_.data()));
    std::memcpy(offset, &start, sizeof start);
    offset += sizeof start;
    *stored++ = static_cast<std::byte>(prefix);
    stored = std::copy_n(group, prefix, stored);
    for (std::size_t row = 0; row < count; ++row)
      stored = std::copy(group + row * width + prefix, group + (row + 1) * width, stored);
  });

  mipo_enc_ctx &enc_ctx = records_->enc_ctx;
  enc_ctx.prefix_bytes = group_rows;
  enc_ctx.prefix_width = static_cast<ub2>(width);
  enc_ctx.prefix_rows = static_cast<ub4>(rows);
  mipo_vec &vec = records_->vec;
  vec.data = groups_.data();
  vec.lens = offsets_.data();
  vec.enc_ctx = &enc_ctx;
  vec.nrows = static_cast<ub4>(offsets_.size() / sizeof(ub4));
}

std::vector<std::byte> PrefixStream::decode(const Library &library, std::vector<RowReference> *references) const {
  std::vector<std::byte> values(std::size_t{rows()} * width());
  mipo_vec res{};
  res.data = values.data();
  mipo_call_ctx call{};
  if (references != nullptr) {
    references->assign(rows(), RowReference{});
    call.row_refs = references->data();
  }
  const ub4 code = entry(library, &mipo_specialized_ctx::mipo_prefix_decode_dydi)(&res, &vec(), &call);
  throw_unless_answered("mipo_prefix_decode_dydi", code);
  return values;
}

void PrefixStream::value(ub4 row, std::byte *out) const noexcept {
  ub4 start;
  std::memcpy(&start, offsets_.data() + row / group_rows * sizeof start, sizeof start);
  const std::byte *group = groups_.data() + __builtin_bswap32(start);
  const auto prefix = std::to_integer<std::size_t>(*group++);
  const std::size_t suffix = width() - prefix;
  out = std::copy_n(group, prefix, out);
  std::copy_n(group + prefix + row % group_rows * suffix, suffix, out);
}

} // namespace mipo::host
