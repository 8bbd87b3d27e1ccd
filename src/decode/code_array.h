// What unpacking writes and what it selects by: an array of codes with an end, and the bits of a selection.
#ifndef MIPO_DECODE_CODE_ARRAY_H
#define MIPO_DECODE_CODE_ARRAY_H

#include <string.h>

#include "simd/simd.h"

namespace mipo::decode {

inline constexpr ub4 step_rows = 128;

// The output: an array with room for so many codes, filled from its beginning. It is kept by what is next, not by how
// many there are: what a number of rows counts would have to be widened for each address.
template <class Out>
class CodeArray {
public:
  CodeArray(void *codes, ub4 capacity) : first_(static_cast<Out *>(codes)), next_(first_), last_(first_ + capacity) {}

  ub4 written() const { return static_cast<ub4>(next_ - first_); }
  ub4 room() const { return static_cast<ub4>(last_ - next_); }
  bool full() const { return next_ == last_; }
  Out *next() const { return next_; }
  // Takes codes as written that were stored from next() on.
  void advance(ub4 count) { next_ += count; }
  void add(ub4 code) { *next_++ = static_cast<Out>(code); }
  // Whole vectors or words, the last of which begins early enough to end with the codes; runs are mostly short.
  [[gnu::always_inline]] void add(ub4 code, ub4 times) {
    constexpr ub4 per_vector = simd::vector_bytes / sizeof(Out), per_word = sizeof(ub8) / sizeof(Out);
    constexpr ub8 word_of_ones = ~ub8{0} / static_cast<Out>(~Out{0});
    Out *const stop = next_ + times;
    if (times >= per_vector) {
      const auto codes = simd::broadcast(static_cast<Out>(code));
      for (; next_ < stop - per_vector; next_ += per_vector) simd::store<Out>(next_, codes);
      simd::store<Out>(stop - per_vector, codes);
    } else if (times >= per_word) {
      const ub8 codes = word_of_ones * code;
      for (; next_ < stop - per_word; next_ += per_word) memcpy(next_, &codes, sizeof codes);
      memcpy(stop - per_word, &codes, sizeof codes);
    } else {
      for (; next_ != stop; ++next_) {
        *next_ = static_cast<Out>(code);
        __asm__ volatile("" ::: "memory"); // else compilers call memset, or make vectors of these few, too
      }
    }
    next_ = stop;
  }

private:
  Out *first_, *next_, *last_;
};

// How the selection of a stretch of rows is read.
class SelectionBits {
public:
  explicit SelectionBits(const ub8 *words) : words_(words) {}

  bool at(ub4 row) const { return words_[row / 64] >> row % 64 & 1; }
  // Of rows `first` up to `end`, at least one.
  [[gnu::always_inline]] ub4 count(ub4 first, ub4 end) const {
    const ub8 from_first = ~ub8{0} << first % 64, below_end = ~ub8{0} >> (-end & 63);
    const ub4 last = (end - 1) / 64;
    ub4 word = first / 64;
    if (word == last) return simd::population_count(words_[word] & from_first & below_end);
    ub4 total = simd::population_count(words_[word] & from_first);
    while (++word != last) total += simd::population_count(words_[word]);
    return total + simd::population_count(words_[last] & below_end);
  }
  // Of the step from `row` on, a multiple of 8.
  [[gnu::always_inline]] void step(ub4 row, ub8 (&selection)[2]) const {
    memcpy(selection, reinterpret_cast<const ub1 *>(words_) + row / 8, sizeof selection);
  }

  // How many steps from `row` on, a multiple of 8, are selected as a whole and end by `end`.
  ub4 whole_steps(ub4 row, ub4 end) const {
    ub4 steps = 0;
    for (ub8 selection[2]; end - row >= step_rows; row += step_rows, ++steps) {
      step(row, selection);
      if ((selection[0] & selection[1]) != ~ub8{0}) break;
    }
    return steps;
  }

private:
  const ub8 *words_;
};

} // namespace mipo::decode

#endif
