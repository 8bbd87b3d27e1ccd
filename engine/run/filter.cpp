#include "engine/run/filter.h"

#include "engine/run/bit_algebra.h"
#include "engine/run/row_selection.h"
#include "engine/run/translation.h"

namespace mipo::engine {

std::optional<Batch> Filter::next() {
  std::optional<Batch> batch = input().next();
  if (!batch) return std::nullopt;
  std::vector<ColumnPredicate> tests;
  for (const TranslationJoin *join : joins_)
    if (std::optional<ColumnPredicate> test = join->partner_test()) tests.push_back(std::move(*test));
  const std::optional<RowCondition> condition = row_condition(where_, std::move(tests), inner_);
  if (!condition) return batch;
  result_ = run(*condition, batch->rows().selected);
  batch->rows().selected = &*result_;
  return batch;
}

host::Result Filter::run(const RowCondition &condition, const host::Result *within) {
  switch (condition.kind) {
  case RowCondition::Kind::column_test:
    return test_column(condition, within);
  case RowCondition::Kind::all_of: {
    host::Result result = run(condition.operands.front(), within);
    for (std::size_t i = 1; i < condition.operands.size(); ++i) result = run(condition.operands[i], &result);
    return result;
  }
  case RowCondition::Kind::any_of:
    break;
  }
  host::Result result = run(condition.operands.front(), within);
  for (std::size_t i = 1; i < condition.operands.size(); ++i) {
    const host::Result other = run(condition.operands[i], within);
    calls_.push_back(unite(context_.library, result, other, condition.text));
  }
  return result;
}

host::Result Filter::test_column(const RowCondition &test, const host::Result *within) {
  host::Result result = select(*test.column, test.calls.front(), within);
  for (std::size_t i = 1; i < test.calls.size(); ++i) {
    const host::Result other = select(*test.column, test.calls[i], within);
    calls_.push_back(unite(context_.library, result, other, test.text));
  }
  return result;
}

// The rows in question can be handed to a kernel unless the kernel answers for runs, or the others are meant.
host::Result Filter::select(const BoundColumn &tested, const KernelCall &call, const host::Result *within) {
  if (call.operation == MIPO_OP_XLATE) return look_up(tested, call, within);
  const host::Column &column = tested.stored();
  const bool has_runs = column.data.has_runs();
  if (!has_runs && !call.complemented) return select_rows(context_, column, call, within, calls_);
  host::Result result(column.data.rows());
  if (call.complemented && !has_runs) {
    // The bits of the rows with a value are there already.
    calls_.push_back(complement(context_.library, result, *column.data.validity(), call.text));
  } else {
    result = select_rows(context_, column, call, nullptr, calls_);
    if (call.complemented) calls_.push_back(complement(context_.library, result, result.bits(), call.text));
  }
  if (within != nullptr) calls_.push_back(intersect(context_.library, result, *within, call.text));
  return result;
}

host::Result Filter::look_up(const BoundColumn &column, const KernelCall &call, const host::Result *within) {
  CodeMap<bool> members(column.domain());
  call.set.each([&](ub8 code) { members[code] = true; });
  const host::EncodedColumn &data = column.stored().data;
  data.decompress(context_.decompressor);
  return rows_in_table(context_.library, host::TranslationTable::of_members(members.by_index()), column, within,
                       context_.threads_for(data.rows()), call.text, calls_);
}

} // namespace mipo::engine
