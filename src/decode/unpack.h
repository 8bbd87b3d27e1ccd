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

#include "decode/code_reader.h"
#include "decode/compaction.h"
#include "decode/selected_rows.h"
#include "frame/column_base.h"
#include "scan/packed.h"

namespace mipo::decode {

struct UnpackLabels {
  frame::DecompressionLabels decompression;
  const char *empty_list; // "<kernel>: [rle] ones_vec size is zero"
};

// Where a step's output and source will be some steps later.
inline constexpr size_t unpack_prefetch_bytes = 640;

template <unsigned bits>
using NarrowCode = std::conditional_t<(bits <= 8), ub1, std::conditional_t<(bits <= 16), ub2, ub4>>;

inline constexpr ub4 step_rows = 128;

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
  using BlockIn = scan::PackedBlock<bits, Lane, blocks_of(sizeof(Lane))>;

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
                                    std::conditional_t<sizeof(Out) == sizeof(ub2), scan::PackedLane<bits>, ub4>>;
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
        store_lanes(out, compacted(block.values(i).vector, lanes_selected));
        out += simd::population_count(lanes_selected);
      });
    }
    return static_cast<ub4>(out - start);
  }
};

// The output: an array with room for so many codes.
template <class Out>
struct CodeArray {
  Out *codes;
  ub4 written, capacity;

  ub4 room() const { return capacity - written; }
  bool full() const { return written == capacity; }
  Out *end() const { return codes + written; }
  void add(ub4 code) { codes[written++] = static_cast<Out>(code); }
  void add(ub4 code, ub4 times) {
    for (ub4 i = 0; i < times; ++i) codes[written + i] = static_cast<Out>(code);
    written += times;
  }
};

// How the selection of a stretch of rows is read.
class SelectionBits {
public:
  explicit SelectionBits(const ub8 *words) : words_(words) {}

  bool at(ub4 row) const { return words_[row / 64] >> row % 64 & 1; }
  // Of rows `first` up to `end`.
  ub4 count(ub4 first, ub4 end) const {
    ub4 total = 0;
    while (first < end) {
      const ub4 stop = (first | 63) + 1 != 0 && (first | 63) + 1 < end ? (first | 63) + 1 : end;
      const ub8 below_stop = stop % 64 == 0 ? ~ub8{0} : (ub8{1} << stop % 64) - 1;
      total += simd::population_count(words_[first / 64] & below_stop & (~ub8{0} << first % 64));
      first = stop;
    }
    return total;
  }
  // Of the 128 rows from `row` on, a multiple of 8.
  [[gnu::always_inline]] void step(ub4 row, ub8 (&selection)[2]) const {
    memcpy(selection, reinterpret_cast<const ub1 *>(words_) + row / 8, sizeof selection);
  }

private:
  const ub8 *words_;
};

template <unsigned bits, class Out>
class Unpacker {
public:
  using Column = scan::DictionaryCodes<bits, scan::PackedLane<bits>>;
  using Step = UnpackedStep<bits, Out>;

  Unpacker(const void *base, mipo_vec *res)
      : stream_(static_cast<const ub1 *>(base)), column_(base), out_{static_cast<Out *>(res->data), 0, res->nrows} {}

  ub4 written() const { return out_.written; }

  // Rows `first` up to `end`; returns the first one not done. So do all that follow.
  ub4 all_rows(ub4 first, ub4 end) {
    // What all walks write to stays in registers: nothing may point to it.
    CodeArray<Out> out = out_;
    ub4 row = first;
    const ub4 last = end - first < out.room() ? end : first + out.room();
    for (; row < last && row % 8 != 0; ++row) out.add(code(row));
    for (; row < last && last - row >= step_rows; row += step_rows) {
      const ub1 *stream = stream_ + ub8{row} / 8 * bits;
      prefetch(stream, out.end());
      Step::store_all(stream, out.end());
      out.written += step_rows;
    }
    for (; row < last; ++row) out.add(code(row));
    out_ = out;
    return row;
  }

  ub4 rows_of_bits(SelectionBits selection, ub4 first, ub4 end) {
    CodeArray<Out> out = out_;
    ub4 row = first;
    const auto one_by_one = [&](ub4 stop) {
      for (; row < stop && !out.full(); ++row)
        if (selection.at(row)) out.add(code(row));
    };
    one_by_one(first + (-first & 7) < end ? first + (-first & 7) : end);
    if (row % 8 == 0) {
      for (; row < end && end - row >= step_rows && out.room() >= step_rows; row += step_rows) {
        ub8 selected[2];
        selection.step(row, selected);
        if ((selected[0] | selected[1]) == 0) continue;
        const ub1 *stream = stream_ + ub8{row} / 8 * bits;
        prefetch(stream, out.end());
        if ((selected[0] & selected[1]) == ~ub8{0}) {
          Step::store_all(stream, out.end());
          out.written += step_rows;
        } else {
          out.written += Step::store_selected(stream, selected, out.end());
        }
      }
    }
    one_by_one(end);
    out_ = out;
    return row;
  }

  ub4 rows_one_by_one(SelectedRows &rows, ub4 end) {
    constexpr ub4 rows_ahead = 10;
    CodeArray<Out> out = out_;
    ub4 next_row = end;
    rows.template each_with_later<rows_ahead>([&](ub4 row, ub4 later_row) {
      if (out.full()) {
        next_row = row;
        return false;
      }
      column_.prefetch_row(later_row);
      out.add(code(row));
      return true;
    });
    out_ = out;
    return next_row;
  }

private:
  ub4 code(ub4 row) const { return static_cast<ub4>(column_.row(row)); }

  [[gnu::always_inline]] static void prefetch(const ub1 *stream, const Out *out) {
    for (size_t line = 0; line < Step::bytes; line += scan::cache_line_bytes)
      __builtin_prefetch(stream + unpack_prefetch_bytes + line);
    __builtin_prefetch(reinterpret_cast<const ub1 *>(out) + unpack_prefetch_bytes, 1);
  }

  const ub1 *stream_;
  Column column_;
  CodeArray<Out> out_;
};

// Runs into codes of rows; the same text for all widths.
template <class Out>
class RunUnpacker {
public:
  RunUnpacker(CodeReader codes, mipo_vec *res) : codes_(codes), out_{static_cast<Out *>(res->data), 0, res->nrows} {}

  ub4 written() const { return out_.written; }

  // Returns the first row not done.
  template <class Runs>
  [[gnu::noinline]] ub4 unpack(Runs runs, const mipo_vec *src, mipo_call_ctx *ctx) {
    RunCursor<Runs> cursor(runs, MIPO_VEC_ENC_CTX(src), ctx);
    const ub4 next_row = ctx->ones_vec != nullptr    ? runs_of_bits(cursor, SelectionBits(ctx->ones_vec), src, ctx)
                         : ctx->ones_list != nullptr ? runs_of_list(cursor, src, ctx)
                                                     : all_runs(cursor, src, ctx);
    cursor.store(ctx);
    return next_row;
  }

private:
  template <class Cursor>
  ub4 all_runs(Cursor &cursor, const mipo_vec *src, const mipo_call_ctx *ctx) {
    ub4 row = ctx->next_row;
    while (row < src->nrows && !out_.full() && cursor.find(row)) {
      const ub4 end = cursor.end() < src->nrows ? cursor.end() : src->nrows;
      const ub4 rows = end - row < out_.room() ? end - row : out_.room();
      out_.add(codes_[cursor.run()], rows);
      row += rows;
    }
    return row;
  }

  template <class Cursor>
  ub4 runs_of_bits(Cursor &cursor, SelectionBits selection, const mipo_vec *src, const mipo_call_ctx *ctx) {
    ub4 row = ctx->next_row;
    while (row < src->nrows && !out_.full() && cursor.find(row)) {
      const ub4 end = cursor.end() < src->nrows ? cursor.end() : src->nrows;
      const ub4 selected = selection.count(row, end), run_code = codes_[cursor.run()];
      if (selected <= out_.room()) {
        out_.add(run_code, selected);
        row = end;
      } else {
        for (; !out_.full(); ++row)
          if (selection.at(row)) out_.add(run_code);
      }
    }
    return row;
  }

  template <class Cursor>
  ub4 runs_of_list(Cursor &cursor, const mipo_vec *src, const mipo_call_ctx *ctx) {
    SelectedRows rows(src, ctx);
    ub4 next_row = src->nrows;
    rows.each([&](ub4 row) {
      if (out_.full() || !cursor.find(row)) {
        next_row = row;
        return false;
      }
      out_.add(codes_[cursor.run()]);
      return true;
    });
    return next_row;
  }

  CodeReader codes_;
  CodeArray<Out> out_;
};

// The end of a call: `written` codes, and the first row not done.
inline ub4 finish_unpacking(ub4 written, ub4 next_row, mipo_vec *res, mipo_call_ctx *ctx) {
  ctx->next_row = next_row;
  res->nset = written;
  ctx->done_flags |= MIPO_DONE_DECODE_UNPACK;
  return written != 0 ? MIPO_DONE : MIPO_EMPTY;
}

template <class Out>
[[gnu::noinline]] ub4 unpack_runs_into(const char *empty_list, CodeReader codes, mipo_vec *res, const mipo_vec *src,
                                       mipo_call_ctx *ctx) {
  RunUnpacker<Out> unpacker(codes, res);
  if (selects_by_empty_list(ctx)) frame::report_to_host(ctx, empty_list);
  const ub4 next_row =
      frame::with_runs(MIPO_VEC_ENC_CTX(src), [&](auto runs) { return unpacker.unpack(runs, src, ctx); });
  return finish_unpacking(unpacker.written(), next_row, res, ctx);
}

template <unsigned bits, class Out>
ub4 unpack_into(const UnpackLabels &labels, const void *base, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  if (MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(src), MIPO_RLE))
    return unpack_runs_into<Out>(labels.empty_list, CodeReader(base, bits), res, src, ctx);
  Unpacker<bits, Out> unpacker(base, res);
  ub4 next_row = ctx->next_row;
  if (ctx->ones_vec != nullptr && (ctx->eval_flags & MIPO_EVAL_SELECTIVE) == 0) {
    next_row = unpacker.rows_of_bits(SelectionBits(ctx->ones_vec), next_row, src->nrows);
  } else if (ctx->ones_vec != nullptr || ctx->ones_list != nullptr) {
    SelectedRows rows(src, ctx);
    next_row = unpacker.rows_one_by_one(rows, src->nrows);
  } else if (next_row < src->nrows) {
    next_row = unpacker.all_rows(next_row, src->nrows);
  }
  return finish_unpacking(unpacker.written(), next_row, res, ctx);
}

// A whole kernel.
template <unsigned bits>
ub4 unpack(const UnpackLabels &labels, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  const void *base = frame::column_base(src, ctx, labels.decompression);
  if (bits <= 16 && (ctx->eval_flags & MIPO_EVAL_WIDE_CODES) == 0)
    return unpack_into<bits, NarrowCode<bits>>(labels, base, res, src, ctx);
  return unpack_into<bits, ub4>(labels, base, res, src, ctx);
}

} // namespace mipo::decode

#endif
