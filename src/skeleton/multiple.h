// Which rows have a code that a constant divides.
#ifndef MIPO_SKELETON_MULTIPLE_H
#define MIPO_SKELETON_MULTIPLE_H

#include "column/column_base.h"
#include "column/packed_codes.h"
#include "mipo/codes.h"
#include "simd/population_count.h"

namespace mipo::skeleton {

inline constexpr ub4 word_rows = 64;

template <unsigned bits>
ub4 multiples(const column::DecompressionLabels &labels, mipo_vec *res, const mipo_vec *src, const mipo_vec *konst,
              const mipo_call_ctx *ctx) {
  // Records are read once, into locals: results are stored through pointers that could alias them.
  const column::DictionaryCodes<bits, column::PackedLane<bits>> codes(column::column_base(src, ctx, labels));
  const ub4 rows = src->nrows, divisor = simd::read_native<ub4>(konst->data);
  const ub8 *const selection = ctx->ones_vec;
  ub8 *const result = res->bv;
  ub4 count = 0;

  const auto store_word = [&](ub4 word, ub4 rows_of_word) __attribute__((always_inline)) {
    ub8 found = 0;
    for (ub4 i = 0; i < rows_of_word; ++i) found |= ub8{codes.row(word * word_rows + i) % divisor == 0} << i;
    if (selection != nullptr) found &= selection[word];
    result[word] = found;
    count += simd::population_count(found);
  };
  const ub4 whole_words = rows / word_rows;
  for (ub4 word = 0; word < whole_words; ++word) store_word(word, word_rows);
  if (rows % word_rows != 0) store_word(whole_words, rows % word_rows);

  res->nset = count;
  return count != 0 ? MIPO_DONE : MIPO_EMPTY;
}

} // namespace mipo::skeleton

#endif
