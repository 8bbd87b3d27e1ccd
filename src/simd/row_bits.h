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

  // The same three operations on all rows, with a mask of all ones or all zeros.
  [[gnu::always_inline]] RowBits operator^(ub8 mask) const {
    return each([mask](Word bits) { return bits ^ mask; });
  }
  [[gnu::always_inline]] RowBits operator|(ub8 mask) const {
    return each([mask](Word bits) { return bits | mask; });
  }
  [[gnu::always_inline]] RowBits operator&(ub8 mask) const {
    return each([mask](Word bits) { return bits & mask; });
  }

  [[gnu::always_inline]] ub4 count() const {
    ub4 sum = 0;
    for (size_t i = 0; i < words; ++i) sum += population_count(word[i]);
    return sum;
  }

  [[gnu::always_inline]] void store(void *address) const { memcpy(address, word, bytes); }

private:
  [[gnu::always_inline]] RowBits each(auto operation) const {
    RowBits result;
    for (size_t i = 0; i < words; ++i) result.word[i] = static_cast<Word>(operation(word[i]));
    return result;
  }
};

} // namespace mipo::simd

#endif
