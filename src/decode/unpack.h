// Packed codes to integers in an array: of all rows, of the rows of a bit vector or a list, of runs.
//
// Codes leave in the narrowest of 8, 16 and 32 bits that holds them, or in 32 bits. A step is 128 rows: 16 bytes of the
// stream for each bit of a code, so that a step can begin at every eighth row.
//
//   selection     1 0 0 1 1 1 0 0        a vector's lanes are moved together by a table that its bits choose from,
//   codes         a b c d e f g h        stored whole, and the next vector is stored over the part that was not meant
//   output        a d e f . . . .
#ifndef MIPO_DECODE_UNPACK_H
#define MIPO_DECODE_UNPACK_H

#include "column/column_base.h"
#include "column/packed_codes.h"
#include "decode/code_array.h"
#include "decode/unpack_runs.h"

namespace mipo::decode {

struct UnpackLabels {
  column::DecompressionLabels decompression;
  const char *empty_list; // "<kernel>: [rle] ones_vec size is zero"
};

// Where a step's output and source will be some steps later.
inline constexpr size_t unpack_prefetch_bytes = 640;

template <unsigned bits>
using NarrowCode = std::conditional_t<(bits <= 8), ub1, std::conditional_t<(bits <= 16), ub2, ub4>>;

// Calls step(i) for i below count, each of them a constant.
template <size_t count, class Step>
[[gnu::always_inline]] inline void unrolled(Step step) {
  [&]<size_t... i>(std::index_sequence<i...>) __attribute__((always_inline)) {
    (step(i), ...);
  }
  (std::make_index_sequence<count>{});
}

template <unsigned bits, class Out>
class UnpackedStep {
  static constexpr size_t wide_lanes = simd::vector_bytes / sizeof(ub4);

  // The fewest blocks of lanes whose stream bytes fill a group.
  static constexpr size_t blocks_of(size_t lane_bytes) {
    size_t blocks = 1;
    while (blocks * simd::block_bytes / lane_bytes * bits / 8 < simd::group_bytes) blocks *= 2;
    return blocks;
  }
  template <class Lane>
  using BlockIn = column::PackedBlock<bits, Lane, blocks_of(sizeof(Lane))>;

  [[gnu::always_inline]] static void store_lanes(Out *out, simd::Vector<ub4> lanes) {
    if constexpr (sizeof(Out) == sizeof(ub4)) {
      simd::store<ub4>(out, lanes);
    } else if constexpr (sizeof(Out) == sizeof(ub2)) {
      typedef ub2 Narrow __attribute__((vector_size(wide_lanes * sizeof(ub2)), aligned(1), may_alias));
      *reinterpret_cast<Narrow *>(out) = __builtin_convertvector(lanes, Narrow);
    } else {
      // Converted in one step, g++ takes the lanes apart one by one.
      const simd::Vector<ub2> halves = simd::narrow(lanes, lanes);
      const simd::Vector<ub1> narrowed = simd::narrow(halves, halves);
      memcpy(out, &narrowed, wide_lanes);
    }
  }

public:
  static constexpr size_t bytes = step_rows * bits / 8;

  // All rows.
  [[gnu::always_inline]] static void store_all(const ub1 *stream, Out *out) {
    using Lane = std::conditional_t<sizeof(Out) == sizeof(ub1), std::conditional_t<bits == 8, ub1, ub2>,
                                    std::conditional_t<sizeof(Out) == sizeof(ub2), column::PackedLane<bits>, ub4>>;
    using Block = BlockIn<Lane>;
    static constexpr size_t lanes = simd::vector_bytes / sizeof(Out);
    for (size_t row = 0; row < step_rows; row += Block::rows) {
      const Block block(stream + row * bits / 8);
      unrolled<Block::rows / lanes>([&](size_t i) __attribute__((always_inline)) {
        if constexpr (sizeof(Lane) == sizeof(Out))
          simd::store<Out>(out + row + i * lanes, block.values(i).vector);
        else
          simd::store<Out>(out + row + i * lanes,
                           simd::narrow(block.values(2 * i).vector, block.values(2 * i + 1).vector));
      });
    }
  }

  // The rows whose bit is set in `selection`; returns how many. May store up to the place of the step's last row.
  [[gnu::always_inline]] static ub4 store_selected(const ub1 *stream, const ub8 (&selection)[2], Out *out) {
    using Block = BlockIn<ub4>;
    const Out *const start = out;
    for (size_t row = 0; row < step_rows; row += Block::rows) {
      const Block block(stream + row * bits / 8);
      unrolled<Block::rows / wide_lanes>([&](size_t i) __attribute__((always_inline)) {
        const size_t first = row + i * wide_lanes;
        const ub8 lanes_selected = selection[first / 64] >> first % 64 & ((ub8{1} << wide_lanes) - 1);
        store_lanes(out, simd::compacted(block.values(i).vector, lanes_selected));
        out += simd::population_count(lanes_selected);
      });
    }
    return static_cast<ub4>(out - start);
  }
};

template <unsigned bits, class Out>
class Unpacker {
public:
  using Column = column::DictionaryCodes<bits, column::PackedLane<bits>>;
  using Step = UnpackedStep<bits, Out>;

  Unpacker(const void *base, CodeArray<Out> out) : stream_(static_cast<const ub1 *>(base)), column_(base), out_(out) {}

  CodeArray<Out> &output() { return out_; }

  // Rows `first` up to `end`; returns the first one not done. So do all that follow.
  ub4 all_rows(ub4 first, ub4 end) {
    // What all walks write to stays in registers: nothing may point to it.
    CodeArray<Out> out = out_;
    ub4 row = first;
    const ub4 last = end - first < out.room() ? end : first + out.room();
    if constexpr (in_steps) {
      for (; row < last && row % 8 != 0; ++row) out.add(code(row));
      row = store_steps(row, (last - row) / step_rows, out);
    }
    for (; row < last; ++row) out.add(code(row));
    out_ = out;
    return row;
  }

  ub4 rows_of_bits(SelectionBits selection, ub4 first, ub4 end) {
    const ub1 *const stream = stream_; // a copy: otherwise the compiler must assume that stored codes alter the member
    CodeArray<Out> out = out_;
    ub4 row = first;
    while (row < end && !out.full()) {
      const ub4 before_step = -row & 7;
      ub4 stop = before_step != 0 && before_step < end - row ? row + before_step : end;
      if (before_step == 0 && end - row >= step_rows && out.room() >= step_rows) {
        ub8 selected[2];
        selection.step(row, selected);
        stop = row + step_rows;
        if ((selected[0] | selected[1]) == 0) {
          row = stop;
        } else if (in_steps && (selected[0] & selected[1]) == ~ub8{0}) {
          const ub4 reach = end - row < out.room() ? end : row + out.room();
          row = store_steps(row, selection.whole_steps(row, reach), out);
          continue;
        } else if constexpr (simd::shuffles_bytes) {
          const ub1 *const step = stream + ub8{row} / 8 * bits;
          prefetch(step, out.next());
          out.advance(Step::store_selected(step, selected, out.next()));
          row = stop;
        }
      }
      for (; row < stop && !out.full(); ++row)
        if (selection.at(row)) out.add(code(row));
    }
    out_ = out;
    return row;
  }

  ub4 rows_one_by_one(column::SelectedRows &selected, ub4 end) {
    constexpr ub8 rows_ahead = 10;
    CodeArray<Out> out = out_;
    ub4 next_row = end;
    selected.each_batch([&](const ub4 *rows, ub8 count) {
      const ub8 taken = count < out.room() ? count : out.room();
      for (ub8 i = 0; i < taken; ++i) {
        column_.prefetch_row(rows[i + rows_ahead < count ? i + rows_ahead : count - 1]);
        out.add(code(rows[i]));
      }
      if (taken < count) next_row = rows[taken];
      return taken == count;
    });
    out_ = out;
    return next_row;
  }

private:
  // Bytes that are copied as they are need no shuffle.
  static constexpr bool in_steps = simd::shuffles_bytes || (bits == 8 && sizeof(Out) == sizeof(ub1));

  // The rows of `steps` steps from `row` on, for which there is room; returns the row after them.
  ub4 store_steps(ub4 row, ub4 steps, CodeArray<Out> &out) const {
    store_steps(stream_ + ub8{row} / 8 * bits, steps, out.next());
    out.advance(steps * step_rows);
    return row + steps * step_rows;
  }
  // Not inlined: both walks over rows need it.
  [[gnu::noinline]] static void store_steps(const ub1 *stream, ub4 steps, Out *out) {
    for (; steps != 0; --steps, stream += Step::bytes, out += step_rows) {
      prefetch(stream, out);
      Step::store_all(stream, out);
    }
  }

  ub4 code(ub4 row) const { return static_cast<ub4>(column_.row(row)); }

  [[gnu::always_inline]] static void prefetch(const ub1 *stream, const Out *out) {
    for (size_t line = 0; line < Step::bytes; line += column::cache_line_bytes)
      __builtin_prefetch(stream + unpack_prefetch_bytes + line);
    __builtin_prefetch(reinterpret_cast<const ub1 *>(out) + unpack_prefetch_bytes, 1);
  }

  const ub1 *stream_;
  Column column_;
  CodeArray<Out> out_;
};

template <unsigned bits>
void unpack_codes(const void *base, ub4 first, ub4 count, ub4 *codes) {
  Unpacker<bits, ub4>(base, CodeArray<ub4>(codes, count)).all_rows(first, first + count);
}

template <unsigned bits, class Out>
ub4 unpack_into(const UnpackLabels &labels, const void *base, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  Unpacker<bits, Out> unpacker(base, CodeArray<Out>(res->data, res->nrows));
  const ub4 first = ctx->next_row;
  if (MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(src), MIPO_RLE)) {
    if (column::selects_by_empty_list(ctx)) column::report_to_host(ctx, labels.empty_list);
    RunCodes codes(base, unpack_codes<bits>, MIPO_VEC_ENC_CTX(src)->run_count);
    unpack_runs(codes, unpacker.output(), src, ctx);
  } else if (ctx->ones_vec != nullptr && (ctx->eval_flags & MIPO_EVAL_SELECTIVE) == 0) {
    ctx->next_row = unpacker.rows_of_bits(SelectionBits(ctx->ones_vec), first, src->nrows);
  } else if (ctx->ones_vec != nullptr || ctx->ones_list != nullptr) {
    column::SelectedRows rows(src, ctx);
    ctx->next_row = unpacker.rows_one_by_one(rows, src->nrows);
  } else if (first < src->nrows) {
    ctx->next_row = unpacker.all_rows(first, src->nrows);
  }
  res->nset = unpacker.output().written();
  ctx->done_flags |= MIPO_DONE_DECODE_UNPACK;
  return unpacker.output().written() != 0 ? MIPO_DONE : MIPO_EMPTY;
}

// A whole kernel.
template <unsigned bits>
ub4 unpack(const UnpackLabels &labels, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  const void *base = column::column_base(src, ctx, labels.decompression);
  if (bits <= 16 && (ctx->eval_flags & MIPO_EVAL_WIDE_CODES) == 0)
    return unpack_into<bits, NarrowCode<bits>>(labels, base, res, src, ctx);
  return unpack_into<bits, ub4>(labels, base, res, src, ctx);
}

} // namespace mipo::decode

#endif
