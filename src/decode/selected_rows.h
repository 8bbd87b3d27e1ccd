// Which rows a resumable kernel takes, and in which run they lie: the walks that a call can go on with.
#ifndef MIPO_DECODE_SELECTED_ROWS_H
#define MIPO_DECODE_SELECTED_ROWS_H

#include "frame/entries.h"
#include "frame/runs.h"

namespace mipo::decode {

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
    // What is after the selection's last row: where a call that has seen all of it would go on.
    end_ = from_vector_ ? src->nrows : list_ != list_end_ ? list_end_[-1] + 1 : ctx->next_row;
  }

  ub4 end() const { return end_; }

  // Takes rows in order for as long as take(row) says to go on.
  void each(auto take) {
    each_with_later<0>([&](ub4 row, ub4) { return take(row); });
  }

  // The same, with a row that will be taken `ahead` rows later, or not so much later where the rows at hand end.
  template <ub8 ahead>
  void each_with_later(auto take) {
    if (!from_vector_) {
      take_all<ahead>(list_, static_cast<ub8>(list_end_ - list_), take);
      return;
    }
    ub4 numbers[batch];
    for (ub8 got = batch; got == batch;) {
      got = mipo_lbiwvones_dydi(&iterator_, numbers, batch);
      if (!take_all<ahead>(numbers, got, take)) return;
    }
  }

private:
  static constexpr ub8 batch = 256;

  // Whether they were all taken.
  template <ub8 ahead>
  static bool take_all(const ub4 *rows, ub8 count, auto take) {
    for (ub8 i = 0; i < count; ++i)
      if (!take(rows[i], rows[i + ahead < count ? i + ahead : count - 1])) return false;
    return true;
  }

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
      if (run_ + 1 == run_count_) return false; // also from "before the first run", if there is none
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

} // namespace mipo::decode

#endif
