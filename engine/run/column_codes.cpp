#include "engine/run/column_codes.h"

namespace mipo::engine {

namespace {

KernelProfile codes_step(const BoundColumn &column) {
  const host::Column &stored = column.stored();
  const std::string condition = "codes of " + (column.is_joined() ? column.key->name : column.name);
  if (!has_code_kernels(stored)) return row_step("read values", condition);
  return kernel_step(stored.data.key(MIPO_OP_DECODE_UNPACK, MIPO_VARIANT_PLAIN), condition);
}

} // namespace

ColumnCodes::ColumnCodes(const host::Library &library, const BoundColumn &column, ChunkRows &rows, ub4 chunk)
    : column_(column),
      rows_(rows),
      data_(column.stored().data),
      by_kernel_(has_code_kernels(column.stored())),
      has_null_(data_.domain().has_null()),
      profile_(codes_step(column)) {
  if (!by_kernel_) {
    read_.resize(chunk);
    return;
  }
  unpacked_.resize(chunk + ChunkRows::spare);
  cursor_.emplace(library, rows.context(), data_.vec(), data_.key(MIPO_OP_DECODE_UNPACK, MIPO_VARIANT_PLAIN),
                  rows.selection());
  if (!column.is_joined()) return;
  value_by_code_ = CodeMap<ub8>(data_.domain(), no_value);
  for (ub8 code = 0; code < data_.domain().code_count(); ++code)
    value_by_code_[code] = column.value_of(code).value_or(no_value);
}

void ColumnCodes::read() {
  if (read_begin_ == rows_.begin() && read_end_ == rows_.end()) return;
  read_begin_ = rows_.begin();
  read_end_ = rows_.end();
  const Stopwatch stopwatch;
  if (by_kernel_) {
    cursor_->skip_to(rows_.begin());
    const auto codes = cursor_->next(unpacked_, rows_.end());
    if (codes.size() != rows_.count())
      throw host::Error("a kernel unpacked another number of codes than was asked for");
  } else {
    const std::vector<ub4> &numbers = rows_.numbers();
    data_.read_codes(numbers, no_value, read_);
    if (column_.is_joined())
      for (std::size_t i = 0; i < numbers.size(); ++i)
        if (read_[i] != no_value) read_[i] = column_.value_of(read_[i]).value_or(no_value);
  }
  profile_.add(stopwatch, rows_.count(), rows_.end() - rows_.begin());
}

} // namespace mipo::engine
