// Entries that pass once over columns of integers: totals, offsets from lengths, comparison of codes.
#include <algorithm>
#include <functional>

#include "interface/entry_functions.h"
#include "simd/simd.h"

namespace {

using namespace mipo;

void add_to_cell(ub1 *cell, ub4 number) {
  number += simd::read_native<ub4>(cell);
  memcpy(cell, &number, sizeof number);
}

// Adds the rows from `first` up to `end` to a ub4 cell, which holds the total so far after each of them: rows that it
// lies amid are read as it has left them.
template <class Number>
void add_rows(ub1 *cell, const ub1 *column, size_t first, size_t end) {
  const ub1 *const from = column + first * sizeof(Number), *const to = column + end * sizeof(Number);
  if (cell + sizeof(ub4) > from && cell < to) {
    for (const ub1 *number = from; number < to; number += sizeof(Number))
      add_to_cell(cell, simd::read_big_endian<Number>(number));
    return;
  }
  ub4 sum = 0;
  for (size_t row = first; row < end; ++row) sum += simd::read_big_endian<Number>(column + row * sizeof(Number));
  add_to_cell(cell, sum);
}

constexpr ub4 batch_rows = 64; // a word of the result

// One side of a comparison: codes, and maybe a map that tells what stands for each.
class Codes {
public:
  Codes(const mipo_vec *column, const mipo_vec *map)
      : codes_(static_cast<const ub4 *>(column->data)),
        map_(map != nullptr ? static_cast<const ub4 *>(map->data) : nullptr) {}

  // `count` numbers from row `first` on: those of the column itself, or mapped ones in `room`.
  [[gnu::noinline]] const ub4 *numbers(ub4 first, ub4 count, ub4 *room) const {
    const ub4 *codes = codes_ + first;
    if (map_ == nullptr) return codes;
    for (ub4 i = 0; i < count; ++i) room[i] = map_[codes[i]];
    return room;
  }

private:
  const ub4 *codes_;
  const ub4 *map_;
};

// Of a whole batch, a bit a row. `holds` compares lanes.
template <class Operation>
ub8 compare_batch(const ub4 *left, const ub4 *right, Operation holds) {
  constexpr ub4 block_rows = simd::lanes_per_block<ub4>, vector_rows = simd::vector_bytes / sizeof(ub4);
  ub8 bits = 0;
  for (ub4 row = 0; row < batch_rows; row += block_rows) {
    const auto masks = [&](size_t i) {
      const size_t at = row + i * vector_rows;
      return holds(simd::Lanes<ub4>{simd::load<ub4>(left + at)}, simd::Lanes<ub4>{simd::load<ub4>(right + at)});
    };
    const auto block = simd::for_block(masks, [](auto... mask) { return simd::row_bits(mask...); });
    bits |= ub8{block.word[0]} << row;
  }
  return bits;
}

// Adds the rows for which the comparison holds to the result's bits, and counts them.
template <class Operation>
void compare(mipo_vec *res, Codes left, Codes right, ub4 rows, Operation holds) {
  ub4 left_room[batch_rows], right_room[batch_rows];
  ub4 count = 0;
  for (ub4 first = 0; first < rows; first += std::min(batch_rows, rows - first)) {
    const ub4 batch = std::min(batch_rows, rows - first);
    const ub4 *const a = left.numbers(first, batch, left_room), *const b = right.numbers(first, batch, right_room);
    ub8 bits = 0;
    if (batch == batch_rows)
      bits = compare_batch(a, b, holds);
    else
      for (ub4 i = 0; i < batch; ++i) bits |= ub8{holds(a[i], b[i])} << i;
    res->bv[first / batch_rows] |= bits;
    count += simd::population_count(bits);
  }
  res->nset = count;
}

} // namespace

extern "C" ub4 mipo_sum_vec_dydi(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  constexpr ub1 one_byte = 7, two_bytes = 15; // the width indices of these widths
  auto *const cell = static_cast<ub1 *>(res->data);
  const auto *const column = static_cast<const ub1 *>(src->data);
  const ub1 width_index = MIPO_VEC_ENC_CTX(src)->width_index;
  if (width_index == one_byte) add_rows<ub1>(cell, column, ctx->next_row, src->nrows);
  if (width_index == two_bytes) add_rows<ub2>(cell, column, ctx->next_row, src->nrows);
  return MIPO_DONE;
}

extern "C" ub4 mipo_prefix_sum_vec_dydi(mipo_vec *res, const mipo_vec *src, ub8) {
  const auto *const lengths = static_cast<const ub4 *>(src->data);
  auto *const offsets = static_cast<ub4 *>(res->data);
  const size_t rows = src->nrows;
  ub4 offset = 0;
  offsets[0] = offset;
  for (size_t row = 0; row < rows; ++row) offsets[row + 1] = offset += lengths[row];
  return MIPO_DONE;
}

extern "C" ub4 mipo_lookup_and_compare_dydi(mipo_vec *res, const mipo_vec *left, const mipo_vec *right,
                                            const mipo_vec *left_map, const mipo_vec *right_map, const mipo_vec *op,
                                            mipo_call_ctx *ctx) {
  const ub4 rows = left->nrows - ctx->next_row; // rows count from the first one all the same
  res->nset = 0;
  if (rows == 0) return MIPO_DONE;
  const Codes left_codes(left, left_map), right_codes(right, right_map);
  switch (*static_cast<const ub1 *>(op->data)) {
  case MIPO_OP_EQ:
    compare(res, left_codes, right_codes, rows, std::equal_to<>{});
    break;
  case MIPO_OP_LT:
    compare(res, left_codes, right_codes, rows, std::less<>{});
    break;
  case MIPO_OP_GT:
    compare(res, left_codes, right_codes, rows, std::greater<>{});
    break;
  case MIPO_OP_LE:
    compare(res, left_codes, right_codes, rows, std::less_equal<>{});
    break;
  case MIPO_OP_GE:
    compare(res, left_codes, right_codes, rows, std::greater_equal<>{});
    break;
  case MIPO_OP_NE:
    compare(res, left_codes, right_codes, rows, std::not_equal_to<>{});
    break;
  }
  return MIPO_DONE;
}
