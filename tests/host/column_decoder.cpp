#include "host/column_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace mipo::host {
namespace {

ub8 bits_at(const void *stream, ub8 first, ub8 count) {
  ub8 number = 0;
  for (ub8 bit = first; bit < first + count; ++bit)
    number = number << 1 | (static_cast<const ub1 *>(stream)[bit / 8] >> (7 - bit % 8) & 1u);
  return number;
}

bool is_dynamic(ValueForm form) {
  return form == ValueForm::dynamic_packed || form == ValueForm::dynamic_packed_tz;
}

// A number of `bits` bits whose order is that of its sign and magnitude.
std::int64_t from_offset(ub8 number, ub8 bits) {
  return static_cast<std::int64_t>(number - (ub8{1} << (bits - 1)));
}

// The first bit is the sign; as many bits as it from there on tell the bytes in use, the rest of them the magnitude.
std::int64_t from_dynamic(ub8 lane, ub8 max_bytes) {
  const ub8 bits = 8 * max_bytes;
  std::string text;
  for (ub8 bit = bits; bit-- > 0;) text += (lane >> bit & 1) != 0 ? '1' : '0';
  const char sign = text[0];
  ub8 bytes = 0;
  while (bytes < max_bytes && text[bytes] == sign) ++bytes;
  std::int64_t magnitude = 0;
  for (const char bit : text.substr(bytes, 7 * bytes)) magnitude = 2 * magnitude + (bit == sign ? 1 : 0);
  if (bytes < max_bytes) {
    // The bit that ends the count of bytes is the opposite of the sign and reads as a zero of the magnitude.
    EXPECT_NE(text[bytes], sign);
  }
  EXPECT_EQ(text.find('1', 8 * bytes), std::string::npos) << "bytes out of use are zero: " << text;
  return sign == '1' ? magnitude : -magnitude - 1;
}

// Trailing zero bytes of a number of `bytes` bytes that may be cut: three at most, and one byte has to stay.
ub8 zero_bytes(ub8 number, ub8 bytes) {
  ub8 zeros = 0;
  while (zeros < 3 && zeros + 1 < bytes && (number >> 8 * zeros & 0xff) == 0) ++zeros;
  return zeros;
}

DecodedRow number_row(const Encoding &encoding, ub8 stored, ub8 stored_bits, ub8 count) {
  DecodedRow row;
  row.stored = stored;
  row.count = count;
  const auto bits = static_cast<ub8>(encoding.bits);
  row.units =
      is_dynamic(encoding.form) ? from_dynamic(stored, bits / 8) : from_offset(stored << (bits - stored_bits), bits);
  return row;
}

std::vector<DecodedRow> decode_dynamic(const mipo_vec &vec, const Encoding &encoding, const void *base, ub4 values) {
  const auto max_bytes = static_cast<ub8>(encoding.bits) / 8;
  const ub8 field_bits = max_bytes / 2;
  std::vector<DecodedRow> rows;
  ub8 position = 0;
  for (ub4 i = 0; i < values; ++i) {
    const ub8 length = bits_at(vec.lens, i * field_bits, field_bits) + 1;
    EXPECT_LE(length, max_bytes);
    const ub8 number = bits_at(base, 8 * position, 8 * length);
    if (length > 1) {
      EXPECT_NE(number & 0xff, 0u) << "all trailing zero bytes are dropped";
    }
    rows.push_back(number_row(encoding, number << 8 * (max_bytes - length), 8 * max_bytes, length - 1));
    position += length;
  }
  return rows;
}

std::vector<DecodedRow> decode_values(const mipo_vec &vec, const Encoding &encoding, const void *base, ub4 values) {
  if (is_dynamic(encoding.form)) return decode_dynamic(vec, encoding, base, values);
  const ub8 bits = vec.enc_ctx->bits;
  const bool one_count = (vec.enc_ctx->flags & MIPO_TZ_CONST) != 0;
  EXPECT_EQ(one_count, encoding.form == ValueForm::trailing_zero_const);
  EXPECT_EQ((vec.enc_ctx->flags & MIPO_FIXED) != 0, encoding.form != ValueForm::dictionary);
  const ub8 cut_bits = static_cast<ub8>(encoding.bits) - bits;
  ub8 least_zeros = 3;
  std::vector<DecodedRow> rows(values);
  for (ub4 i = 0; i < values; ++i) {
    const ub8 stored = bits_at(base, i * bits, bits);
    if (encoding.form == ValueForm::dictionary) {
      rows[i].stored = stored;
      continue;
    }
    ub8 count = 0;
    if (one_count) count = *static_cast<const ub1 *>(vec.lens);
    if (encoding.form == ValueForm::trailing_zero) count = bits_at(vec.lens, ub8{i} * 2, 2);
    rows[i] = number_row(encoding, stored, bits, count);
    if (encoding.form == ValueForm::fixed) continue;
    const ub8 zeros = zero_bytes(stored << cut_bits, static_cast<ub8>(encoding.bits) / 8);
    least_zeros = std::min(least_zeros, zeros);
    EXPECT_EQ(count, one_count ? cut_bits / 8 : zeros);
  }
  if (encoding.form != ValueForm::dictionary && encoding.form != ValueForm::fixed && values != 0) {
    EXPECT_EQ(cut_bits, 8 * least_zeros) << "what all values can spare is cut";
  }
  return rows;
}

std::vector<ub4> run_lengths(const mipo_vec &vec, const Encoding &encoding) {
  const mipo_enc_ctx &enc_ctx = *vec.enc_ctx;
  std::vector<ub4> lengths;
  for (ub8 run = 0; run < enc_ctx.run_count; ++run) {
    const auto number = [run](const void *table, ub8 bits, ub8 next) {
      return static_cast<ub4>(bits_at(table, (run + next) * bits, bits));
    };
    if (encoding.runs == RunForm::starts)
      lengths.push_back(number(enc_ctx.run_starts, 32, 1) - number(enc_ctx.run_starts, 32, 0));
    else
      lengths.push_back(number(enc_ctx.run_lens, encoding.runs == RunForm::lengths_8 ? 8 : 16, 0));
    EXPECT_NE(lengths.back(), 0u) << "run " << run;
  }
  return lengths;
}

} // namespace

std::vector<DecodedRow> decode_column(const mipo_vec &vec, const Encoding &encoding, const void *base) {
  const bool has_runs = encoding.runs != RunForm::none;
  EXPECT_EQ((vec.enc_ctx->flags & MIPO_RLE) != 0, has_runs);
  std::vector<DecodedRow> values = decode_values(vec, encoding, base, has_runs ? vec.enc_ctx->run_count : vec.nrows);
  for (std::size_t i = 0; i < values.size(); ++i)
    values[i].valid = vec.filter_bv == nullptr || (vec.filter_bv[i / 64] >> i % 64 & 1) != 0;
  if (!has_runs) return values;
  std::vector<DecodedRow> rows;
  const std::vector<ub4> lengths = run_lengths(vec, encoding);
  for (std::size_t run = 0; run < values.size(); ++run) rows.insert(rows.end(), lengths[run], values[run]);
  EXPECT_EQ(rows.size(), vec.nrows);
  return rows;
}

DecodedRow decode_constant(const mipo_vec &vec, const Encoding &encoding, int stored_bits) {
  DecodedRow constant;
  if (encoding.form == ValueForm::dictionary) {
    constant.stored = *static_cast<const ub8 *>(vec.data);
    return constant;
  }
  EXPECT_EQ(vec.enc_ctx->bits, static_cast<ub4>(stored_bits));
  constant.stored = bits_at(vec.data, 0, static_cast<ub8>(stored_bits));
  constant.count = *static_cast<const ub1 *>(vec.lens);
  return constant;
}

} // namespace mipo::host
