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

ColumnCodes::ColumnCodes(const host::Library &library, const BoundColumn &column, ub4 chunk)
    : library_(library),
      column_(column),
      data_(column.stored().data),
      by_kernel_(has_code_kernels(column.stored())),
      has_null_(data_.domain().has_null()),
      vec_(data_.vec()),
      profile_(codes_step(column)) {
  if (!by_kernel_) {
    read_.resize(chunk);
    return;
  }
  unpacked_.resize(chunk + ChunkRows::spare);
  if (!column.is_joined()) return;
  value_by_code_ = CodeMap<ub8>(data_.domain(), no_value);
  for (ub8 code = 0; code < data_.domain().code_count(); ++code)
    value_by_code_[code] = column.value_of(code).value_or(no_value);
}

void ColumnCodes::read(ChunkRows &rows) {
  if (read_begin_ == rows.begin() && read_end_ == rows.end()) return;
  read_begin_ = rows.begin();
  read_end_ = rows.end();
  const Stopwatch stopwatch;
  if (by_kernel_) {
    unpack(rows);
  } else {
    const std::vector<ub4> &numbers = rows.numbers();
    for (std::size_t i = 0; i < numbers.size(); ++i) read_[i] = column_.code(numbers[i]).value_or(no_value);
  }
  profile_.add(stopwatch, rows.count(), rows.end() - rows.begin());
}

void ColumnCodes::unpack(ChunkRows &rows) {
  mipo_vec res{};
  res.data = unpacked_.data();
  res.nrows = static_cast<ub4>(unpacked_.size());
  vec_.nrows = rows.end();
  mipo_call_ctx ctx = rows.call();
  ctx.eval_flags |= MIPO_EVAL_WIDE_CODES;
  ctx.run_index = run_index_;
  ctx.run_end = run_end_;
  library_.decode(data_.key(MIPO_OP_DECODE_UNPACK, MIPO_VARIANT_PLAIN))(&res, &vec_, &ctx);
  run_index_ = ctx.run_index;
  run_end_ = ctx.run_end;
  if (res.nset != rows.count()) throw host::Error("a kernel unpacked another number of codes than was asked for");
}

} // namespace mipo::engine
