// The frame of every predicate kernel: from the host's call to bits, count and return code.
//
//   column       rows_per_block, row(i), block(i, test)          how rows are read and how a block becomes bits
//                BlockCodes, SelectiveCodes                      what the codes can be, in either path
//   test         row(code), lanes(codes, lift), force(), keep()  which rows qualify (operations.h)
//
// Both are small and passed by value: what the loops store could otherwise be taken for a change of them.
//
// The block path evaluates all rows, block by block and then a tail, and ANDs filter and selection into the finished
// bits. The selective path looks only at the rows of `ones_vec`. On a run-length column the block path's rows are runs,
// and the host's `burst` has the last word.
#ifndef MIPO_SCAN_PREDICATE_H
#define MIPO_SCAN_PREDICATE_H

#include "frame/column_base.h"
#include "frame/entries.h"
#include "simd/simd.h"

namespace mipo::scan {

// A two-sided kernel calls itself by the first half of its operation where it is selective.
struct PredicateLabels {
  frame::DecompressionLabels block;
  frame::DecompressionLabels selective;
};

struct Output {
  ub8 *bits;
  ub4 rows;
};

inline Output block_output(const mipo_vec *res, const mipo_vec *src) {
  const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(src);
  if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_RLE)) return {enc_ctx->run_bv, enc_ctx->run_count};
  return {res->bv, res->nrows};
}

inline bool is_selective(const mipo_call_ctx *ctx) {
  return ctx != nullptr && ctx->ones_vec != nullptr && (ctx->eval_flags & MIPO_EVAL_SELECTIVE) != 0;
}

// The block path's end: filter, selection, count, and on a run-length column the hand-over to `burst`.
ub4 finish_block_path(Output output, ub4 count, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx);

// The selective path's end: filter and count.
ub4 finish_selective_path(ub4 count, mipo_vec *res, const mipo_vec *src);

// Bits for all whole blocks of `rows` rows. Returns how many are set.
template <bool ordered, class Column, class Test>
ub4 evaluate_blocks(Column column, Test test, ub8 *bits, ub8 rows) {
  auto *out = reinterpret_cast<ub1 *>(bits);
  ub4 count = 0;
  const ub8 blocks = rows / Column::rows_per_block;
  for (ub8 block = 0; block < blocks; ++block) {
    const auto block_bits = (column.template block<ordered>(block, test) | test.force()) & test.keep();
    block_bits.store(out + block * block_bits.bytes);
    count += block_bits.count();
  }
  return count;
}

// Bits for the rows behind the last whole block, in words that are zeroed from that block's end on.
template <class Column, class Test>
ub4 evaluate_tail(Column column, Test test, ub8 *bits, ub8 rows) {
  if (rows == 0) return 0; // there may be no words at all
  const ub8 first = rows / Column::rows_per_block * Column::rows_per_block;
  memset(reinterpret_cast<ub1 *>(bits) + first / 8, 0, (rows + 63) / 64 * 8 - first / 8);
  ub4 count = 0;
  for (ub8 row = first; row < rows; ++row) {
    const bool qualifies = test.row(column.row(row));
    bits[row / 64] |= static_cast<ub8>(qualifies) << row % 64;
    count += qualifies;
  }
  return count;
}

// Bits for the rows of `selection`, eight at a time; all other bits become zero. Selected rows lie far apart, and each
// costs a cache line: the next eight are fetched while these are tested, and the result is zeroed only as far as the
// rows have come, so that its words are still at hand.
template <class Column, class Test>
ub4 evaluate_selected(Column column, Test test, ub8 *bits, const ub8 *selection, ub8 rows) {
  if (rows == 0) return 0;
  constexpr ub8 batch = 8;
  mipo_lbiv_ictx iterator;
  mipo_lbiwv_ictx_ini2_dydi(&iterator, selection, rows, 0, 0);

  ub4 count = 0;
  ub4 numbers[2][batch];
  unsigned current = 0;
  ub8 zeroed = 0; // words
  const auto zero_up_to = [&](ub8 words) {
    memset(bits + zeroed, 0, (words - zeroed) * sizeof(ub8));
    zeroed = words;
  };
  for (ub8 got = mipo_lbiwvones_dydi(&iterator, numbers[current], batch); got != 0;) {
    const ub8 next = got == batch ? mipo_lbiwvones_dydi(&iterator, numbers[!current], batch) : 0;
    for (ub8 i = 0; i < next; ++i) column.prefetch_row(numbers[!current][i]);
    zero_up_to(numbers[current][got - 1] / 64 + 1);
    for (ub8 i = 0; i < got; ++i) {
      const ub4 row = numbers[current][i];
      const bool qualifies = test.row(column.row(row));
      bits[row / 64] |= static_cast<ub8>(qualifies) << row % 64;
      count += qualifies;
    }
    got = next;
    current = !current;
  }
  zero_up_to((rows + 63) / 64);
  return count;
}

// A whole kernel. Sides (operations.h) names the test, which is made from the constants' vectors for the codes that a
// path sees; the two paths may read constants at different widths.
template <class Column, class Sides, class... Constant>
[[gnu::always_inline]] inline ub4 evaluate(const PredicateLabels &labels, mipo_vec *res, const mipo_vec *src,
                                           mipo_call_ctx *ctx, const Constant *...constants) {
  if (is_selective(ctx)) {
    const Column column(frame::column_base(src, ctx, labels.selective));
    ctx->done_flags |= MIPO_DONE_PREDICATE;
    const typename Sides::template Test<typename Column::SelectiveCodes> test(constants...);
    return finish_selective_path(evaluate_selected(column, test, res->bv, ctx->ones_vec, src->nrows), res, src);
  }
  const Output output = block_output(res, src);
  const Column column(frame::column_base(src, ctx, labels.block));
  const typename Sides::template Test<typename Column::BlockCodes> test(constants...);
  const ub4 count = evaluate_blocks<Sides::ordered>(column, test, output.bits, output.rows) +
                    evaluate_tail(column, test, output.bits, output.rows);
  return finish_block_path(output, count, res, src, ctx);
}

} // namespace mipo::scan

#endif
