#include "mipo/host/decimal_values.h"

#include <algorithm>
#include <cstring>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

constexpr int zero_byte = 128, least_positive = 192, longest_coded = 5;
constexpr int longest_constant = 15, longest_separate = 8, length_bits = 3;

} // namespace

std::vector<ub1> encode_decimal(ub8 number, int scale) {
  if (number == 0) return {zero_byte};
  std::vector<ub1> digits;
  for (; number != 0; number /= 10) digits.push_back(static_cast<ub1>(number % 10 + 1));
  const int places = static_cast<int>(digits.size()) - scale; // in front of the point
  std::ranges::reverse(digits);
  while (digits.back() == 1) digits.pop_back();
  digits.insert(digits.begin(), static_cast<ub1>(least_positive + places));
  return digits;
}

std::optional<ub8> decode_decimal(std::span<const ub1> value) noexcept {
  if (value.size() == 1 && value[0] == zero_byte) return 0;
  if (value.size() < 2 || value[0] < least_positive) return {};
  const int places = value[0] - least_positive, digits = static_cast<int>(value.size()) - 1;
  if (digits > places) return {};
  ub8 number = 0;
  for (int i = 1; i <= places; ++i) {
    const int digit = i <= digits ? value[static_cast<std::size_t>(i)] - 1 : 0;
    if (digit < 0 || digit > 9 || __builtin_mul_overflow(number, ub8{10}, &number) ||
        __builtin_add_overflow(number, static_cast<ub8>(digit), &number))
      return {};
  }
  return number;
}

std::optional<ub8> decimal_key(std::span<const ub1> value, bool of_one_length) noexcept {
  const auto length = static_cast<int>(value.size());
  if (length < 1 || length > longest_coded) return {};
  const int digits = length - 1, places = value[0] - least_positive;
  if (digits == 0 && value[0] == zero_byte && !of_one_length) return 0;
  if (places < 0 || digits > places) return {};
  ub8 key = 0;
  for (int i = 1; i <= digits; ++i)
    key = (key << 7) + static_cast<ub8>(static_cast<int8_t>(value[static_cast<std::size_t>(i)] - 1));
  // Kernels wrap the shift above nine places.
  return key << (7 * (places - digits) & 63);
}

DecimalColumn::DecimalColumn(DecimalLayout layout, std::span<const std::vector<ub1>> values) : layout_(layout) {
  std::size_t bytes = 0, longest = 0;
  for (const std::vector<ub1> &value : values) {
    if (value.empty()) throw EncodingError("a coded decimal value has one byte at least");
    starts_.push_back(static_cast<ub4>(bytes));
    bytes += value.size();
    longest = std::max(longest, value.size());
  }
  starts_.push_back(static_cast<ub4>(bytes));
  if (bytes > 0xffffffff || values.size() > 0xffffffff)
    throw EncodingError("a column of decimal values is at most 4 GiB");
  values_ = AlignedBuffer(bytes);
  std::byte *out = values_.data();
  for (const std::vector<ub1> &value : values) out = std::ranges::copy(std::as_bytes(std::span(value)), out).out;
  vec_.nrows = static_cast<ub4>(values.size());
  switch (layout) {
  case DecimalLayout::offsets: {
    lengths_ = AlignedBuffer(starts_.size() * sizeof(ub4));
    auto *offset = reinterpret_cast<ub4 *>(lengths_.data());
    for (const ub4 start : starts_) *offset++ = __builtin_bswap32(start);
    break;
  }
  case DecimalLayout::one_length:
    if (longest > longest_constant || bytes != longest * values.size())
      throw EncodingError("decimal values of one length have the same length, of at most 15 bytes");
    form_ = static_cast<ub2>(longest);
    break;
  case DecimalLayout::separate_lengths:
    if (longest > longest_separate) throw EncodingError("decimal values with separate lengths have at most 8 bytes");
    form_ = length_bits;
    lengths_ = AlignedBuffer((values.size() * length_bits + 7) / 8);
    for (std::size_t i = 0; i < values.size(); ++i)
      for (unsigned bit = 0; bit < length_bits; ++bit) {
        const std::size_t at = i * length_bits + bit;
        if (((values[i].size() - 1) >> (length_bits - 1 - bit) & 1) != 0)
          lengths_.data()[at / 8] |= static_cast<std::byte>(0x80 >> at % 8);
      }
    break;
  }
  vec_.data = lengths_.data();
}

std::span<const ub1> DecimalColumn::value(ub4 row) const noexcept {
  return {reinterpret_cast<const ub1 *>(values_.data()) + starts_[row], starts_[row + 1] - starts_[row]};
}

mipo_vec DecimalColumn::prepare(mipo_call_ctx &ctx, ub4 first_row) const noexcept {
  mipo_vec vec = vec_;
  auto *const values = const_cast<std::byte *>(values_.data());
  ctx.first_row = first_row;
  ctx.xlate_form = form_;
  ctx.xlate_values = layout_ == DecimalLayout::separate_lengths ? values + starts_[first_row] : values;
  if (layout_ == DecimalLayout::offsets) vec.data = static_cast<ub4 *>(vec.data) + first_row;
  return vec;
}

} // namespace mipo::host
