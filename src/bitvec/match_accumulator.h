// What kernels that test rows against a table report: a bit for each row that passed, how many there are, the first and
// the last of them. Bits are added to what the result holds.
#ifndef MIPO_BITVEC_MATCH_ACCUMULATOR_H
#define MIPO_BITVEC_MATCH_ACCUMULATOR_H

#include <string.h>

#include "mipo/codes.h"
#include "mipo/vec.h"
#include "simd/population_count.h"

namespace mipo::bitvec {

inline constexpr ub4 word_rows = 64;

class MatchAccumulator {
public:
  /// Rows of one word of the result, in ascending order of the words.
  [[gnu::always_inline]] void add(mipo_vec *res, ub4 word, ub8 bits) {
    if (bits == 0) return;
    res->bv[word] |= bits;
    count_ += simd::population_count(bits);
    if (first_ == no_row) first_ = word * word_rows + static_cast<ub4>(__builtin_ctzll(bits));
    last_ = word * word_rows + 63 - static_cast<ub4>(__builtin_clzll(bits));
  }

  /// Of rows in ascending order, those whose bits are set.
  [[gnu::always_inline]] void add_rows(mipo_vec *res, const ub4 *rows, ub8 passed) {
    if (passed == 0) return;
    count_ += simd::population_count(passed);
    if (first_ == no_row) first_ = rows[__builtin_ctzll(passed)];
    last_ = rows[63 - __builtin_clzll(passed)];
    for (; passed != 0; passed &= passed - 1) {
      const ub4 row = rows[__builtin_ctzll(passed)];
      res->bv[row / word_rows] |= ub8{1} << row % word_rows;
    }
  }

  /// Stores the count, and through `data` the first and the last row, or twice that there is none.
  ub4 report(mipo_vec *res, bool with_rows = true) const {
    const ub4 rows[2] = {with_rows ? first_ : no_row, with_rows ? last_ : no_row};
    res->nset = count_;
    memcpy(res->data, rows, sizeof rows);
    return count_ != 0 ? MIPO_DONE : MIPO_EMPTY;
  }

private:
  static constexpr ub4 no_row = 0xffffffff;

  ub4 count_ = 0, first_ = no_row, last_ = no_row;
};

} // namespace mipo::bitvec

#endif
