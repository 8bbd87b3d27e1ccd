// Copying the selected rows of a column of byte strings into an output of limited size, and going on from where the
// call before stopped. Rows with places of their own go by number, as many as there is room for. Rows that lie back to
// back have to be walked to, and each is asked whether its bytes still fit.
#ifndef MIPO_DECODE_SELECTIVE_COPY_H
#define MIPO_DECODE_SELECTIVE_COPY_H

#include <type_traits>

#include "column/column_base.h"
#include "column/row_bytes.h"
#include "column/row_shapes.h"
#include "interface/entry_functions.h"

namespace mipo::decode {

// A size known to the compiler makes a copy one move.
template <size_t bytes>
struct ConstantSize {
  constexpr operator size_t() const { return bytes; }
};

// Elements of an array, each `size` bytes: what a row of the shapes with places of their own is.
template <class Size>
class Elements {
public:
  Elements(void *to, const void *from, Size size)
      : to_(static_cast<ub1 *>(to)), from_(static_cast<const ub1 *>(from)), size_(size) {}

  [[gnu::always_inline]] void copy(ub4 to, const ub4 *rows, ub8 count) const {
    for (ub8 i = 0; i < count; ++i) {
      ub1 *place = to_ + (to + i) * size_;
      const ub1 *element = from_ + rows[i] * size_;
      if constexpr (std::is_same_v<Size, size_t>)
        column::copy_bytes(place, element, size_);
      else
        memcpy(place, element, size_);
    }
  }

private:
  ub1 *to_;
  const ub1 *from_;
  Size size_;
};

template <size_t bytes>
Elements<ConstantSize<bytes>> elements(void *to, const void *from) {
  return {to, from, {}};
}

inline constexpr ub4 rows_per_batch = 256; // of those fetched from a bit vector

// `copy(to, rows, count)` copies rows to the places from `to` on.
ub4 copy_by_number(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx, auto copy) {
  const ub4 capacity = res->nrows;
  if (ctx->ones_list != nullptr) {
    const ub4 pending = ctx->ones_list_len - ctx->next_row;
    const ub4 count = capacity < pending ? capacity : pending;
    copy(0, ctx->ones_list + ctx->next_row, count);
    ctx->next_row += count;
    res->nrows = count;
    return count < pending ? MIPO_COPY_FULL : MIPO_DONE;
  }
  mipo_lbiv_ictx ones;
  mipo_lbiwv_ictx_ini2_dydi(&ones, ctx->ones_vec, src->nrows, 0, ctx->next_row);
  ub4 rows[rows_per_batch];
  ub4 written = 0;
  for (;;) {
    // One more than there is room for tells whether the output is too small.
    const ub4 room = capacity - written;
    const ub4 wanted = room < rows_per_batch ? room + 1 : rows_per_batch;
    const auto got = static_cast<ub4>(mipo_lbiwvones_dydi(&ones, rows, wanted));
    const ub4 taken = got < room ? got : room;
    copy(written, rows, taken);
    written += taken;
    if (got < wanted || taken < got) {
      ctx->next_row = taken < got ? rows[taken] : src->nrows;
      res->nrows = written;
      return taken < got ? MIPO_COPY_FULL : MIPO_DONE;
    }
  }
}

// The output of a walk, bounded in rows and in bytes. Rows that follow each other in the source are copied as one
// piece.
template <class Walk>
class BoundedRows {
public:
  BoundedRows(mipo_vec *res, const mipo_vec *src)
      : res_(res), lengths_(src), row_capacity_(res->nrows), byte_capacity_(res->data_bytes) {}

  bool full() const { return rows_ == row_capacity_; }
  // False if the row, number `number`, does not fit.
  bool put(ub4 number, column::RowBytes row) {
    const ub8 size = Walk::bytes_beside_row + row.length;
    if (size > byte_capacity_ - bytes_) return false;
    if (number != piece_row_ + (rows_ - piece_start_)) {
      copy_piece();
      piece_ = row.first - Walk::bytes_beside_row;
      piece_row_ = number;
      piece_start_ = rows_;
      piece_position_ = bytes_;
    }
    bytes_ += size;
    ++rows_;
    return true;
  }
  void finish() {
    copy_piece();
    res_->nrows = rows_;
    res_->data_bytes = bytes_;
  }

private:
  void copy_piece() {
    if (rows_ == piece_start_) return;
    column::copy_bytes(static_cast<ub1 *>(res_->data) + piece_position_, piece_, bytes_ - piece_position_);
    if constexpr (Walk::has_lengths_apart)
      column::copy_bytes(static_cast<ub1 *>(res_->lens) + piece_start_ * sizeof(ub2), lengths_.at(piece_row_),
                         (rows_ - piece_start_) * sizeof(ub2));
  }

  mipo_vec *res_;
  column::RowLengths lengths_;
  ub4 row_capacity_, rows_ = 0;
  ub8 byte_capacity_, bytes_ = 0;
  // Taken, not yet copied: where its rows lie and start in the source, and in the output.
  const ub1 *piece_ = nullptr;
  ub4 piece_row_ = ~ub4{0}, piece_start_ = 0;
  ub8 piece_position_ = 0;
};

// Walks to rows and copies them.
template <class Walk>
class WalkingCopy {
public:
  WalkingCopy(mipo_vec *res, const mipo_vec *src, const mipo_call_ctx *ctx, ub4 first_row)
      : walk_(src, ctx->data_pos), row_(first_row), out_(res, src) {}

  ub4 row() const { return row_; }
  void walk_to(ub4 row) {
    walk_.skip(row_, row);
    row_ = row > row_ ? row : row_;
  }
  // False if the row stood on has no room.
  bool copy() {
    if (out_.full()) return false;
    const column::RowBytes bytes = walk_.take(row_);
    if (!out_.put(row_, bytes)) {
      walk_.put_back(bytes);
      return false;
    }
    ++row_;
    return true;
  }
  ub4 finish(mipo_call_ctx *ctx, ub4 next_row, ub4 code) {
    ctx->next_row = next_row;
    ctx->data_pos = walk_.position();
    out_.finish();
    return code;
  }

private:
  Walk walk_;
  ub4 row_;
  BoundedRows<Walk> out_;
};

template <class Walk>
ub4 walk_list(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  const ub4 *list = ctx->ones_list;
  const ub4 first = ctx->next_row, end = ctx->ones_list_len;
  // data_pos 0 resumes at the start of the stream, whatever the number of empty rows.
  const ub4 stood_on = ctx->data_pos != 0 && first < end ? list[first] : 0;
  WalkingCopy<Walk> copy(res, src, ctx, stood_on);
  for (ub4 place = first; place < end; ++place) {
    if (list[place] < copy.row())
      column::report_to_host(ctx, "mipo_selective found decreasing indices in ones_vec with LV or LV_SEP input");
    copy.walk_to(list[place]);
    if (!copy.copy()) return copy.finish(ctx, place, MIPO_COPY_FULL);
  }
  return copy.finish(ctx, end, MIPO_DONE);
}

template <class Walk>
ub4 walk_bits(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  mipo_lbiv_ictx ones;
  mipo_lbiwv_ictx_ini2_dydi(&ones, ctx->ones_vec, src->nrows, 0, ctx->next_row);
  WalkingCopy<Walk> copy(res, src, ctx, ctx->next_row);
  ub4 rows[rows_per_batch];
  for (ub8 got = rows_per_batch; got == rows_per_batch;) {
    got = mipo_lbiwvones_dydi(&ones, rows, rows_per_batch);
    for (ub8 i = 0; i < got; ++i) {
      copy.walk_to(rows[i]);
      if (!copy.copy()) return copy.finish(ctx, rows[i], MIPO_COPY_FULL);
    }
  }
  copy.walk_to(src->nrows);
  return copy.finish(ctx, src->nrows, MIPO_DONE);
}

template <class Walk>
ub4 copy_by_walking(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  return ctx->ones_list != nullptr ? walk_list<Walk>(res, src, ctx) : walk_bits<Walk>(res, src, ctx);
}

} // namespace mipo::decode

#endif
