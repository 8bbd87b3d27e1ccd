#include "engine/run/row_numbers.h"

#include <cstddef>

namespace mipo::engine {
namespace {

Value value_of_code(const BoundColumn &column, std::optional<ub8> code) {
  return code ? Value(CodedValue{&column.domain(), *code}) : Value();
}

} // namespace

Value RowNumbers::StoredValues::read(const BoundExpression &expression, ub4 number) const {
  return value_of_code(*expression.column, expression.column->code(number));
}

void RowNumbers::start() {
  source_ = input().next();
  for (const host::EncodedColumn *column : columns_) column->decompress(context_.decompressor);
  const TableRows &rows = source_->rows();
  numbers_.emplace(context_.library, rows.selection(), rows.table_rows);
  if (rows.selected == nullptr) return;
  calls_.push_back(
      entry_step("mipo_lbiwvones_dydi", offsetof(mipo_specialized_ctx, mipo_lbiwvones_dydi), "row numbers"));
  calls_.back().rows_in = rows.count();
}

std::vector<ub4> RowNumbers::next_numbers() {
  const Stopwatch stopwatch;
  const std::span<const ub4> numbers = numbers_->next(host::RowReader::batch_rows);
  if (!calls_.empty()) {
    KernelProfile &call = calls_.back();
    call.seconds += stopwatch.seconds();
    call.rows_out += numbers.size();
    if (!numbers.empty()) call.rows_read = ub8{numbers.back()} + 1;
  }
  return {numbers.begin(), numbers.end()};
}

std::optional<Batch> RowNumbers::next() {
  if (!source_) start();
  std::vector<ub4> numbers = next_numbers();
  if (numbers.empty()) return std::nullopt;
  return Batch{{TableRows{source_->rows().table_rows, nullptr, std::move(numbers)}}, &values_};
}

Value JoinedValues::Values::read(const BoundExpression &expression, ub4 number) const {
  const BoundColumn &column = *expression.column;
  return value_of_code(column, column.is_joined() ? of_.materialized_.code(column, number) : column.code(number));
}

std::optional<Batch> JoinedValues::next() {
  std::optional<Batch> all = pull_all(input());
  if (!all) return all;
  host::Result within(all->rows().table_rows);
  for (const ub4 row : all->numbers()) within.bits().set(row);
  within.vec()->nset = static_cast<ub4>(all->numbers().size());
  materialized_ = MaterializedColumns(context_.library, joined_, within, calls_);
  all->values = &values_;
  return all;
}

} // namespace mipo::engine
