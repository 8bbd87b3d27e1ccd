#include "mipo/host/value_stream.h"

#include <cstring>
#include <limits>
#include <string>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

/// What a row of a shape is made of, in the order in which it lies in `data`; and whether it has a length in `lens`.
struct RowParts {
  bool length;
  bool address; // else the bytes themselves
  bool length_apart;
};

RowParts row_parts(RowShape shape) {
  switch (shape) {
  case RowShape::lengths_ahead:
    return {true, false, false};
  case RowShape::lengths_apart:
    return {false, false, true};
  case RowShape::addresses:
    return {true, true, false};
  case RowShape::addresses_and_lengths:
    return {false, true, true};
  case RowShape::fixed:
    break;
  }
  return {false, false, false};
}

constexpr std::size_t greatest_width = std::numeric_limits<ub4>::max() / 8;

void check_width(const StreamForm &form) {
  if (form.shape == RowShape::fixed && (form.width == 0 || form.width > greatest_width))
    throw ArgumentError("values of fixed width have 1 to " + std::to_string(greatest_width) + " bytes, not " +
                        std::to_string(form.width));
}

[[noreturn]] void refuse_value(const StreamForm &form, std::size_t row, std::size_t length) {
  const std::string value = "the value of row " + std::to_string(row) + " has " + std::to_string(length) + " bytes";
  if (form.shape == RowShape::fixed) throw EncodingError(value + ", all should have " + std::to_string(form.width));
  throw EncodingError(value + ", of which at most " + std::to_string(longest_stream_value) + " can be told");
}

/// Bytes of `data` that rows take whose values have `value_bytes` in all.
std::size_t data_size(const StreamForm &form, std::size_t rows, std::size_t value_bytes) {
  const RowParts parts = row_parts(form.shape);
  return rows * (parts.length ? sizeof(ub2) : 0) + (parts.address ? rows * sizeof(ub8) : value_bytes);
}

/// Appends to memory that is large enough.
class Writer {
public:
  explicit Writer(std::byte *next) : next_(next) {}

  void bytes(std::string_view bytes) {
    if (!bytes.empty()) std::memcpy(next_, bytes.data(), bytes.size());
    next_ += bytes.size();
  }
  template <class T>
  void number(T number) {
    std::memcpy(next_, &number, sizeof number);
    next_ += sizeof number;
  }
  const std::byte *next() const { return next_; }

private:
  std::byte *next_;
};

template <class T>
T read(const std::byte *&next) {
  T number;
  std::memcpy(&number, next, sizeof number);
  next += sizeof number;
  return number;
}

std::size_t total_size(const StreamForm &form, std::span<const std::string_view> values) {
  check_width(form);
  std::size_t total = 0;
  for (std::size_t row = 0; row < values.size(); ++row) {
    const std::size_t length = values[row].size();
    if (form.shape == RowShape::fixed ? length != form.width : length > longest_stream_value)
      refuse_value(form, row, length);
    total += length;
  }
  return total;
}

} // namespace

StreamForm stream_form(const mipo_vec &vec) {
  for (const RowShape shape : row_shapes)
    if ((vec.enc_ctx->flags & static_cast<ub4>(shape)) != 0)
      return {shape, shape == RowShape::fixed ? vec.enc_ctx->bits / 8 : 0};
  throw ArgumentError("the vector is no stream of byte strings");
}

ValueStream::ValueStream(StreamForm form, std::size_t rows, std::size_t data_bytes, std::size_t value_bytes)
    : form_(form),
      data_(data_bytes),
      lengths_(row_parts(form.shape).length_apart ? rows * sizeof(ub2) : 0),
      values_(value_bytes),
      records_(std::make_unique<Records>()) {
  if (rows > std::numeric_limits<ub4>::max())
    throw ArgumentError("a stream of " + std::to_string(rows) + " rows is longer than a vector can be");
  mipo_enc_ctx &enc_ctx = records_->enc_ctx;
  enc_ctx.flags = static_cast<ub4>(form.shape);
  if (form.shape == RowShape::fixed) enc_ctx.bits = static_cast<ub4>(8 * form.width);
  mipo_vec &vec = records_->vec;
  vec.data = data_.data();
  vec.lens = lengths_.data();
  vec.enc_ctx = &enc_ctx;
  vec.nrows = static_cast<ub4>(rows);
  vec.data_bytes = data_bytes;
}

ValueStream::ValueStream(StreamForm form, std::span<const std::string_view> values)
    : ValueStream(form, values, total_size(form, values)) {
}

ValueStream::ValueStream(StreamForm form, std::span<const std::string_view> values, std::size_t value_bytes)
    : ValueStream(form, values.size(), data_size(form, values.size(), value_bytes),
                  row_parts(form.shape).address ? value_bytes : 0) {
  const RowParts parts = row_parts(form.shape);
  Writer data(data_.data()), lengths(lengths_.data()), behind_addresses(values_.data());
  for (const std::string_view value : values) {
    const auto length = static_cast<ub2>(value.size());
    if (parts.length) data.number(length);
    if (parts.address) data.number(reinterpret_cast<ub8>(behind_addresses.next()));
    (parts.address ? behind_addresses : data).bytes(value);
    if (parts.length_apart) lengths.number(length);
  }
}

StreamOutput::StreamOutput(StreamForm form, ub4 rows, std::size_t bytes)
    : row_capacity_(rows),
      byte_capacity_((check_width(form), form.is_walked() ? bytes : data_size(form, rows, rows * form.width))),
      stream_(form, rows, byte_capacity_, 0) {
  clear();
}

void StreamOutput::clear() noexcept {
  vec()->nrows = row_capacity_;
  vec()->data_bytes = byte_capacity_;
}

StreamReader::StreamReader(const mipo_vec &vec)
    : form_(stream_form(vec)),
      rows_left_(vec.nrows),
      data_(static_cast<const std::byte *>(vec.data)),
      lengths_(static_cast<const std::byte *>(vec.lens)) {
}

std::string_view StreamReader::next() noexcept {
  --rows_left_;
  const RowParts parts = row_parts(form_.shape);
  std::size_t length = form_.width;
  if (parts.length) length = read<ub2>(data_);
  if (parts.length_apart) length = read<ub2>(lengths_);
  if (parts.address) return {reinterpret_cast<const char *>(read<ub8>(data_)), length};
  const std::string_view row(reinterpret_cast<const char *>(data_), length);
  data_ += length;
  return row;
}

std::vector<std::string_view> read_rows(const mipo_vec &vec) {
  StreamReader reader(vec);
  std::vector<std::string_view> rows;
  rows.reserve(reader.rows_left());
  while (reader.rows_left() != 0) rows.push_back(reader.next());
  return rows;
}

ub4 equal_rows(const Library &library, BitVector &equal, const mipo_vec &left, const mipo_vec &right) {
  const StreamForm form = stream_form(left), other = stream_form(right);
  if (form.shape != other.shape || form.width != other.width)
    throw ArgumentError("streams of different forms cannot be compared");
  if (left.nrows != right.nrows)
    throw ArgumentError("a stream of " + std::to_string(left.nrows) + " rows cannot be compared with one of " +
                        std::to_string(right.nrows));
  if (equal.size() != left.nrows) equal = BitVector(left.nrows);
  mipo_vec res{};
  res.bv = equal.words();
  entry(library, &mipo_specialized_ctx::mipo_eq_stream_dydi)(&res, &left, &right, 0);
  if (res.nset == left.nrows)
    equal.fill(true); // the kernel leaves the bits alone then
  else
    equal.clear_spare_bits();
  return res.nset;
}

} // namespace mipo::host
