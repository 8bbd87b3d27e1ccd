#include "mipo/host/resumable.h"

#include <algorithm>
#include <functional>
#include <numeric>

#include "mipo/host/kernel_names.h"

namespace mipo::host {
namespace {

void check_selection(const RowSelection &selection, ub4 rows) {
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

void check_room(std::size_t capacity) {
  if (capacity == 0) throw ArgumentError("a buffer has to have room for one row at least");
}

} // namespace

Cursor::Cursor(CallContext &context, std::string_view kernel, const RowSelection &selection, ub4 rows)
    : context_(context),
      call_(*context.record()),
      none_(selection.list() != nullptr && selection.list()->empty()),
      kernel_(kernel),
      messages_before_(context.messages().size()) {
  check_selection(selection, rows);
  call_.ones_vec = nullptr;
  call_.ones_list = nullptr;
  call_.ones_list_len = 0;
  call_.eval_flags &= ~ub4{MIPO_EVAL_SELECTIVE};
  call_.next_row = call_.run_index = call_.run_end = 0;
  call_.data_pos = 0;
  if (const BitVector *bits = selection.bits()) {
    call_.ones_vec = const_cast<ub8 *>(bits->words());
    if (selection.selective()) call_.eval_flags |= MIPO_EVAL_SELECTIVE;
  } else if (const auto *list = selection.list()) {
    select_list(*list);
  }
}

void Cursor::select_list(std::span<const ub4> list) {
  call_.ones_list = list.data();
  call_.ones_list_len = static_cast<ub4>(list.size());
}

void Cursor::check(ub4 code) const {
  if (context_.messages().size() > messages_before_) throw Error(context_.messages()[messages_before_]);
  throw_unless_answered(kernel_, code);
}

CodeCursor::CodeCursor(const Library &library, CallContext &context, const mipo_vec &column, ub4 key,
                       const RowSelection &selection)
    : Cursor(context, kernel_name(key), selection, column.nrows),
      rows_(column.nrows),
      unpack_(library.decode(key)),
      column_(column) {
  call_.eval_flags |= MIPO_EVAL_WIDE_CODES;
}

std::span<const ub4> CodeCursor::next(std::span<ub4> codes, ub4 end) {
  check_room(codes.size());
  if (none_) return {};
  column_.nrows = std::min(end, rows_);
  mipo_vec res{};
  res.data = codes.data();
  res.nrows = static_cast<ub4>(codes.size());
  check(unpack_(&res, &column_, &call_));
  return codes.first(res.nset);
}

RowNumberCursor::RowNumberCursor(const Library &library, const RowSelection &selection, ub4 rows)
    : next_row_(selection.is_all() ? 0 : rows), rows_(rows) {
  check_selection(selection, rows);
  if (const BitVector *bits = selection.bits()) bits_.emplace(library, *bits);
  if (const auto *list = selection.list()) ready_ = *list;
}

std::span<const ub4> RowNumberCursor::next(std::size_t most) {
  if (ready_.empty() && bits_) ready_ = bits_->next();
  if (ready_.empty() && next_row_ < rows_) {
    numbers_.resize(std::min<std::size_t>(most, rows_ - next_row_));
    std::iota(numbers_.begin(), numbers_.end(), next_row_);
    next_row_ += static_cast<ub4>(numbers_.size());
    ready_ = numbers_;
  }
  const std::span<const ub4> taken = ready_.first(std::min(most, ready_.size()));
  ready_ = ready_.subspan(taken.size());
  return taken;
}

SymbolCursor::SymbolCursor(const Library &library, CallContext &context, const mipo_vec &column, ub4 key, ub4 capacity,
                           const RowSelection &selection)
    : Cursor(context, kernel_name(key), {}, column.nrows),
      decode_(library.decode(key)),
      column_(column),
      rows_(library, selection, column.nrows),
      addresses_(capacity),
      lengths_(capacity),
      indicators_(capacity) {
  check_room(capacity);
  if ((column.enc_ctx->flags & MIPO_RLE) != 0)
    throw ArgumentError("the rows of a run-length column cannot be decoded one by one");
}

DecodedRows SymbolCursor::next() {
  const std::span<const ub4> rows = rows_.next(addresses_.size());
  if (rows.empty()) return {};
  select_list(rows);
  mipo_vec res{};
  res.data = addresses_.data();
  res.lens = lengths_.data();
  res.inds = indicators_.data();
  res.nrows = static_cast<ub4>(rows.size());
  check(decode_(&res, &column_, &call_));
  return {rows, std::span(addresses_).first(rows.size()), std::span(lengths_).first(rows.size()),
          std::span(indicators_).first(rows.size())};
}

StreamCursor::StreamCursor(const Library &library, CallContext &context, const mipo_vec &source,
                           const RowSelection &selection)
    : Cursor(context, "mipo_selective_dydi", selection, source.nrows),
      library_(library),
      source_(source),
      done_(none_) {
  if (!selection.is_all()) return;
  all_.emplace(source.nrows, true);
  call_.ones_vec = all_->words();
}

const mipo_vec *StreamCursor::next(StreamOutput &output) {
  const StreamForm form = stream_form(source_);
  if (form.shape != output.form().shape || form.width != output.form().width)
    throw ArgumentError("a stream cannot be copied into an output of another form");
  if (done_) return nullptr;
  output.clear();
  const ub4 code = entry(library_, &mipo_specialized_ctx::mipo_selective_dydi)(output.vec(), &source_, &call_);
  const bool full = code == MIPO_COPY_FULL;
  check(full ? ub4{MIPO_DONE} : code);
  done_ = !full;
  if (output.vec()->nrows != 0) return output.vec();
  if (!full) return nullptr;
  throw Error("a row does not fit an output of " + std::to_string(output.row_capacity()) + " rows and " +
              std::to_string(output.byte_capacity()) + " bytes");
}

std::optional<CodeRange> extreme_codes(const Library &library, CallContext &context, const mipo_vec &column, ub4 key,
                                       const RowSelection &selection, Extremes which) {
  struct Call : Cursor { // of a loop that ends at once
    using Cursor::call_;
    using Cursor::check;
    using Cursor::none_;
    Call(CallContext &context, std::string_view kernel, const RowSelection &selection, ub4 rows)
        : Cursor(context, kernel, selection, rows) {}
  };
  mipo_minmax_kernel *minmax = library.minmax(key);
  Call loop(context, kernel_name(key), selection, column.nrows);
  if (loop.none_) return std::nullopt;
  CodeRange range{};
  static_assert(sizeof range == 2 * sizeof(ub4));
  mipo_vec res{};
  res.data = &range;
  const ub4 code = minmax(&res, &column, &loop.call_, static_cast<ub8>(which));
  loop.check(code);
  if (code == MIPO_EMPTY) return std::nullopt;
  return range;
}

GroupKeyCursor::GroupKeyCursor(const Library &library, CallContext &context, std::span<const mipo_vec> columns,
                               KeyPacking packing, const RowSelection &selection)
    : Cursor(context, "mipo_groupkey_dydi", selection, columns.empty() ? 0 : columns.front().nrows),
      library_(library),
      columns_(columns.begin(), columns.end()),
      rows_(columns.empty() ? 0 : columns.front().nrows) {
  if (columns.empty()) throw ArgumentError("group keys are made of one column at least");
  for (const mipo_vec &column : columns) {
    if (column.nrows != rows_) throw ArgumentError("group keys are made of columns with equal numbers of rows");
    if ((column.enc_ctx->flags & MIPO_PACKED) == 0)
      throw ArgumentError("group keys are made of columns with a dictionary");
  }
  if (packing == KeyPacking::products) call_.eval_flags |= MIPO_EVAL_MULTIPLY_KEYS;
}

std::span<const ub4> GroupKeyCursor::next(std::span<ub4> keys, ub4 end) {
  check_room(keys.size());
  end = std::min(end, rows_);
  if (none_ || done_up_to_ >= end) return {};
  for (mipo_vec &column : columns_) column.nrows = end;
  codes_.resize(std::max(codes_.size(), keys.size()));
  mipo_vec out{}, further{};
  out.data = keys.data();
  further.data = codes_.data();
  out.nrows = further.nrows = static_cast<ub4>(keys.size());
  const ub4 code = entry(library_, &mipo_specialized_ctx::mipo_groupkey_dydi)(
      &out, &range_, columns_.data(), static_cast<ub4>(columns_.size()), &further, &call_);
  const bool full = code == MIPO_GATHER_FULL;
  check(full ? ub4{MIPO_DONE} : code);
  if (full && out.nset == 0) throw Error("mipo_groupkey_dydi made no progress");
  if (!full) done_up_to_ = end;
  return keys.first(out.nset);
}

} // namespace mipo::host
