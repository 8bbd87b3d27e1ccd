#include "mipo/host/sortable_numbers.h"

#include <limits>
#include <string>

#include "mipo/host/return_codes.h"
#include "mipo/keys.h"

namespace mipo::host {
namespace {

std::string_view type_name(FloatType type) {
  switch (type) {
  case FloatType::float32:
    return "float";
  case FloatType::float64:
    return "double";
  case FloatType::float16:
    return "float16";
  case FloatType::bfloat16:
    return "bfloat16";
  }
  return "unknown";
}

std::size_t value_bytes(FloatType type) {
  if (type == FloatType::float64) return sizeof(double);
  return type == FloatType::float32 ? sizeof(float) : sizeof(ub2);
}

bool has_patterns(FloatType type) {
  return type == FloatType::float16 || type == FloatType::bfloat16;
}

FloatType checked_16bit(FloatType type) {
  if (!has_patterns(type)) throw ArgumentError("patterns of 16 bits are no column of " + std::string(type_name(type)));
  return type;
}

void convert(const Library &library, void *to, const mipo_vec &from) {
  mipo_vec res{};
  res.data = to;
  const ub4 code = entry(library, &mipo_specialized_ctx::mipo_convert_dydi)(&res, &from, nullptr);
  throw_unless_answered("mipo_convert_dydi", code);
}

} // namespace

SortableColumn::SortableColumn(const Library &library, FloatType type, const void *values, std::size_t count)
    : stored_(count * value_bytes(type)), records_(std::make_unique<Records>()) {
  if (count > std::numeric_limits<ub4>::max())
    throw ArgumentError("a column of " + std::to_string(count) + " values is longer than a vector can be");
  const auto bits = static_cast<ub4>(8 * value_bytes(type));
  mipo_enc_ctx &enc_ctx = records_->enc_ctx;
  enc_ctx.flags = MIPO_NATIVE;
  enc_ctx.bits = bits;
  enc_ctx.width_index = static_cast<ub1>(mipo_convert_width(static_cast<int32_t>(bits)));
  enc_ctx.num_type = static_cast<ub1>(type);
  mipo_vec &vec = records_->vec;
  vec.data = const_cast<void *>(values);
  vec.enc_ctx = &enc_ctx;
  vec.nrows = static_cast<ub4>(count);
  convert(library, stored_.data(), vec);
  enc_ctx.flags = MIPO_FIXED;
  vec.data = stored_.data();
}

SortableColumn::SortableColumn(const Library &library, std::span<const float> values)
    : SortableColumn(library, FloatType::float32, values.data(), values.size()) {
}

SortableColumn::SortableColumn(const Library &library, std::span<const double> values)
    : SortableColumn(library, FloatType::float64, values.data(), values.size()) {
}

SortableColumn::SortableColumn(const Library &library, FloatType type, std::span<const ub2> patterns)
    : SortableColumn(library, checked_16bit(type), patterns.data(), patterns.size()) {
}

template <class T>
std::vector<T> SortableColumn::read(const Library &library, bool fits, std::string_view wanted) const {
  if (!fits)
    throw ArgumentError("a column of " + std::string(type_name(type())) + " cannot be read as " + std::string(wanted));
  std::vector<T> values(rows());
  convert(library, values.data(), vec());
  return values;
}

std::vector<float> SortableColumn::floats(const Library &library) const {
  return read<float>(library, type() == FloatType::float32, "float");
}

std::vector<double> SortableColumn::doubles(const Library &library) const {
  return read<double>(library, type() == FloatType::float64, "double");
}

std::vector<ub2> SortableColumn::patterns(const Library &library) const {
  return read<ub2>(library, has_patterns(type()), "patterns of 16 bits");
}

} // namespace mipo::host
