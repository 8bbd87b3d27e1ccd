// The least and the greatest code of the selected rows, until nothing better can come.
#ifndef MIPO_DECODE_MINMAX_H
#define MIPO_DECODE_MINMAX_H

#include "decode/code_reader.h"
#include "decode/selected_rows.h"
#include "frame/column_base.h"
#include "scan/packed.h"

namespace mipo::decode {

struct MinMaxLabels {
  frame::DecompressionLabels decompression;
  const char *empty_list; // "<kernel>: [rle] ones_vec size is zero"
};

// Which ends a host asks for; any other number means both. Ends that were not asked for do not delay the early exit.
enum MinMaxMode : ub8 { minimum_only = 1, maximum_only = 2 };

template <bool null_aware>
class Extremes {
public:
  Extremes(ub4 sym_count, ub8 mode)
      : least_(sym_count),
        least_wanted_(mode == maximum_only ? sym_count - 1 : 0),
        greatest_wanted_(mode == minimum_only ? 0 : sym_count - 1) {}

  // Takes a row's code into account. Code 0 of a null-aware column is none.
  void take(ub4 code) {
    if (null_aware && code == 0) return;
    least_ = code < least_ ? code : least_;
    greatest_ = code > greatest_ ? code : greatest_;
  }
  // Whether nothing better can come.
  bool settled() const { return least_ <= least_wanted_ && greatest_ >= greatest_wanted_; }

  ub4 least() const { return least_; }
  ub4 greatest() const { return greatest_; }

private:
  ub4 least_, greatest_ = 0;
  ub4 least_wanted_, greatest_wanted_;
};

// Extremes of whole blocks, kept in lanes. Null-aware: one less than a code is the greatest number for code 0 and the
// code's own order for all others.
template <bool null_aware, class T>
class LaneExtremes {
public:
  [[gnu::always_inline]] void take(simd::Lanes<T> codes) {
    greatest_ = simd::greater(greatest_, codes);
    least_ = simd::lesser(least_, null_aware ? codes - simd::broadcast_lanes<T>(1) : codes);
  }
  template <class Take>
  void into(Take take) const {
    for (size_t lane = 0; lane < simd::vector_bytes / sizeof(T); ++lane) {
      take(static_cast<T>(least_.vector[lane] + null_aware));
      take(greatest_.vector[lane]);
    }
  }

private:
  simd::Lanes<T> least_ = simd::broadcast_lanes(static_cast<T>(~T{0})), greatest_{};
};

// Takes rows `first` up to `end`, block by block, and stops after the row that settles it. A stretch of blocks in
// which that happens is taken again row by row, for the extremes to be those of the rows up to it.
template <bool null_aware, class Column>
void take_rows(Column column, ub8 first, ub8 end, Extremes<null_aware> &extremes) {
  using Block = typename Column::Block;
  constexpr ub8 block_rows = Column::rows_per_block, stretch_blocks = 32;

  const auto one_by_one = [&](ub8 from, ub8 to) {
    Extremes<null_aware> local = extremes;
    bool settled = false;
    for (ub8 row = from; row < to && !settled; ++row) {
      local.take(static_cast<ub4>(column.row(row)));
      settled = local.settled();
    }
    extremes = local;
    return settled;
  };
  const ub8 first_block = (first + block_rows - 1) / block_rows, end_block = end / block_rows;
  if (first_block >= end_block) {
    one_by_one(first, end);
    return;
  }
  if (one_by_one(first, first_block * block_rows)) return;
  for (ub8 block = first_block; block < end_block; block += stretch_blocks) {
    const ub8 stretch_end = block + stretch_blocks < end_block ? block + stretch_blocks : end_block;
    LaneExtremes<null_aware, typename Column::Lane> in_lanes;
    for (ub8 b = block; b < stretch_end; ++b) {
      const Block codes = column.at(b);
      for (size_t i = 0; i < simd::vectors_per_block; ++i) in_lanes.take(codes.values(i));
    }
    Extremes<null_aware> with_stretch = extremes;
    in_lanes.into([&](ub4 code) { with_stretch.take(code); });
    if (with_stretch.settled()) {
      one_by_one(block * block_rows, stretch_end * block_rows);
      return;
    }
    extremes = with_stretch;
  }
  one_by_one(end_block * block_rows, end);
}

// The run that a call goes on with; run_count if there is none.
inline ub4 run_of_next_row(const mipo_vec *src, const mipo_call_ctx *ctx) {
  const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(src);
  if (ctx->next_row >= src->nrows) return enc_ctx->run_count;
  return frame::with_runs(enc_ctx, [&](auto runs) {
    RunCursor cursor(runs, enc_ctx, ctx);
    return cursor.find(ctx->next_row) ? cursor.run() : enc_ctx->run_count;
  });
}

// The runs that selected rows lie in; the same text for all widths. Leaves next_row, run_index and run_end for the call
// to be continued.
template <bool null_aware>
[[gnu::noinline]] void take_selected_runs(CodeReader codes, const mipo_vec *src, mipo_call_ctx *ctx,
                                          Extremes<null_aware> &extremes) {
  frame::with_runs(MIPO_VEC_ENC_CTX(src), [&](auto runs) {
    RunCursor cursor(runs, MIPO_VEC_ENC_CTX(src), ctx);
    SelectedRows rows(src, ctx);
    ub4 taken_up_to = 0; // rows below have the run that was taken last
    rows.each([&](ub4 row) {
      if (row < taken_up_to) return true;
      if (!cursor.find(row)) return false;
      taken_up_to = cursor.end();
      extremes.take(codes[cursor.run()]);
      return !extremes.settled();
    });
    ctx->next_row = rows.end();
    cursor.store(ctx);
  });
}

// A column whose rows are runs.
template <bool null_aware, class Column>
void take_runs(Column column, CodeReader codes, const mipo_vec *src, mipo_call_ctx *ctx,
               Extremes<null_aware> &extremes) {
  if (ctx->ones_vec != nullptr || ctx->ones_list != nullptr) return take_selected_runs(codes, src, ctx, extremes);
  const ub4 run_count = MIPO_VEC_ENC_CTX(src)->run_count, first = run_of_next_row(src, ctx);
  if (first < run_count) {
    take_rows(column, first, run_count, extremes);
    ctx->run_index = run_count - 1;
    ctx->run_end = src->nrows;
  }
  ctx->next_row = src->nrows;
}

// A column whose rows are stored one by one.
template <bool null_aware, class Column>
void take_stored_rows(Column column, const mipo_vec *src, mipo_call_ctx *ctx, Extremes<null_aware> &extremes) {
  if (ctx->ones_vec == nullptr && ctx->ones_list == nullptr) {
    take_rows(column, ctx->next_row, src->nrows, extremes);
    ctx->next_row = src->nrows;
    return;
  }
  SelectedRows rows(src, ctx);
  Extremes<null_aware> local = extremes;
  rows.each([&](ub4 row) {
    local.take(static_cast<ub4>(column.row(row)));
    return !local.settled();
  });
  extremes = local;
  ctx->next_row = rows.end();
}

// A whole kernel. Nothing better can come when the walk ends early, so all rows count as done in any case.
template <class Column, unsigned bits, bool null_aware>
ub4 minmax(const MinMaxLabels &labels, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx, ub8 mode) {
  const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(src);
  const void *base = frame::column_base(src, ctx, labels.decompression);
  const Column column(base);
  Extremes<null_aware> extremes(enc_ctx->sym_count, mode);
  const bool run_length = MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_RLE);
  if (run_length) {
    if (selects_by_empty_list(ctx)) frame::report_to_host(ctx, labels.empty_list);
    take_runs(column, CodeReader(base, bits), src, ctx, extremes);
  } else {
    take_stored_rows(column, src, ctx, extremes);
  }
  const bool found = extremes.least() != enc_ctx->sym_count;
  if (run_length) res->nset = found ? 2 : 0;
  if (!found) return MIPO_EMPTY;
  const ub4 result[2] = {extremes.least(), extremes.greatest()};
  memcpy(res->data, result, sizeof result);
  return MIPO_DONE;
}

} // namespace mipo::decode

#endif
