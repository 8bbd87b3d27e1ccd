#include "column_format.h"

namespace mipo::check {
namespace {

using reference::Value;

constexpr std::size_t stream_slack = 16; // of a stream of dynamic-packed values: what a reader may take too much

void append_number(std::vector<ub1> &bytes, ub8 number, unsigned bits) {
  for (unsigned shift = bits; shift != 0; shift -= 8) bytes.push_back(static_cast<ub1>(number >> (shift - 8)));
}

StoredColumn byte_aligned_column(const std::vector<Value> &rows, unsigned bits) {
  StoredColumn stored;
  for (const Value &row : rows) append_number(stored.data, row.number, bits);
  return stored;
}

// High bit first. A reader may take words of 32 bits, and one word after the last code's.
StoredColumn packed_column(const std::vector<Value> &rows, unsigned bits) {
  std::vector<ub1> bytes((rows.size() * bits + 31) / 32 * 4 + 4, 0xb7);
  for (std::size_t bit = 0; bit < rows.size() * bits; ++bit) {
    const bool is_set = rows[bit / bits].number >> (bits - 1 - bit % bits) & 1;
    const auto weight = static_cast<ub1>(0x80 >> bit % 8);
    bytes[bit / 8] = static_cast<ub1>(is_set ? bytes[bit / 8] | weight : bytes[bit / 8] & ~weight);
  }
  return {bytes, {}};
}

// A native word of 32 bits, or of 64.
StoredColumn code_cell(const Value &code, unsigned bits) {
  StoredColumn stored;
  for (unsigned byte = 0; byte < (bits == 64 ? 8 : 4); ++byte)
    stored.data.push_back(static_cast<ub1>(code.number >> 8 * byte));
  return stored;
}

// Four counts a byte, the first in its top bits. Single bytes have none.
StoredColumn trailing_zero_column(const std::vector<Value> &rows, unsigned bits) {
  StoredColumn stored = byte_aligned_column(rows, bits);
  if (bits == 8) return stored;
  stored.lens.assign((rows.size() + 3) / 4, 0);
  for (std::size_t row = 0; row < rows.size(); ++row)
    stored.lens[row / 4] = static_cast<ub1>(stored.lens[row / 4] | rows[row].count << 2 * (3 - row % 4));
  return stored;
}

// The cell of a one-byte constant is a whole word, as that of a code of 8 bits.
StoredColumn fixed_constant(const Value &value, unsigned bits) {
  StoredColumn stored = byte_aligned_column({value}, bits);
  if (bits == 8) stored.data.resize(4);
  return stored;
}

StoredColumn with_count(StoredColumn stored, const Value &value) {
  stored.lens = {static_cast<ub1>(value.count)};
  return stored;
}

StoredColumn trailing_zero_constant(const Value &value, unsigned bits) {
  return bits == 8 ? fixed_constant(value, bits) : with_count(fixed_constant(value, bits), value);
}

// Control bytes hold the length codes of 8, 4 or 2 values, the first in the top bits. The fields after the last row
// are noise; a control byte of 64-bit values with a code above 7 stands for 16 bytes, whatever they are.
StoredColumn dynamic_packed_column(const std::vector<Value> &rows, unsigned bits) {
  const std::size_t values = bits == 16 ? 8 : bits == 32 ? 4 : 2;
  const std::size_t field_bits = 8 / values;
  StoredColumn stored;
  for (std::size_t first = 0; first < rows.size(); first += values) {
    ub4 control = bits == 64 ? 0x25 : 0xa5;
    bool valid = true;
    for (std::size_t row = first; row < rows.size() && row < first + values; ++row) {
      const std::size_t shift = 8 - field_bits * (1 + row - first);
      control = (control & ~(((1u << field_bits) - 1) << shift)) | rows[row].count << shift;
      valid = valid && rows[row].count < bits / 8;
    }
    stored.lens.push_back(static_cast<ub1>(control));
    if (!valid) stored.data.insert(stored.data.end(), 16, static_cast<ub1>(0x5a + first));
    for (std::size_t row = first; valid && row < rows.size() && row < first + values; ++row)
      append_number(stored.data, rows[row].number >> (bits - 8 * (rows[row].count + 1)), 8 * (rows[row].count + 1));
  }
  stored.data.insert(stored.data.end(), stream_slack, 0xb7);
  return stored;
}

StoredColumn dynamic_packed_constant(const Value &value, unsigned bits) {
  return byte_aligned_column({value}, bits);
}

StoredColumn counted_dynamic_packed_constant(const Value &value, unsigned bits) {
  return with_count(dynamic_packed_constant(value, bits), value);
}

} // namespace

using Bits = ColumnFormat::Bits;
using Counts = ColumnFormat::Counts;

const ColumnFormat byte_aligned_codes = {byte_aligned_column, code_cell, Bits::told_by_nobody, Counts::none};
const ColumnFormat packed_codes = {packed_column, code_cell, Bits::told_by_nobody, Counts::none};
const ColumnFormat fixed_values = {byte_aligned_column, fixed_constant, Bits::told_by_constant, Counts::none};
const ColumnFormat trailing_zero_values = {trailing_zero_column, trailing_zero_constant, Bits::told_by_column,
                                           Counts::trailing_zeros};
const ColumnFormat dynamic_packed_values = {dynamic_packed_column, dynamic_packed_constant, Bits::told_by_nobody,
                                            Counts::lengths};
const ColumnFormat counted_dynamic_packed_values = {dynamic_packed_column, counted_dynamic_packed_constant,
                                                    Bits::told_by_nobody, Counts::lengths};

const ColumnFormat &code_format(unsigned width) {
  return width == 8 || width == 16 || width == 32 || width == 64 ? byte_aligned_codes : packed_codes;
}

ub8 greatest_number(unsigned bits) {
  return bits == 64 ? ~ub8{0} : (ub8{1} << bits) - 1;
}

ub8 stored_bytes_of(ub8 number, ub4 length_code, unsigned bits) {
  const unsigned dropped = bits - 8 * (length_code + 1);
  return number >> dropped << dropped;
}

ub4 least_length_code(ub8 number, unsigned bits) {
  ub4 code = 0;
  while (stored_bytes_of(number, code, bits) != number) ++code;
  return code;
}

Value some_value(ub8 number, const ColumnFormat &format, unsigned bits, Random &random) {
  switch (format.counts) {
  case Counts::trailing_zeros:
    return {number, static_cast<ub4>(random.below(4))};
  case Counts::lengths: {
    const auto code = static_cast<ub4>(random.below(bits / 8));
    const ub4 least = least_length_code(number, bits);
    if (random.chance(30)) return {number, least};
    if (code > least) return {number, code};
    return {stored_bytes_of(number, code, bits), code};
  }
  case Counts::none:
    break;
  }
  return {number};
}

} // namespace mipo::check
