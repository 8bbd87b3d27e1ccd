#include "host/column/value_format.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "host/column/dynamic_number.h"
#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

constexpr unsigned greatest_count = 3;          // of trailing zero bytes
constexpr std::size_t values_per_position = 32; // a multiple of the values of every control byte
constexpr ub8 dynamic_bias = ub8{1} << 63;

int narrowest_code(ub8 code_count) {
  for (int bits = 1; bits <= 20; ++bits)
    if (code_count <= ub8{1} << bits) return bits;
  return code_count <= ub8{1} << 24 ? 24 : 32;
}

// Whole bytes of a number with sign.
int narrowest_number(std::int64_t least, std::int64_t greatest) {
  int bytes = 1;
  while (bytes < 8 && (least >> (8 * bytes - 1) < -1 || greatest >> (8 * bytes - 1) > 0)) ++bytes;
  return bytes;
}

int narrowest_dynamic(std::int64_t least, std::int64_t greatest) {
  for (const int bytes : {2, 4, 8})
    if (fits_dynamic(least, bytes) && fits_dynamic(greatest, bytes)) return bytes;
  throw EncodingError("dynamic-packed numbers lie within 2^56 of zero");
}

int wider(int needed, int asked, std::string_view what) {
  if (asked == 0 || asked >= needed) return std::max(needed, asked);
  throw EncodingError(std::string(what) + " of this column take " + std::to_string(needed) + " bits, not " +
                      std::to_string(asked));
}

ub8 sign_bias(int bits) {
  return ub8{1} << (bits - 1);
}

int trailing_zero_bytes(ub8 number) {
  return std::countr_zero(number) / 8;
}

void store_bytes(std::byte *&out, ub8 number, int bytes) {
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) *out++ = static_cast<std::byte>(number >> shift);
}

ub8 read_bytes(const std::byte *at, int bytes) {
  ub8 number = 0;
  for (int i = 0; i < bytes; ++i) number = number << 8 | static_cast<ub8>(at[i]);
  return number;
}

void store_whole_bytes(std::byte *out, const CodeSequence &codes, int bytes) {
  for (std::size_t i = 0; i < codes.size(); ++i) store_bytes(out, codes[i], bytes);
}

void pack_codes(std::byte *out, const CodeSequence &codes, int bits) {
  ub8 window = 0;
  int pending = 0; // bits of the window that are not written yet
  for (std::size_t i = 0; i < codes.size(); ++i) {
    window = window << bits | codes[i];
    for (pending += bits; pending >= 8; pending -= 8) *out++ = static_cast<std::byte>(window >> (pending - 8));
  }
  if (pending != 0) *out = static_cast<std::byte>(window << (8 - pending));
}

// The stream must be readable for 8 bytes after the byte in which the code begins.
ub8 unpack_code(const std::byte *stream, std::size_t i, int bits) {
  const ub8 position = i * static_cast<ub8>(bits);
  const ub8 window = read_bytes(stream + position / 8, 8);
  return window << position % 8 >> (64 - bits);
}

// Fields of a few bits, as many a byte as it holds, the first in the top bits.
void store_field(std::byte *fields, std::size_t i, unsigned bits, unsigned field) {
  const std::size_t per_byte = 8 / bits;
  fields[i / per_byte] |= static_cast<std::byte>(field << (8 - bits * (i % per_byte + 1)));
}

unsigned field_at(const std::byte *fields, std::size_t i, unsigned bits) {
  const std::size_t per_byte = 8 / bits;
  return static_cast<unsigned>(fields[i / per_byte]) >> (8 - bits * (i % per_byte + 1)) & ((1u << bits) - 1);
}

constexpr unsigned zero_count_bits = 2;

// Bits of a length code: 1, 2 or 4.
unsigned length_bits(int max_bytes) {
  return static_cast<unsigned>(max_bytes) / 2;
}

ub8 cell_of(ub8 code, int max_bytes) {
  return dynamic_cell(static_cast<std::int64_t>(code - dynamic_bias), max_bytes);
}

} // namespace

ValueFormat::ValueFormat(const Encoding &encoding, const Dictionary &dictionary)
    : form_(encoding.form), bits_(encoding.bits) {
  check_width(encoding);
  if (form_ == ValueForm::dictionary) {
    bits_ = wider(narrowest_code(dictionary.code_count()), bits_, "the codes");
    return;
  }
  if (dictionary.type().kind == ValueKind::text)
    throw EncodingError("texts are stored in a dictionary only, not as numbers");
  const std::int64_t unit = unit_of(dictionary.type());
  const std::span<const std::int64_t> numbers = dictionary.numbers();
  if (std::ranges::any_of(numbers, [unit](std::int64_t number) { return number % unit != 0; }))
    throw EncodingError("not all numbers are whole units of the type " + type_name(dictionary.type()));
  const std::int64_t least = numbers.empty() ? 0 : numbers.front() / unit;
  const std::int64_t greatest = numbers.empty() ? 0 : numbers.back() / unit;
  if (is_dynamic()) {
    bits_ = wider(8 * narrowest_dynamic(least, greatest), bits_, "the dynamic-packed numbers");
    return;
  }
  bits_ = wider(8 * narrowest_number(least, greatest), bits_, "the numbers");
  if (!cuts_zeros()) return;
  cut_bytes_ = most_cut_bytes();
  for (const std::int64_t number : numbers)
    cut_bytes_ = std::min(cut_bytes_, trailing_zero_bytes(static_cast<ub8>(number / unit)));
}

ValueFormat::ValueFormat(const Encoding &encoding, int cut_bytes)
    : form_(encoding.form), bits_(encoding.bits), cut_bytes_(cut_bytes) {
  check_width(encoding);
}

int ValueFormat::most_cut_bytes() const noexcept {
  return cuts_zeros() ? std::min<int>(greatest_count, bits_ / 8 - 1) : 0;
}

ub8 ValueFormat::bias() const noexcept {
  return is_dynamic() ? dynamic_bias : sign_bias(bits_);
}

NumberRange ValueFormat::number_range(const Dictionary &dictionary) const {
  return NumberRange(dictionary.type(), dictionary.numbers(), bias(), 8 * cut_bytes_);
}

NumberRange ValueFormat::number_range(const ValueType &type, ub8 value_count, ub8 first_code, ub8 code_count) const {
  return NumberRange(type, value_count, {first_code, code_count}, bias(), 8 * cut_bytes_);
}

int ValueFormat::kernel_bits() const noexcept {
  if (form_ == ValueForm::dictionary) return bits_;
  return static_cast<int>(std::bit_ceil(static_cast<unsigned>(stored_bits())));
}

mipo_family ValueFormat::family() const noexcept {
  if (form_ == ValueForm::dictionary) return MIPO_FAMILY_DICT;
  return is_dynamic() ? MIPO_FAMILY_DYNP : MIPO_FAMILY_FIXED;
}

mipo_variant ValueFormat::variant(bool has_null) const noexcept {
  if (form_ == ValueForm::dictionary) return has_null ? MIPO_VARIANT_NULL_AWARE : MIPO_VARIANT_PLAIN;
  return cuts_zeros() || form_ == ValueForm::dynamic_packed_tz ? MIPO_VARIANT_TZ : MIPO_VARIANT_PLAIN;
}

ub4 ValueFormat::flags() const noexcept {
  switch (form_) {
  case ValueForm::dictionary:
    return bits_ <= 32 ? MIPO_PACKED : 0; // whole bytes, high byte first, are packed high bit first too
  case ValueForm::fixed:
  case ValueForm::trailing_zero:
    return MIPO_FIXED;
  case ValueForm::trailing_zero_const:
    return MIPO_FIXED | MIPO_TZ_CONST;
  case ValueForm::dynamic_packed:
  case ValueForm::dynamic_packed_tz:
    break;
  }
  return 0;
}

std::size_t ValueFormat::slack() const noexcept {
  if (is_dynamic()) return 16;                   // values are read 16 bytes at a time
  return form_ == ValueForm::dictionary ? 8 : 0; // a window of two words of 32 bits
}

unsigned ValueFormat::count(ub8 code) const noexcept {
  if (!cuts_zeros()) return 0;
  if (form_ == ValueForm::trailing_zero_const) return static_cast<unsigned>(cut_bytes_);
  return static_cast<unsigned>(std::min(most_cut_bytes(), cut_bytes_ + trailing_zero_bytes(code)));
}

unsigned ValueFormat::stored_count(const std::byte *lengths, std::size_t i) const noexcept {
  if (form_ == ValueForm::trailing_zero) return field_at(lengths, i, zero_count_bits);
  return form_ == ValueForm::trailing_zero_const ? static_cast<unsigned>(*lengths) : 0;
}

int ValueFormat::dynamic_bytes(const std::byte *lengths, std::size_t i) const noexcept {
  return static_cast<int>(field_at(lengths, i, length_bits(bits_ / 8))) + 1;
}

std::size_t ValueFormat::values_per_control() const noexcept {
  return 8 / length_bits(bits_ / 8);
}

bool ValueFormat::has_position(std::size_t i) noexcept {
  return i % values_per_position == 0;
}

std::size_t ValueFormat::value_bytes(const CodeSequence &codes) const {
  if (!is_dynamic()) return value_bytes(codes.size());
  std::size_t bytes = 0;
  for (std::size_t i = 0; i < codes.size(); ++i)
    bytes += static_cast<std::size_t>(cell_bytes(cell_of(codes[i], bits_ / 8), bits_ / 8));
  return bytes;
}

std::size_t ValueFormat::length_bytes(std::size_t values) const noexcept {
  if (is_dynamic()) return (values * length_bits(bits_ / 8) + 7) / 8;
  if (form_ == ValueForm::trailing_zero) return (values * zero_count_bits + 7) / 8;
  return form_ == ValueForm::trailing_zero_const ? 1 : 0;
}

std::size_t ValueFormat::position_bytes(std::size_t values) const noexcept {
  return is_dynamic() ? (values + values_per_position - 1) / values_per_position * sizeof(ub8) : 0;
}

ValueStreams ValueFormat::store(const CodeSequence &codes) const {
  ValueStreams streams{AlignedBuffer(value_bytes(codes)), AlignedBuffer(length_bytes(codes.size())),
                       AlignedBuffer(position_bytes(codes.size()))};
  std::byte *values = streams.values.data(), *const lengths = streams.lengths.data();
  if (is_dynamic()) {
    // Fields of the last control byte that no value has stay 0: kernels that add up its lengths take them for values of
    // one byte, and so may look after the stream, which its slack allows.
    const int max_bytes = bits_ / 8;
    auto *position = reinterpret_cast<ub8 *>(streams.positions.data());
    for (std::size_t i = 0; i < codes.size(); ++i) {
      if (has_position(i)) *position++ = static_cast<ub8>(values - streams.values.data());
      const ub8 cell = cell_of(codes[i], max_bytes);
      const int bytes = cell_bytes(cell, max_bytes);
      store_bytes(values, cell >> 8 * (max_bytes - bytes), bytes);
      store_field(lengths, i, length_bits(max_bytes), static_cast<unsigned>(bytes - 1));
    }
    return streams;
  }
  if (form_ == ValueForm::dictionary && bits_ <= 32)
    pack_codes(values, codes, bits_);
  else
    store_whole_bytes(values, codes, stored_bits() / 8);
  if (form_ == ValueForm::trailing_zero_const) *lengths = static_cast<std::byte>(cut_bytes_);
  if (form_ == ValueForm::trailing_zero)
    for (std::size_t i = 0; i < codes.size(); ++i) store_field(lengths, i, zero_count_bits, count(codes[i]));
  return streams;
}

ub8 ValueFormat::code(const ValueStreams &streams, const void *values, std::size_t i) const noexcept {
  const auto *const stream = static_cast<const std::byte *>(values);
  if (form_ == ValueForm::dictionary && bits_ <= 32) return unpack_code(stream, i, bits_);
  const int max_bytes = stored_bits() / 8;
  if (!is_dynamic()) return read_bytes(stream + i * static_cast<std::size_t>(max_bytes), max_bytes);
  const auto length = [&](std::size_t value) { return dynamic_bytes(streams.lengths.data(), value); };
  ub8 position = reinterpret_cast<const ub8 *>(streams.positions.data())[i / values_per_position];
  for (std::size_t value = i / values_per_position * values_per_position; value < i; ++value)
    position += static_cast<ub8>(length(value));
  const ub8 cell = read_bytes(stream + position, length(i)) << 8 * (max_bytes - length(i));
  return static_cast<ub8>(dynamic_number(cell, max_bytes)) + dynamic_bias;
}

namespace {

template <int bytes>
void read_cells(const std::byte *stream, std::span<const ub4> places, ub8 *codes) {
  for (const ub4 place : places) {
    ub8 cell = 0;
    std::memcpy(&cell, stream + ub8{place} * bytes, bytes);
    *codes++ = __builtin_bswap64(cell) >> (64 - 8 * bytes);
  }
}

template <int... bytes>
void read_cells_of(int width, const std::byte *stream, std::span<const ub4> places, ub8 *codes,
                   std::integer_sequence<int, bytes...>) {
  ((width == bytes + 1 ? read_cells<bytes + 1>(stream, places, codes) : void()), ...);
}

} // namespace

void ValueFormat::read_codes(const ValueStreams &streams, const void *values, std::span<const ub4> places,
                             ub8 *codes) const {
  if (!is_dynamic() && (form_ != ValueForm::dictionary || bits_ > 32)) {
    read_cells_of(stored_bits() / 8, static_cast<const std::byte *>(values), places, codes,
                  std::make_integer_sequence<int, 8>());
    return;
  }
  for (const ub4 place : places) *codes++ = code(streams, values, place);
}

Constant ValueFormat::constant(ub8 code, mipo_enc_ctx *enc_ctx) const noexcept {
  if (form_ == ValueForm::dictionary) return Constant(code, 0, enc_ctx);
  const int bytes = stored_bits() / 8;
  const ub8 cell = is_dynamic() ? cell_of(code, bytes) : code;
  const unsigned beside = is_dynamic() ? static_cast<unsigned>(cell_bytes(cell, bytes) - 1) : count(code);
  return Constant(__builtin_bswap64(cell) >> (64 - 8 * bytes), static_cast<ub1>(beside), enc_ctx);
}

} // namespace mipo::host
