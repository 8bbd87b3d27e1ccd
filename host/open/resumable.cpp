#include "mipo/host/resumable.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace mipo::host {
namespace {

// A context's record for one loop: without selection and at the beginning, and at the end as it was before.
class LoopCall {
public:
  explicit LoopCall(CallContext &context)
      : context_(context), before_(*context.record()), messages_before_(context.messages().size()) {
    clear_selection();
    rewind();
  }
  LoopCall(const LoopCall &) = delete;
  LoopCall &operator=(const LoopCall &) = delete;
  ~LoopCall() { *context_.record() = before_; }

  mipo_call_ctx *record() { return context_.record(); }

  /// Without the column's own rows: those of `selection`, checked.
  void select(const RowSelection &selection, ub4 rows) {
    check(selection, rows);
    if (const BitVector *bits = selection.bits())
      context_.select(*bits, selection.selective());
    else if (const auto *list = selection.list())
      select_list(*list);
  }
  void select_list(std::span<const ub4> list) {
    record()->ones_list = list.data();
    record()->ones_list_len = static_cast<ub4>(list.size());
  }
  /// Throws what the kernel has reported.
  void check_reports() const {
    if (context_.messages().size() > messages_before_) throw Error(context_.messages()[messages_before_]);
  }

  static void check(const RowSelection &selection, ub4 rows) {
    if (const BitVector *bits = selection.bits(); bits != nullptr && bits->size() != rows)
      throw ArgumentError("a selection of " + std::to_string(bits->size()) + " bits does not fit a column of " +
                          std::to_string(rows) + " rows");
    const auto *list = selection.list();
    if (list == nullptr || list->empty()) return;
    if (std::adjacent_find(list->begin(), list->end(), std::greater_equal<>()) != list->end())
      throw ArgumentError("a list of rows has to ascend");
    if (list->back() >= rows)
      throw ArgumentError("a list of rows goes up to row " + std::to_string(list->back()) + ", the column has " +
                          std::to_string(rows));
  }

private:
  void clear_selection() {
    context_.select_all();
    select_list({});
    record()->ones_list = nullptr;
  }
  void rewind() {
    mipo_call_ctx &call = *record();
    call.next_row = call.run_index = call.run_end = 0;
    call.data_pos = 0;
  }

  CallContext &context_;
  mipo_call_ctx before_;
  std::size_t messages_before_;
};

bool is_empty_list(const RowSelection &selection) {
  return selection.list() != nullptr && selection.list()->empty();
}

void check_capacity(ub4 capacity) {
  if (capacity == 0) throw ArgumentError("a buffer has to have room for one row at least");
}

/// Calls visit(rows) for the selected rows, `capacity` at most at a time.
void for_each_batch(const Library &library, const RowSelection &selection, ub4 row_count, ub4 capacity,
                    const std::function<void(std::span<const ub4>)> &visit) {
  const auto visit_list = [&](std::span<const ub4> rows) {
    for (; !rows.empty(); rows = rows.subspan(std::min<std::size_t>(capacity, rows.size())))
      visit(rows.first(std::min<std::size_t>(capacity, rows.size())));
  };
  if (const BitVector *bits = selection.bits()) {
    RowReader reader(library, *bits);
    for (auto rows = reader.next(); !rows.empty(); rows = reader.next()) visit_list(rows);
  } else if (const auto *list = selection.list()) {
    visit_list(*list);
  } else {
    std::vector<ub4> rows(std::min(capacity, row_count));
    for (ub4 first = 0; first < row_count; first += static_cast<ub4>(rows.size())) {
      rows.resize(std::min<std::size_t>(rows.size(), row_count - first));
      std::iota(rows.begin(), rows.end(), first);
      visit(rows);
    }
  }
}

} // namespace

void copy_selected(const Library &library, CallContext &context, const mipo_vec &source, const RowSelection &selection,
                   StreamOutput &output, const std::function<void(const mipo_vec &)> &consume) {
  const auto copy = entry(library, &mipo_specialized_ctx::mipo_selective_dydi);
  const StreamForm form = stream_form(source);
  if (form.shape != output.form().shape || form.width != output.form().width)
    throw ArgumentError("a stream cannot be copied into an output of another form");
  LoopCall call(context);
  call.select(selection, source.nrows);
  const BitVector all_rows(selection.is_all() ? source.nrows : 0, true);
  if (selection.is_all()) context.select(all_rows, false);
  if (is_empty_list(selection)) return; // its address may be null, which would not tell a list
  for (ub4 code = MIPO_COPY_FULL; code == MIPO_COPY_FULL;) {
    output.clear();
    code = copy(output.vec(), &source, call.record());
    call.check_reports();
    if (code != MIPO_COPY_FULL) throw_unless_answered("mipo_selective_dydi", code);
    if (output.vec()->nrows != 0)
      consume(std::as_const(output).vec());
    else if (code == MIPO_COPY_FULL)
      throw Error("a row does not fit an output of " + std::to_string(output.row_capacity()) + " rows and " +
                  std::to_string(output.byte_capacity()) + " bytes");
  }
}

void unpack_codes(const Library &library, CallContext &context, const mipo_vec &column, ub4 key,
                  const RowSelection &selection, ub4 capacity,
                  const std::function<void(std::span<const ub4>)> &consume) {
  mipo_decode_kernel *unpack = library.decode(key);
  check_capacity(capacity);
  LoopCall call(context);
  call.select(selection, column.nrows);
  if (is_empty_list(selection)) return;
  call.record()->eval_flags |= MIPO_EVAL_WIDE_CODES;
  std::vector<ub4> codes(capacity);
  mipo_vec res{};
  res.data = codes.data();
  // A buffer that was not filled is the last one: the kernel does not tell by its code whether it stopped.
  do {
    res.nrows = capacity;
    res.nset = 0;
    const ub4 code = unpack(&res, &column, call.record());
    call.check_reports();
    throw_unless_answered(kernel_name(key), code);
    if (res.nset != 0) consume(std::span(codes).first(res.nset));
  } while (res.nset == capacity);
}

void decode_rows(const Library &library, CallContext &context, const mipo_vec &column, ub4 key,
                 const RowSelection &selection, ub4 capacity, const std::function<void(const DecodedRows &)> &consume) {
  mipo_decode_kernel *decode = library.decode(key);
  check_capacity(capacity);
  if ((column.enc_ctx->flags & MIPO_RLE) != 0)
    throw ArgumentError("the rows of a run-length column cannot be decoded one by one");
  LoopCall::check(selection, column.nrows);
  LoopCall call(context);
  std::vector<ub8> addresses(capacity);
  std::vector<ub2> lengths(capacity), indicators(capacity);
  mipo_vec res{};
  res.data = addresses.data();
  res.lens = lengths.data();
  res.inds = indicators.data();
  for_each_batch(library, selection, column.nrows, capacity, [&](std::span<const ub4> rows) {
    call.select_list(rows);
    res.nrows = static_cast<ub4>(rows.size());
    const ub4 code = decode(&res, &column, call.record());
    call.check_reports();
    throw_unless_answered(kernel_name(key), code);
    consume({rows, std::span(addresses).first(rows.size()), std::span(lengths).first(rows.size()),
             std::span(indicators).first(rows.size())});
  });
}

std::optional<CodeRange> extreme_codes(const Library &library, CallContext &context, const mipo_vec &column, ub4 key,
                                       const RowSelection &selection, Extremes which) {
  mipo_minmax_kernel *minmax = library.minmax(key);
  LoopCall call(context);
  call.select(selection, column.nrows);
  if (is_empty_list(selection)) return std::nullopt;
  CodeRange range{};
  static_assert(sizeof range == 2 * sizeof(ub4));
  mipo_vec res{};
  res.data = &range;
  const ub4 code = minmax(&res, &column, call.record(), static_cast<ub8>(which));
  call.check_reports();
  throw_unless_answered(kernel_name(key), code);
  if (code == MIPO_EMPTY) return std::nullopt;
  return range;
}

ub4 group_keys(const Library &library, CallContext &context, std::span<const mipo_vec> columns, KeyPacking packing,
               ub4 capacity, const std::function<void(std::span<const ub4>)> &consume) {
  const auto combine = entry(library, &mipo_specialized_ctx::mipo_groupkey_dydi);
  check_capacity(capacity);
  if (columns.empty()) throw ArgumentError("group keys are made of one column at least");
  const ub4 rows = columns.front().nrows;
  for (const mipo_vec &column : columns) {
    if (column.nrows != rows) throw ArgumentError("group keys are made of columns with equal numbers of rows");
    if ((column.enc_ctx->flags & MIPO_PACKED) == 0)
      throw ArgumentError("group keys are made of columns with a dictionary");
  }
  LoopCall call(context);
  if (packing == KeyPacking::products) call.record()->eval_flags |= MIPO_EVAL_MULTIPLY_KEYS;
  std::vector<ub4> keys(capacity), codes(capacity);
  mipo_vec out{}, temp{};
  out.data = keys.data();
  temp.data = codes.data();
  mipo_group_range range{};
  for (ub4 code = MIPO_GATHER_FULL; code == MIPO_GATHER_FULL;) {
    out.nrows = temp.nrows = capacity;
    out.nset = 0;
    code = combine(&out, &range, columns.data(), static_cast<ub4>(columns.size()), &temp, call.record());
    call.check_reports();
    if (code != MIPO_GATHER_FULL) throw_unless_answered("mipo_groupkey_dydi", code);
    if (out.nset == 0 && code == MIPO_GATHER_FULL) throw Error("mipo_groupkey_dydi made no progress");
    if (out.nset != 0) consume(std::span(keys).first(out.nset));
  }
  return range.ngroups;
}

} // namespace mipo::host
