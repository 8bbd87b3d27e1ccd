// Walking the set or the clear bits of a vector. All state is in the caller's 32-byte record (mipo/iterator.h).
#ifndef MIPO_BITVEC_ITERATOR_H
#define MIPO_BITVEC_ITERATOR_H

#include <stdint.h>
#include <string.h>

#include "bitvec/form.h"
#include "simd/simd.h"

namespace mipo::bitvec {

inline constexpr ub8 word_bits = 64;

// What a walk delivers. A record walks one kind from beginning to end.
struct SetBits {
  static constexpr ub8 of(ub8 word) { return word; }
};
struct ClearBits {
  static constexpr ub8 of(ub8 word) { return ~word; }
};

// The 64 bits at `address`, of which only the low `bits` exist; the rest is undefined in a word vector and zero in a
// byte vector, which has no byte after its last bit.
template <class Form>
[[gnu::always_inline]] inline ub8 load_last_word(const void *address, ub8 bits) {
  if constexpr (sizeof(typename Form::Unit) == sizeof(ub8)) return simd::read_native<ub8>(address);
  ub8 word = 0;
  const auto *bytes = static_cast<const ub1 *>(address);
  for (ub8 i = 0; i < (bits + 7) / 8; ++i) word |= static_cast<ub8>(bytes[i]) << 8 * i;
  return word;
}

// Moves to the next word; false if that lies at or after the limit, and then `pending` stays empty.
template <class Form, class Wanted>
[[gnu::always_inline]] inline bool advance(mipo_lbiv_ictx &it) {
  it.word_base += word_bits;
  if (it.word_base >= it.bit_limit) return false;
  const ub8 left = it.bit_limit - it.word_base;
  if (left >= word_bits)
    it.pending = Wanted::of(simd::read_native<ub8>(it.next_word));
  else
    it.pending = Wanted::of(load_last_word<Form>(it.next_word, left)) & low_bits(left);
  ++it.next_word;
  return true;
}

template <class Form, class Wanted>
ub8 next_bit(mipo_lbiv_ictx &it) {
  while (it.pending == 0)
    if (!advance<Form, Wanted>(it)) return Form::end;
  const auto bit = static_cast<ub8>(__builtin_ctzll(it.pending));
  it.pending -= ub8{1} << bit;
  return it.word_base + bit;
}

// The first word of a walk. A word vector is read in its own words; a byte vector in aligned words however it is
// placed, but only the bytes of such a word that belong to the vector.
struct FirstWord {
  const ub8 *next_word;
  ub8 word_base; // modulo 2^64: an aligned word may begin before the vector
  ub8 start;     // the start bit's place in the word
  ub8 bits;
};

inline FirstWord first_word(WordForm, const ub8 *vector, ub8, ub8 start_bit) {
  const ub8 *word = vector + start_bit / word_bits;
  return {word + 1, start_bit - start_bit % word_bits, start_bit % word_bits, simd::read_native<ub8>(word)};
}

inline FirstWord first_word(ByteForm, const ub1 *vector, ub8 limit, ub8 start_bit) {
  const ub1 *byte = vector + start_bit / 8;
  const ub8 bytes_ahead = reinterpret_cast<uintptr_t>(byte) % sizeof(ub8); // of the start's byte, in its aligned word
  const ub1 *word = byte - bytes_ahead;
  FirstWord first{reinterpret_cast<const ub8 *>(word + sizeof(ub8)), 8 * (start_bit / 8 - bytes_ahead),
                  8 * bytes_ahead + start_bit % 8, 0};
  if (word < vector || first.word_base + word_bits > limit) {
    const ub8 wanted = limit - start_bit;
    const ub8 end = wanted > word_bits - first.start ? sizeof(ub8) : (first.start + wanted + 7) / 8;
    for (ub8 i = bytes_ahead; i < end; ++i) first.bits |= static_cast<ub8>(word[i]) << 8 * i;
  } else {
    first.bits = simd::read_native<ub8>(word);
  }
  return first;
}

// Prepares a walk over bits `start_bit` to `limit` - 1. An empty one leaves all four fields zero.
template <class Form>
void begin_walk(mipo_lbiv_ictx &it, const typename Form::Unit *vector, ub8 limit, bool clear_bits, ub8 start_bit) {
  it = {};
  if (limit <= start_bit) return;
  const FirstWord first = first_word(Form{}, vector, limit, start_bit);
  ub8 pending = clear_bits ? ClearBits::of(first.bits) : SetBits::of(first.bits);
  pending &= ~low_bits(first.start);
  // Complementing may have set bits after the limit, so this comes after it.
  const ub8 end = first.start + (limit - start_bit);
  if (limit - start_bit < word_bits - first.start) pending &= low_bits(end);
  it = {first.next_word, limit, first.word_base, pending};
}

} // namespace mipo::bitvec

#endif
