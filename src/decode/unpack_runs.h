// Codes of a run-length column to integers in an array: of all rows, of those of a bit vector, of those of a list; one
// function for all widths.
#ifndef MIPO_DECODE_UNPACK_RUNS_H
#define MIPO_DECODE_UNPACK_RUNS_H

#include "column/selected_rows.h"
#include "decode/code_array.h"
#include "decode/run_codes.h"

namespace mipo::decode {

// The walks return the first row not done. Each is a function of its own and works on copies, which stay in registers.
template <class Out, class Runs>
class RunWalk {
public:
  RunWalk(RunCodes &codes, Runs runs, CodeArray<Out> out, const mipo_vec *src, const mipo_call_ctx *ctx)
      : codes_(codes), cursor_(runs, MIPO_VEC_ENC_CTX(src), ctx), out_(out) {}

  const column::RunCursor<Runs> &cursor() const { return cursor_; }
  const CodeArray<Out> &output() const { return out_; }

  [[gnu::noinline]] ub4 all_rows(ub4 row, ub4 end) {
    column::RunCursor<Runs> cursor = cursor_;
    CodeArray<Out> out = out_;
    if (row < end && end - row > out.room()) end = row + out.room();
    while (row < end && cursor.find(row)) {
      const ub4 stop = cursor.end() < end ? cursor.end() : end;
      out.add(codes_[cursor.run()], stop - row);
      row = stop;
    }
    cursor_ = cursor;
    out_ = out;
    return row;
  }

  [[gnu::noinline]] ub4 rows_of_bits(SelectionBits selection, ub4 row, ub4 end) {
    column::RunCursor<Runs> cursor = cursor_;
    CodeArray<Out> out = out_;
    while (row < end && !out.full() && cursor.find(row)) {
      const ub4 stop = cursor.end() < end ? cursor.end() : end;
      const ub4 selected = selection.count(row, stop), code = codes_[cursor.run()];
      if (selected <= out.room()) {
        out.add(code, selected);
        row = stop;
      } else {
        for (; !out.full(); ++row)
          if (selection.at(row)) out.add(code);
      }
    }
    cursor_ = cursor;
    out_ = out;
    return row;
  }

  [[gnu::noinline]] ub4 rows_of_list(column::SelectedRows &rows, ub4 end) {
    column::RunCursor<Runs> cursor = cursor_;
    CodeArray<Out> out = out_;
    ub4 next_row = end;
    ub4 code = 0, known_up_to = 0; // rows below have the code
    rows.each([&](ub4 row) {
      if (out.full() || (row >= known_up_to && !cursor.find(row))) {
        next_row = row;
        return false;
      }
      if (row >= known_up_to) {
        code = codes_[cursor.run()];
        known_up_to = cursor.end();
      }
      out.add(code);
      return true;
    });
    cursor_ = cursor;
    out_ = out;
    return next_row;
  }

private:
  RunCodes &codes_;
  column::RunCursor<Runs> cursor_;
  CodeArray<Out> out_;
};

// The rows from `next_row` on, which is moved past those that are done, and so is the place in the runs.
template <class Out>
[[gnu::noinline]] void unpack_runs(RunCodes &codes, CodeArray<Out> &out, const mipo_vec *src, mipo_call_ctx *ctx) {
  column::with_runs(MIPO_VEC_ENC_CTX(src), [&](auto runs) {
    RunWalk<Out, decltype(runs)> walk(codes, runs, out, src, ctx);
    const ub4 first = ctx->next_row, end = src->nrows;
    if (ctx->ones_vec != nullptr) {
      ctx->next_row = walk.rows_of_bits(SelectionBits(ctx->ones_vec), first, end);
    } else if (ctx->ones_list != nullptr) {
      column::SelectedRows rows(src, ctx);
      ctx->next_row = walk.rows_of_list(rows, end);
    } else {
      ctx->next_row = walk.all_rows(first, end);
    }
    walk.cursor().store(ctx);
    out = walk.output();
  });
}

} // namespace mipo::decode

#endif
