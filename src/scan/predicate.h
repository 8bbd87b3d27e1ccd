// The frame of every predicate kernel: from the host's call to bits, count and return code.
//
//   column    row(i), prefetch_row(i)                              how a row is read; i never goes back
//             rows_per_block, at(block).bits_where<form>(test)     how a block becomes bits, one after the other
//             Word, greatest                                       what the codes can be
//             block_constant(vector), selective_constant(vector)   how constants are stored, in either path
//   test      row(code), and of blocks lanes(codes, ...)           which rows qualify (operations.h)
//
// Both are small and passed by value: otherwise the compiler must assume that result stores alias members. A column
// without rows_per_block is read row by row.
//
// The block path evaluates all rows, block by block and then a tail, and ANDs filter and selection into the finished
// bits. The selective path looks only at the rows of `ones_vec`. On a run-length column the block path's rows are runs,
// and the host's `burst` expands run bits into row bits.
#ifndef MIPO_SCAN_PREDICATE_H
#define MIPO_SCAN_PREDICATE_H

#include "column/block_reading.h"
#include "column/column_base.h"
#include "interface/entry_functions.h"
#include "scan/operations.h"
#include "simd/simd.h"

namespace mipo::scan {

// A two-sided kernel calls itself by the first half of its operation where it is selective.
struct PredicateLabels {
  column::DecompressionLabels block;
  column::DecompressionLabels selective;
};

// What a named kernel hands to the body that it shares with the others of its width. `high` is null for operations of
// one constant.
struct PredicateCall {
  Operation operation;
  bool null_aware;
  const PredicateLabels &labels;
  mipo_vec *res;
  const mipo_vec *src, *low, *high;
  mipo_call_ctx *ctx;

  // Of the constants, as `read` reads them.
  template <class Word>
  CodeSet<Word> codes(Word greatest, auto read) const {
    return codes_where<Word>(operation, null_aware, greatest, read(low), high != nullptr ? read(high) : Word{0});
  }
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

// What a family does with its result.
struct ResultPolicy {
  ub4 done_flag; // says that the result has taken the selection
  bool filters;  // whether the column's filter applies
};
inline constexpr ResultPolicy predicate_policy = {MIPO_DONE_PREDICATE, true};

// The block path's end: filter, selection, count, and on a run-length column the hand-over to `burst`.
ub4 finish_block_path(ResultPolicy policy, Output output, ub4 count, mipo_vec *res, const mipo_vec *src,
                      mipo_call_ctx *ctx);

// The selective path's end: filter and count.
ub4 finish_selective_path(ResultPolicy policy, ub4 count, mipo_vec *res, const mipo_vec *src);

// The same answer for all rows; returns how many are set.
ub4 fill_rows(Output output, bool value);

template <class Column>
constexpr ub8 rows_in_blocks(ub8 rows) {
  if constexpr (requires { Column::rows_per_block; })
    return rows / Column::rows_per_block * Column::rows_per_block;
  else
    return 0;
}

// Bits for all whole blocks of the rows. Returns how many are set, and leaves `column` after the last of them.
template <column::LaneForm form, class Column, class Test>
ub4 evaluate_blocks(Column &column, Test test, Output output) {
  ub4 count = 0;
  if constexpr (requires { Column::rows_per_block; }) {
    Column current = column;
    auto *out = reinterpret_cast<ub1 *>(output.bits);
    const ub8 blocks = output.rows / Column::rows_per_block;
    for (ub8 block = 0; block < blocks; ++block) {
      const auto block_bits = current.at(block).template bits_where<form>(test);
      block_bits.store(out + block * block_bits.bytes);
      count += block_bits.count();
    }
    column = current;
  }
  return count;
}

// Bits for the rows after the last whole block, in words that are zeroed from that block's end on.
template <class Column, class RowTest>
ub4 evaluate_tail(Column column, RowTest test, Output output) {
  const ub8 rows = output.rows;
  if (rows == 0) return 0; // there may be no words at all
  const ub8 first = rows_in_blocks<Column>(rows);
  memset(reinterpret_cast<ub1 *>(output.bits) + first / 8, 0, (rows + 63) / 64 * 8 - first / 8);
  ub4 count = 0;
  for (ub8 row = first; row < rows; ++row) {
    const bool qualifies = test.row(column.row(row));
    output.bits[row / 64] |= static_cast<ub8>(qualifies) << row % 64;
    count += qualifies;
  }
  return count;
}

// Bits for the rows of `selection`, eight at a time; all other bits become zero. Selected rows lie far apart, and each
// costs a cache line: the next eight are fetched while these are tested, and the result is zeroed only as far as the
// rows have come, so that its words are still in cache.
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

// Blocks and tail of a set of codes, by the cheapest test for it.
template <class Column, class Word = typename Column::Word>
ub4 evaluate_all(Column column, CodeSet<Word> codes, Output output) {
  constexpr Word greatest = Column::greatest;
  const auto [low, high, outside, null_fails] = codes;
  const EqualTest<Word> equal{low};
  ub4 count;
  if (outside) {
    if (null_fails)
      count = evaluate_blocks<column::LaneForm::bytes>(column, Complement{EqualOrNullTest<Word>{low}}, output);
    else if (low <= greatest)
      count = evaluate_blocks<column::LaneForm::bytes>(column, Complement{equal}, output);
    else
      return fill_rows(output, true);
  } else if (low > high) {
    return fill_rows(output, false);
  } else if (low == 0 && high == greatest) {
    return fill_rows(output, true);
  } else if (low == high) {
    count = evaluate_blocks<column::LaneForm::bytes>(column, equal, output);
  } else if (low == 0) {
    count = evaluate_blocks<column::LaneForm::ordered>(column, AtMostTest<Word>{high}, output);
  } else if (high == greatest) {
    count = evaluate_blocks<column::LaneForm::ordered>(column, AtLeastTest<Word>{low}, output);
  } else {
    count =
        evaluate_blocks<column::LaneForm::ordered>(column, RangeTest<Word>{low, static_cast<Word>(high - low)}, output);
  }
  return count + evaluate_tail(column, RowTest<Word>(codes), output);
}

// A whole kernel. `make_column` makes the column from the address of its first byte; `all_rows` evaluates blocks and
// tail of an output, and `row_test` gives the test of single rows, both from a column.
ub4 evaluate_with(ResultPolicy policy, const PredicateLabels &labels, mipo_vec *res, const mipo_vec *src,
                  mipo_call_ctx *ctx, auto make_column, auto all_rows, auto row_test) {
  if (is_selective(ctx)) {
    const auto column = make_column(column::column_base(src, ctx, labels.selective));
    ctx->done_flags |= policy.done_flag;
    const ub4 count = evaluate_selected(column, row_test(column), res->bv, ctx->ones_vec, src->nrows);
    return finish_selective_path(policy, count, res, src);
  }
  const Output output = block_output(res, src);
  const auto column = make_column(column::column_base(src, ctx, labels.block));
  return finish_block_path(policy, output, all_rows(column, output), res, src, ctx);
}

// All ten operations on a column: one function a column, not one a kernel.
template <class MakeColumn>
[[gnu::noinline]] ub4 evaluate(const PredicateCall &call, MakeColumn make_column) {
  using Column = decltype(make_column(nullptr));
  using Word = typename Column::Word;
  return evaluate_with(
      predicate_policy, call.labels, call.res, call.src, call.ctx, make_column,
      [&call](const Column &column, Output output) {
        const auto read = [&](const mipo_vec *constant) { return column.block_constant(constant); };
        return evaluate_all(column, call.codes<Word>(Column::greatest, read), output);
      },
      [&call](const Column &column) {
        constexpr Word greatest =
            static_cast<Word>(Column::compares_words_when_selective ? ~Word{0} : Column::greatest);
        const auto read = [&](const mipo_vec *constant) { return column.selective_constant(constant); };
        return RowTest<Word>(call.codes<Word>(greatest, read));
      });
}

} // namespace mipo::scan

#endif
