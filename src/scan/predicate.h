// The frame of every predicate kernel: from the host's call to bits, count and return code.
//
//   column       row(i), prefetch_row(i)                           how a row is read; i never goes back
//                rows_per_block, at(block).bits_where<form>(test)  how a block becomes bits, one after the other
//                BlockCodes, SelectiveCodes                        what the codes can be, in either path
//                constant<Codes>(vector)                           how constants are stored
//   test         of_rows(), lanes(codes, lift), force(), keep()    which rows qualify (operations.h)
//
// Both are small and each loop has its own copy: what the loops store could otherwise be taken for a change of them. A
// column without rows_per_block is read row by row.
//
// The block path evaluates all rows, block by block and then a tail, and ANDs filter and selection into the finished
// bits. The selective path looks only at the rows of `ones_vec`. On a run-length column the block path's rows are runs,
// and the host's `burst` has the last word.
#ifndef MIPO_SCAN_PREDICATE_H
#define MIPO_SCAN_PREDICATE_H

#include "frame/column_base.h"
#include "frame/entries.h"
#include "scan/operations.h"
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

// How a family ends.
struct Ending {
  ub4 done_flag; // what says that the result has taken the selection
  bool filters;  // whether the column's filter applies
};
inline constexpr Ending predicate_ending = {MIPO_DONE_PREDICATE, true};

// The block path's end: filter, selection, count, and on a run-length column the hand-over to `burst`.
ub4 finish_block_path(Ending ending, Output output, ub4 count, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx);

// The selective path's end: filter and count.
ub4 finish_selective_path(Ending ending, ub4 count, mipo_vec *res, const mipo_vec *src);

// Of block loops over streams that are read at full speed: how far ahead, in bytes.
inline constexpr size_t prefetch_distance = 8192; // 64 blocks
inline constexpr size_t cache_line_bytes = 64;

template <class Column>
constexpr ub8 rows_in_blocks(ub8 rows) {
  if constexpr (requires { Column::rows_per_block; })
    return rows / Column::rows_per_block * Column::rows_per_block;
  else
    return 0;
}

// Bits for all whole blocks of `rows` rows. Returns how many are set, and leaves `column` behind the last of them.
template <LaneForm form, class Column, class Test>
ub4 evaluate_blocks(Column &column, Test test, ub8 *bits, ub8 rows) {
  ub4 count = 0;
  if constexpr (requires { Column::rows_per_block; }) {
    Column current = column;
    auto *out = reinterpret_cast<ub1 *>(bits);
    const ub8 blocks = rows / Column::rows_per_block;
    for (ub8 block = 0; block < blocks; ++block) {
      const auto block_bits = (current.at(block).template bits_where<form>(test) | test.force()) & test.keep();
      block_bits.store(out + block * block_bits.bytes);
      count += block_bits.count();
    }
    column = current;
  }
  return count;
}

// Bits for the rows behind the last whole block, in words that are zeroed from that block's end on.
template <class Column, class RowTest>
ub4 evaluate_tail(Column column, RowTest test, ub8 *bits, ub8 rows) {
  if (rows == 0) return 0; // there may be no words at all
  const ub8 first = rows_in_blocks<Column>(rows);
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
template <class Column, class RowTest>
ub4 evaluate_selected(Column column, RowTest test, ub8 *bits, const ub8 *selection, ub8 rows) {
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

// All rows, without a selection: blocks and tail.
template <LaneForm form, class Column, class Test>
[[gnu::always_inline]] inline ub4 evaluate_all(Column column, Test test, Output output) {
  const ub4 count = evaluate_blocks<form>(column, test, output.bits, output.rows);
  return count + evaluate_tail(column, test.of_rows(), output.bits, output.rows);
}

// A whole kernel. `make_column` makes the column from the address of its first byte. Sides names the
// test, which is made from the operands for the codes that a path sees; the two paths may read constants at different
// widths.
template <class Sides, class... Operand>
[[gnu::always_inline]] inline ub4 evaluate(auto make_column, const PredicateLabels &labels, mipo_vec *res,
                                           const mipo_vec *src, mipo_call_ctx *ctx, const Operand *...operands) {
  using Column = decltype(make_column(src->data));
  if (is_selective(ctx)) {
    const Column column = make_column(frame::column_base(src, ctx, labels.selective));
    ctx->done_flags |= Sides::ending.done_flag;
    const auto test = Sides::template test<typename Column::SelectiveCodes>(column, operands...);
    const ub4 count = evaluate_selected(column, test.of_rows(), res->bv, ctx->ones_vec, src->nrows);
    return finish_selective_path(Sides::ending, count, res, src);
  }
  const Output output = block_output(res, src);
  const Column column = make_column(frame::column_base(src, ctx, labels.block));
  const auto test = Sides::template test<typename Column::BlockCodes>(column, operands...);
  const ub4 count = evaluate_all<Sides::form>(column, test, output);
  return finish_block_path(Sides::ending, output, count, res, src, ctx);
}

// The sides of an operation, with its constants read as the column stores them.
template <class OneSidedOperation>
struct one_sided : one_sided_test<OneSidedOperation> {
  static constexpr Ending ending = predicate_ending;

  template <class Codes>
  [[gnu::always_inline]] static auto test(const auto &column, const mipo_vec *konst) {
    using Test = typename one_sided_test<OneSidedOperation>::template Test<Codes>;
    return Test(column.template constant<Codes>(konst));
  }
};
template <class TwoSidedOperation>
struct two_sided : two_sided_test<TwoSidedOperation> {
  static constexpr Ending ending = predicate_ending;

  template <class Codes>
  [[gnu::always_inline]] static auto test(const auto &column, const mipo_vec *lo, const mipo_vec *hi) {
    using Test = typename two_sided_test<TwoSidedOperation>::template Test<Codes>;
    return Test(column.template constant<Codes>(lo), column.template constant<Codes>(hi));
  }
};

} // namespace mipo::scan

#endif
