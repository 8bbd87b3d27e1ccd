// Which rows a resumable kernel takes, and in which run they lie: the walks that a call can go on with.
#ifndef MIPO_COLUMN_SELECTED_ROWS_H
#define MIPO_COLUMN_SELECTED_ROWS_H

#include "column/runs.h"
#include "interface/entry_functions.h"

namespace mipo::column {

// The selected rows from `next_row` on, ascending, some at a time: from the bit vector if there is one, else the list.
class SelectedRows {
public:
  SelectedRows(const mipo_vec *src, const mipo_call_ctx *ctx)
      : list_(ctx->ones_list),
        list_end_(ctx->ones_list + (ctx->ones_vec == nullptr ? ctx->ones_list_len : 0)),
        from_vector_(ctx->ones_vec != nullptr) {
    if (from_vector_)
      mipo_lbiwv_ictx_ini2_dydi(&iterator_, ctx->ones_vec, src->nrows, 0, ctx->next_row);
    else
      while (list_ != list_end_ && *list_ < ctx->next_row) ++list_;
    // The row after the selection's last: where a call that has seen all of it would go on.
    end_ = from_vector_ ? src->nrows : list_ != list_end_ ? list_end_[-1] + 1 : ctx->next_row;
  }

  ub4 end() const { return end_; }

  // Takes rows in order for as long as take(row) says to go on.
  void each(auto take) {
    each_batch([&](const ub4 *rows, ub8 count) {
      for (ub8 i = 0; i < count; ++i)
        if (!take(rows[i])) return false;
      return true;
    });
  }

  // The same, some rows at a time: take(rows, count). A list is one batch, so that it shares the loop.
  void each_batch(auto take) {
    ub4 numbers[batch];
    ub8 count;
    do {
      count = from_vector_ ? mipo_lbiwvones_dydi(&iterator_, numbers, batch) : static_cast<ub8>(list_end_ - list_);
      if (!take(from_vector_ ? numbers : list_, count)) return;
    } while (from_vector_ && count == batch);
  }

private:
  static constexpr ub8 batch = 256;

  const ub4 *list_;
  const ub4 *list_end_;
  bool from_vector_;
  ub4 end_;
  mipo_lbiv_ictx iterator_;
};

// Where a walk over runs is; its state between calls lies in the call context.
template <class Runs>
class RunCursor {
public:
  RunCursor(Runs runs, const mipo_enc_ctx *enc_ctx, const mipo_call_ctx *ctx)
      : runs_(runs), run_count_(enc_ctx->run_count) {
    if (ctx->next_row == 0 || ctx->run_end == 0) return;
    run_ = ctx->run_index;
    end_ = ctx->run_end;
  }

  // Moves to the run that `row` lies in; false if the runs end before it.
  bool find(ub4 row) {
    while (end_ <= row) {
      if (run_ + 1 == run_count_) return false; // also from before the first run, if there is none
      ++run_;
      end_ += runs_.length(run_);
    }
    return true;
  }
  ub4 run() const { return run_; }
  ub4 end() const { return end_; }
  void store(mipo_call_ctx *ctx) const {
    ctx->run_index = run_;
    ctx->run_end = end_;
  }

private:
  Runs runs_;
  ub4 run_count_;
  ub4 run_ = ~ub4{0}, end_ = 0; // before the first run
};

// A list that selects no row: on run-length columns the host is told.
inline bool selects_by_empty_list(const mipo_call_ctx *ctx) {
  return ctx->ones_vec == nullptr && ctx->ones_list != nullptr && ctx->ones_list_len == 0;
}

} // namespace mipo::column

#endif
