#include "engine/run/extremes.h"

#include <algorithm>

#include <fmt/format.h>

#include "mipo/host/context.h"
#include "mipo/host/kernel_names.h"
#include "mipo/host/resumable.h"

namespace mipo::engine {
namespace {

// Codes, as far as they are wanted.
struct Extremes {
  std::optional<ub8> least, greatest;
};

// Kernels for extremes exist for codes up to 32 bits.
Extremes extremes_by_kernel(RunContext &context, const host::Column &column, bool least, bool greatest,
                            const TableRows &rows, KernelProfile &call) {
  using Which = host::Extremes;
  const Which which = least && greatest ? Which::both : least ? Which::minimum : Which::maximum;
  call.key = column.data.key(MIPO_OP_MINMAX);
  call.name = host::kernel_name(call.key);
  host::CallContext ctx(context.library, &context.decompressor);
  const Stopwatch stopwatch;
  const std::optional<host::CodeRange> found =
      host::extreme_codes(context.library, ctx, column.data.vec(), call.key, rows.selection(), which);
  call.seconds = stopwatch.seconds();
  if (!found) return {};
  return {found->minimum, found->maximum};
}

Extremes extremes_row_by_row(RunContext &context, const host::Column &column, const TableRows &rows,
                             KernelProfile &call) {
  constexpr ub8 no_value = ~ub8{0};
  call.kind = KernelProfile::Kind::row_by_row;
  call.name = "row by row";
  column.data.decompress(context.decompressor);
  Extremes found;
  std::vector<ub8> codes(host::RowReader::batch_rows);
  const Stopwatch stopwatch;
  host::RowNumberCursor numbers(context.library, rows.selection(), rows.table_rows);
  for (auto batch = numbers.next(codes.size()); !batch.empty(); batch = numbers.next(codes.size())) {
    column.data.read_codes(batch, no_value, codes);
    for (const ub8 code : std::span(codes).first(batch.size())) {
      if (code == no_value) continue;
      if (!found.least || code < *found.least) found.least = code;
      if (!found.greatest || code > *found.greatest) found.greatest = code;
    }
  }
  call.seconds = stopwatch.seconds();
  return found;
}

Extremes extremes(RunContext &context, const host::Column &column, bool least, bool greatest, const TableRows &rows,
                  std::vector<KernelProfile> &calls) {
  KernelProfile call;
  call.rows_in = call.rows_read = rows.count();
  call.selective = rows.selected != nullptr;
  call.condition = least && greatest ? fmt::format("min({0}), max({0})", column.name)
                                     : fmt::format("{}({})", least ? "min" : "max", column.name);
  const Extremes found = has_code_kernels(column) ? extremes_by_kernel(context, column, least, greatest, rows, call)
                                                  : extremes_row_by_row(context, column, rows, call);
  call.rows_out = found.least || found.greatest ? 1 : 0;
  calls.push_back(std::move(call));
  return found;
}

} // namespace

// Each column is looked at once, whichever aggregates want it.
KnownExtremes extremes_of_columns(RunContext &context, const Plan &plan, const TableRows &rows,
                                  std::vector<KernelProfile> &calls) {
  const auto column_of = [&](const PlannedAggregate &planned, AggregateFunction function) -> const host::Column * {
    const bool is_column = planned.argument && planned.argument->kind == BoundExpression::Kind::column;
    const bool known = is_column && planned.function == function && !planned.argument->column->is_joined();
    return known ? planned.argument->column->values : nullptr;
  };
  const auto wanted = [&](const host::Column *column, AggregateFunction function) {
    return std::any_of(plan.aggregates.begin(), plan.aggregates.end(),
                       [&](const PlannedAggregate &planned) { return column_of(planned, function) == column; });
  };
  KnownExtremes known;
  std::map<const host::Column *, Extremes> found;
  for (std::size_t i = 0; i < plan.aggregates.size(); ++i) {
    for (const AggregateFunction function : {AggregateFunction::minimum, AggregateFunction::maximum}) {
      const host::Column *column = column_of(plan.aggregates[i], function);
      if (column == nullptr) continue;
      if (!found.contains(column)) {
        found[column] = extremes(context, *column, wanted(column, AggregateFunction::minimum),
                                 wanted(column, AggregateFunction::maximum), rows, calls);
      }
      const auto &code = function == AggregateFunction::minimum ? found[column].least : found[column].greatest;
      known[i] = code ? Value(CodedValue{&column->domain(), *code}) : Value();
    }
  }
  return known;
}

} // namespace mipo::engine
