// The least and the greatest code of the selected rows, until nothing better can come.
#ifndef MIPO_DECODE_MINMAX_H
#define MIPO_DECODE_MINMAX_H

#include "column/column_base.h"
#include "column/packed_codes.h"
#include "column/selected_rows.h"
#include "decode/run_codes.h"

namespace mipo::decode {

struct MinMaxLabels {
  column::DecompressionLabels decompression;
  const char *empty_list; // "<kernel>: [rle] ones_vec size is zero"
};

// Which ends a host asks for; any other number means both. Ends that were not asked for do not delay the early exit.
enum MinMaxMode : ub8 { minimum_only = 1, maximum_only = 2 };

class Extremes {
public:
  Extremes(ub4 sym_count, ub8 mode)
      : least_(sym_count),
        least_wanted_(mode == maximum_only ? sym_count - 1 : 0),
        greatest_wanted_(mode == minimum_only ? 0 : sym_count - 1) {}

  // Takes a row's code into account. Null-aware, code 0 is a null row, which is no less than any code. No branch: which
  // rows are null is not foreseeable.
  [[gnu::always_inline]] void take(ub4 code, bool null_aware) {
    const ub4 not_null = null_aware && code == 0 ? ~ub4{0} : code;
    least_ = not_null < least_ ? not_null : least_;
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
  void into(Extremes &extremes) const {
    T least = static_cast<T>(~T{0}), greatest = 0;
    for (size_t lane = 0; lane < simd::vector_bytes / sizeof(T); ++lane) {
      least = least_.vector[lane] < least ? least_.vector[lane] : least;
      greatest = greatest_.vector[lane] > greatest ? greatest_.vector[lane] : greatest;
    }
    extremes.take(static_cast<T>(least + null_aware), null_aware);
    extremes.take(greatest, null_aware);
  }

private:
  simd::Lanes<T> least_ = simd::broadcast_lanes(static_cast<T>(~T{0})), greatest_{};
};

// Stored rows or runs, from `first` up to `end`.
struct Stretch {
  ub8 first, end;
};

// Takes a column's rows one by one, and returns whether one of them settled it. Its own function: blocks need it in
// three places.
template <bool null_aware, class Column>
[[gnu::noinline]] bool take_one_by_one(Column column, Stretch rows, Extremes &extremes) {
  Extremes local = extremes;
  bool settled = false;
  for (ub8 row = rows.first; row < rows.end && !settled; ++row) {
    local.take(static_cast<ub4>(column.row(row)), null_aware);
    settled = local.settled();
  }
  extremes = local;
  return settled;
}

// Takes them block by block and stops after the row that settles it. Where that happens in some blocks, these are taken
// again one by one, for the extremes to be those of the rows up to it.
template <bool null_aware, class Column>
void accumulate_rows(Column column, Stretch rows, Extremes &extremes) {
  using Block = typename Column::Block;
  constexpr ub8 block_rows = Column::rows_per_block, stretch_blocks = 32;

  const auto one_by_one = [&](ub8 from, ub8 to) {
    return take_one_by_one<null_aware>(column, Stretch{from, to}, extremes);
  };
  const auto [first, end] = rows;
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
    Extremes with_stretch = extremes;
    in_lanes.into(with_stretch);
    if (with_stretch.settled()) {
      one_by_one(block * block_rows, stretch_end * block_rows);
      return;
    }
    extremes = with_stretch;
  }
  one_by_one(end_block * block_rows, end);
}

// The rows of a column that are left, all of which are done then.
inline Stretch all_rows(const mipo_vec *src, mipo_call_ctx *ctx) {
  const ub4 first = ctx->next_row;
  ctx->next_row = src->nrows;
  return {first, src->nrows};
}

// Of a column whose rows are runs, the runs from that of `next_row` on. Leaves `next_row`, `run_index` and `run_end`
// for the call to be continued.
Stretch all_runs(const mipo_vec *src, mipo_call_ctx *ctx);

// The selected rows of such a column, from the codes of its runs: once for all widths.
template <bool null_aware>
void take_selected_runs(RunCodes &codes, const mipo_vec *src, mipo_call_ctx *ctx, Extremes &extremes);

// The selected rows of a column whose rows are stored one by one.
template <bool null_aware, class Column>
void take_selected_rows(Column column, const mipo_vec *src, mipo_call_ctx *ctx, Extremes &extremes) {
  column::SelectedRows rows(src, ctx);
  Extremes local = extremes;
  rows.each([&](ub4 row) {
    local.take(static_cast<ub4>(column.row(row)), null_aware);
    return !local.settled();
  });
  extremes = local;
  ctx->next_row = rows.end();
}

// Stores what was found, and returns what the kernel does.
ub4 report(const Extremes &extremes, mipo_vec *res, const mipo_enc_ctx *enc_ctx);

// A whole kernel. Nothing better can come when the walk ends early, so all rows count as done in any case.
template <class Column, unsigned bits, bool null_aware>
ub4 minmax(const MinMaxLabels &labels, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx, ub8 mode) {
  const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(src);
  const void *const base = column::column_base(src, ctx, labels.decompression);
  Extremes extremes(enc_ctx->sym_count, mode);
  const bool run_length = MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_RLE);
  if (run_length && column::selects_by_empty_list(ctx)) column::report_to_host(ctx, labels.empty_list);
  if (ctx->ones_vec == nullptr && ctx->ones_list == nullptr) {
    const Stretch rows = run_length ? all_runs(src, ctx) : all_rows(src, ctx);
    if constexpr (simd::shuffles_bytes || bits == 8 || bits == 16 || bits == 32)
      accumulate_rows<null_aware>(Column(base), rows, extremes);
    else
      take_one_by_one<null_aware>(Column(base), rows, extremes);
  } else if (run_length) {
    RunCodes codes(base, unpack_codes<bits>, enc_ctx->run_count);
    take_selected_runs<null_aware>(codes, src, ctx, extremes);
  } else {
    take_selected_rows<null_aware>(Column(base), src, ctx, extremes);
  }
  return report(extremes, res, enc_ctx);
}

} // namespace mipo::decode

#endif
