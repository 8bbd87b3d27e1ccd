// Set algebra on whole bit vectors, with the count of the result in the same pass.
#ifndef MIPO_BITVEC_ALGEBRA_H
#define MIPO_BITVEC_ALGEBRA_H

#include <stdint.h>

#include "bitvec/form.h"
#include "simd/simd.h"

namespace mipo::bitvec {

// Ones of whole blocks, kept in the lanes of a register until the end.
class BlockCounter {
public:
  // A byte of a block's vectors holds at most 8 ones each, 64 in all: the counts are added before they are widened.
  template <class... Vectors>
  [[gnu::always_inline]] void add(Vectors... vectors) {
    sums_ += simd::sum_bytes((simd::byte_ones((simd::Vector<ub1>)vectors) + ...));
  }
  [[gnu::always_inline]] ub4 total() const {
    ub8 total = 0;
    for (size_t lane = 0; lane < simd::vector_bytes / 8; ++lane) total += sums_[lane];
    return static_cast<ub4>(total);
  }

private:
  simd::Vector<ub8> sums_{};
};

// Applies Operation to `length` bits of the sources. `stored`: the result goes to `result`, which may be one of the
// sources; otherwise it is only counted. Returns the ones below `length` if `counted`, else 0. The bits of the last
// unit at and above `length` hold the operation's result too.
template <class Form, class Operation, bool stored, bool counted, class... Source>
ub4 combine(typename Form::Unit *result, ub8 length, const Source *...sources) {
  using Unit = typename Form::Unit;
  auto *out = reinterpret_cast<ub1 *>(result);
  const ub8 bytes = (length + unit_bits<Form> - 1) / unit_bits<Form> * sizeof(Unit);
  ub8 at = 0;
  ub4 count = 0;
  const auto source_at = [&at](const void *source) { return static_cast<const ub1 *>(source) + at; };

  const auto step = [&]<class Word>(Word) __attribute__((always_inline)) {
    const Word word = static_cast<Word>(Operation::apply(simd::read_native<Word>(source_at(sources))...));
    if constexpr (stored) memcpy(out + at, &word, sizeof word);
    if constexpr (counted) count += simd::population_count(word);
    at += sizeof word;
  };

  // The address that decides is the destination's, or the only source's. A word step leaves an odd address odd.
  const auto address = [&](const auto *first, const auto *...) { return reinterpret_cast<uintptr_t>(first); };
  const bool odd = (stored ? reinterpret_cast<uintptr_t>(result) : address(sources...)) & 1;
  if (odd && bytes != 0) {
    if constexpr (sizeof(Unit) == 1)
      step(Unit{});
    else
      while (at < bytes) step(Unit{});
  }

  BlockCounter counter;
  for (; at + simd::block_bytes <= bytes; at += simd::block_bytes) {
    simd::for_block(
        [&](size_t i) __attribute__((always_inline)) {
          const size_t offset = i * simd::vector_bytes;
          const simd::Vector<ub8> vector = Operation::apply(simd::load<ub8>(source_at(sources) + offset)...);
          if constexpr (stored) simd::store<ub8>(out + at + offset, vector);
          return vector;
        },
        [&](auto... vectors) __attribute__((always_inline)) {
          if constexpr (counted) counter.add(vectors...);
        });
  }
  while (at + sizeof(ub8) <= bytes) step(ub8{});
  while (at < bytes) step(Unit{});

  if constexpr (!counted) return 0;
  count += counter.total();
  // The last unit was counted whole; take back what lies above the length.
  if (const ub8 used = length % unit_bits<Form>; used != 0) {
    at = bytes - sizeof(Unit);
    const auto last = [&] {
      if constexpr (stored)
        return simd::read_native<Unit>(out + at);
      else
        return simd::read_native<Unit>(source_at(sources)...);
    }();
    count -= simd::population_count(last & ~low_bits(used));
  }
  return count;
}

} // namespace mipo::bitvec

#endif
