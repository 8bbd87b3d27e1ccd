// What makes the parts of a column a column. The sizes are looked at when it is made of its parts; the contents when it
// is first used, because that takes the time of reading them. Codes are looked through by the kernels themselves, which
// take a tenth of the time that a general reader takes, once it is known that they read no further than the bytes go.
#include <algorithm>
#include <array>
#include <string>

#include "host/column/column_parts.h"
#include "mipo/host/bit_vector.h"
#include "mipo/host/context.h"
#include "mipo/host/errors.h"
#include "mipo/host/zstd_decompressor.h"

namespace mipo::host {
namespace {

void expect(bool holds, const char *what) {
  if (!holds) throw Error(what);
}

void expect_size(const ColumnParts &parts, ColumnPart part, std::size_t bytes) {
  if (parts[part].size() == bytes) return;
  throw Error("the " + std::string(part_name(part)) + " have " + std::to_string(parts[part].size()) +
              " bytes and not " + std::to_string(bytes));
}

void check_runs(const ColumnParts &parts, const RunTable &runs) {
  const ColumnShape &shape = parts.shape;
  ub8 row = 0;
  const std::span<const ub4> first_rows = runs.first_rows();
  const std::size_t step = first_rows.empty() ? 1 : RunTable::index_step;
  for (ub4 run = 0; run < shape.runs; ++run) {
    if (run % step == 0) expect(first_rows[run / step] == row, "the index of the runs does not belong to them");
    const ub4 length = runs.length(run);
    expect(length != 0 && row + length <= shape.rows && (shape.has_long_runs || length <= 255),
           "the runs are not those of the rows");
    row += length;
  }
  expect(row == shape.rows, "the runs are not those of the rows");
  if (shape.encoding.runs == RunForm::starts)
    expect(reinterpret_cast<const ub4 *>(runs.extents().data())[0] == 0, "the runs are not those of the rows");
}

// Lengths add up to the values, and positions are where they begin. A control byte at a time: its lengths' sum is
// looked up.
void check_dynamic_values(const ColumnParts &parts, const ValueFormat &format, std::size_t value_bytes) {
  const std::byte *const lengths = parts[ColumnPart::lengths].data();
  const std::size_t values = parts.shape.stored_values(), per_byte = format.values_per_control();
  std::array<ub1, 256> bytes_of;
  for (unsigned control = 0; control < bytes_of.size(); ++control) {
    int sum = 0;
    bool valid = true;
    for (std::size_t value = 0; value < per_byte; ++value) {
      const auto byte = static_cast<std::byte>(control);
      const int length = format.dynamic_bytes(&byte, value);
      valid = valid && length <= format.stored_bits() / 8;
      sum += length;
    }
    bytes_of[control] = static_cast<ub1>(valid ? sum : 0); // no valid one takes less than a byte
  }
  const auto *position = reinterpret_cast<const ub8 *>(parts[ColumnPart::positions].data());
  ub8 at = 0;
  std::size_t value = 0;
  for (const std::byte *control = lengths; value < values; ++control, value += per_byte) {
    if (ValueFormat::has_position(value)) expect(*position++ == at, "a position is not that of its value");
    const ub1 bytes = bytes_of[static_cast<unsigned>(*control)];
    expect(bytes != 0, "a length is not one of its form");
    at += bytes;
  }
  // Lengths after the last value are those of one byte each.
  expect(at - (value - values) == value_bytes, "the lengths are not those of the values");
}

// The values in a column's stream as a column of their own, without runs and without a filter, for kernels to look
// through.
class StoredValues {
public:
  // `streams.values` is decompressed.
  StoredValues(const Library &library, const ColumnShape &shape, const ValueFormat &format, const ValueStreams &streams)
      : library_(library), format_(format) {
    enc_ctx_.flags = format.flags();
    enc_ctx_.bits = static_cast<ub4>(format.stored_bits());
    vec_.data = const_cast<std::byte *>(streams.values.data());
    vec_.lens = const_cast<std::byte *>(streams.lengths.data());
    vec_.enc_ctx = &enc_ctx_;
    vec_.nrows = static_cast<ub4>(shape.stored_values());
  }

  // Whether all codes lie between `low` and `high`.
  bool lie_between(ub8 low, ub8 high) const {
    constexpr int widest_minmax = 32;
    if (vec_.nrows == 0) return true;
    if (format_.holds_numbers() || format_.kernel_bits() > widest_minmax)
      return rows_between(low, high).count() == vec_.nrows;
    const ub4 key = column_key(MIPO_OP_MINMAX, format_.family(), format_.kernel_bits(), MIPO_VARIANT_PLAIN);
    CallContext context(library_);
    ub4 extremes[2] = {};
    mipo_vec result{};
    result.data = extremes;
    constexpr ub8 both = 3;
    throw_unless_answered(kernel_name(key), library_.minmax(key)(&result, &vec_, context.record(), both));
    return extremes[0] >= low && extremes[1] <= high;
  }

  // Those with a code from `low` to `high`.
  Result rows_between(ub8 low, ub8 high) const {
    Result result(vec_.nrows);
    const Constant lo = format_.constant(low, &enc_ctx_), hi = format_.constant(high, &enc_ctx_);
    const ub4 key = column_key(MIPO_OP_GE_LE, format_.family(), format_.kernel_bits(), format_.variant(false));
    CallContext context(library_);
    throw_unless_answered(kernel_name(key),
                          library_.two_sided(key)(result.vec(), &vec_, &lo.vec(), &hi.vec(), context.record()));
    return result;
  }

private:
  const Library &library_;
  const ValueFormat &format_;
  mutable mipo_enc_ctx enc_ctx_{};
  mipo_vec vec_{};
};

// Of values without their trailing zero bytes.
void check_zero_counts(const ColumnParts &parts, const ValueFormat &format, const ValueStreams &streams) {
  if (format.length_bytes(1) == 0 || format.is_dynamic()) return;
  for (std::size_t i = 0; i < parts.shape.stored_values(); ++i)
    expect(format.stored_count(streams.lengths.data(), i) ==
               format.count(format.code(streams, streams.values.data(), i)),
           "a count of zeros is not right");
}

} // namespace

void check_sizes(const ColumnParts &parts) {
  const ColumnShape &shape = parts.shape;
  const Encoding &encoding = shape.encoding;
  expect(encoding.bits != 0, "the encoding has no width");
  const ValueFormat format(encoding, shape.cut_bytes);
  expect(shape.cut_bytes >= 0 && shape.cut_bytes <= format.most_cut_bytes(), "more bytes are cut than there are");
  const bool has_runs = encoding.runs != RunForm::none;
  expect(has_runs || (shape.runs == 0 && !shape.has_long_runs), "there are runs in a column without");
  expect(shape.runs <= shape.rows && shape.null_rows <= shape.rows, "there are more runs or nulls than rows");
  expect((shape.decompressed_bytes != 0) == encoding.compressed || shape.stored_values() == 0,
         "the compressed size contradicts the encoding");
  expect(shape.first_code <= shape.code_count, "the codes contradict each other");

  const std::size_t values = shape.stored_values();
  if (encoding.compressed)
    expect(parts[ColumnPart::values].size() >= sizeof(ub8), "the compressed values are cut off");
  else if (!format.is_dynamic())
    expect_size(parts, ColumnPart::values, format.value_bytes(values));
  expect_size(parts, ColumnPart::lengths, format.length_bytes(values));
  expect_size(parts, ColumnPart::positions, format.position_bytes(values));
  expect_size(parts, ColumnPart::runs, has_runs ? run_bytes(encoding.runs, shape.runs) : 0);
  expect_size(parts, ColumnPart::run_index, has_runs ? RunTable::index_bytes(shape.runs) : 0);
  if (encoding.compressed && !format.is_dynamic())
    expect(shape.decompressed_bytes == format.value_bytes(values) + format.slack(),
           "the decompressed size is not right");
  const bool has_validity = format.holds_numbers() && shape.null_rows != 0;
  expect_size(parts, ColumnPart::validity, has_validity ? (values + 63) / 64 * sizeof(ub8) : 0);
  if (format.holds_numbers()) {
    expect(shape.type.kind != ValueKind::text && !shape.has_null, "texts are not stored as numbers");
    for (const ColumnPart part : {ColumnPart::numbers, ColumnPart::symbol_bytes, ColumnPart::symbol_offsets})
      expect_size(parts, part, 0);
    return;
  }
  expect(shape.first_code == (shape.has_null ? 1 : 0) && shape.value_count <= 0xffffffff &&
             shape.code_count == shape.first_code + shape.value_count,
         "the codes contradict each other");
  expect(shape.has_null || shape.null_rows == 0, "NULL rows have no code");
  const bool is_text = shape.type.kind == ValueKind::text;
  expect_size(parts, ColumnPart::numbers, is_text ? 0 : shape.value_count * sizeof(std::int64_t));
  expect_size(parts, ColumnPart::symbol_offsets, is_text ? (shape.code_count + 1) * sizeof(ub4) : 0);
  if (!is_text) expect_size(parts, ColumnPart::symbol_bytes, 0);
}

// Strictly ascending, numbers or texts.
void check_dictionary(const ColumnParts &parts) {
  const ColumnShape &shape = parts.shape;
  if (ValueFormat(shape.encoding, shape.cut_bytes).holds_numbers()) return;
  if (shape.type.kind != ValueKind::text) {
    const Dictionary dictionary(shape.type, {AlignedBuffer(parts[ColumnPart::numbers].bytes(), nullptr), {}, {}},
                                shape.has_null, shape.value_count);
    const std::span<const std::int64_t> numbers = dictionary.numbers();
    expect(std::ranges::adjacent_find(numbers, std::ranges::greater_equal{}) == numbers.end(),
           "the numbers of the dictionary are not ascending");
    expect(std::ranges::all_of(numbers, [&](std::int64_t number) { return is_value_of(shape.type, number); }),
           "a number of the dictionary is no value of the column's type");
    return;
  }
  const std::span symbols = parts[ColumnPart::symbol_bytes].bytes();
  const auto *const offsets = reinterpret_cast<const ub4 *>(parts[ColumnPart::symbol_offsets].data());
  ub4 begin = 0;
  std::string_view before;
  for (ub8 code = 0; code <= shape.code_count; ++code) {
    const ub4 end = __builtin_bswap32(offsets[code]);
    expect(end >= begin && end <= symbols.size() && (code > shape.first_code || end == 0),
           "an offset of the dictionary lies outside its texts");
    const std::string_view text(reinterpret_cast<const char *>(symbols.data()) + begin, end - begin);
    if (code > shape.first_code) {
      expect(is_utf8(text), "a text of the dictionary is not UTF-8");
      expect(code == shape.first_code + 1 || before < text, "the texts of the dictionary are not ascending");
      before = text;
    }
    begin = end;
  }
  expect(begin == symbols.size(), "an offset of the dictionary lies outside its texts");
}

void check_rows(const ColumnParts &parts, const Library &library) {
  const ColumnShape &shape = parts.shape;
  const ValueFormat format(shape.encoding, shape.cut_bytes);

  RunTable runs;
  const bool has_runs = shape.encoding.runs != RunForm::none;
  const auto borrowed = [&](ColumnPart part) { return AlignedBuffer(parts[part].bytes(), nullptr); };
  if (has_runs) {
    runs = RunTable(shape.encoding.runs, shape.runs, shape.has_long_runs, borrowed(ColumnPart::runs),
                    borrowed(ColumnPart::run_index));
    check_runs(parts, runs);
  }

  ValueStreams streams{borrowed(ColumnPart::values), borrowed(ColumnPart::lengths), borrowed(ColumnPart::positions)};
  std::size_t value_bytes = streams.values.size();
  if (shape.encoding.compressed) {
    ub8 stream_bytes;
    std::copy_n(streams.values.data(), sizeof stream_bytes, reinterpret_cast<std::byte *>(&stream_bytes));
    expect(stream_bytes == streams.values.size() - sizeof stream_bytes, "the compressed values are cut off");
    expect(shape.decompressed_bytes >= format.slack(), "the decompressed size is not right");
    AlignedBuffer plain(shape.decompressed_bytes);
    ub4 length = 0;
    ZstdDecompressor zstd;
    expect(zstd.decompress(&zstd, streams.values.data(), plain.data(), &length, shape.decompressed_bytes) == 0,
           "the compressed values cannot be decompressed");
    value_bytes = shape.decompressed_bytes - format.slack();
    streams.values = std::move(plain);
  }
  if (format.is_dynamic()) check_dynamic_values(parts, format, value_bytes);

  const StoredValues values(library, parts.shape, format, streams);
  const ub8 greatest = shape.code_count > shape.first_code ? shape.code_count - 1 : shape.first_code;
  expect(values.lie_between(format.holds_numbers() ? shape.first_code : 0, greatest), "a code has no value");
  check_zero_counts(parts, format, streams);

  BitVector nulls(shape.stored_values());
  if (parts[ColumnPart::validity].size() != 0) {
    const BitVector validity(borrowed(ColumnPart::validity), shape.stored_values());
    const ub8 in_last = shape.stored_values() % 64;
    expect(in_last == 0 || validity.words()[validity.word_count() - 1] >> in_last == 0,
           "there are more bits than values");
    bit_not(library, nulls, validity);
  } else if (shape.has_null) {
    nulls = std::move(values.rows_between(0, 0).bits());
  }
  if (format.holds_numbers())
    expect(format.number_range(shape.type, shape.value_count, shape.first_code, shape.code_count).has_values_only(),
           "a number is no value of the column's type");
  ub8 null_rows = nulls.count();
  if (has_runs) {
    null_rows = 0;
    RowReader reader(library, nulls);
    for (auto batch = reader.next(); !batch.empty(); batch = reader.next())
      for (const ub4 run : batch) null_rows += runs.length(run);
  }
  expect(null_rows == shape.null_rows, "the null rows are not as many as told");
}

} // namespace mipo::host
