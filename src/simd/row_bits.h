// One bit a row, lane 0 lowest: what a block of lanes becomes.
#ifndef MIPO_SIMD_ROW_BITS_H
#define MIPO_SIMD_ROW_BITS_H

#include <string.h>

#include "mipo/integers.h"
#include "simd/population_count.h"
#include "simd/unsigned.h"

namespace mipo::simd {

template <size_t rows>
struct RowBits {
  using Word = Unsigned<(rows < 64 ? rows : 64)>;
  static constexpr size_t words = rows / 8 / sizeof(Word);
  static constexpr size_t bytes = rows / 8;

  Word word[words];

  // Complements all rows if `mask` is all ones, none if it is zero.
  [[gnu::always_inline]] RowBits operator^(ub8 mask) const {
    RowBits result;
    for (size_t i = 0; i < words; ++i) result.word[i] = static_cast<Word>(word[i] ^ mask);
    return result;
  }

  [[gnu::always_inline]] ub4 count() const {
    ub4 sum = 0;
    for (size_t i = 0; i < words; ++i) sum += population_count(word[i]);
    return sum;
  }

  [[gnu::always_inline]] void store(void *address) const { memcpy(address, word, bytes); }
};

} // namespace mipo::simd

#endif
