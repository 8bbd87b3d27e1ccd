// Batch extraction: the numbers of the set bits, in ascending order, as many as there is room for.
//
// Two algorithms, chosen per chunk by density. One by one costs a step a set bit and is right for sparse vectors; the
// table way stores eight numbers for each byte that is not zero and is right for dense ones. The choice is made once a
// chunk, by how dense the chunk before was, and the first chunk goes one by one.
#ifndef MIPO_BITVEC_ONES_H
#define MIPO_BITVEC_ONES_H

#include "bitvec/iterator.h"
#include "simd/compaction_tables.h"

namespace mipo::bitvec {

// Of the bits walked in a chunk, how many must be set for the table way to serve the next one.
inline constexpr double table_density = 0.18;
inline constexpr ub8 smallest_chunk = 8192, largest_chunk = 131072; // entries; each chunk is twice the one before

struct Chunk {
  ub8 written;
  bool exhausted; // the bits ran out before the chunk was full
};

// Numbers of the bits of `byte`, at `base`: always stores eight, of which the bits' count is meant.
[[gnu::always_inline]] inline void store_byte_rows(ub4 *rows, ub4 base, ub8 byte) {
  constexpr size_t lanes = simd::vector_bytes / sizeof(ub4);
  const ub4 *positions = mipo_unpack_sel8x32_masks.positions[byte];
  for (size_t lane = 0; lane < 8; lane += lanes)
    simd::store<ub4>(rows + lane, simd::load<ub4>(positions + lane) + simd::broadcast(base));
}

// Writes the numbers of the lowest `count` bits of `pending` and takes them off.
[[gnu::always_inline]] inline void take_bits(ub8 &pending, ub8 word_base, ub4 *rows, ub8 count) {
  for (ub8 i = 0; i < count; ++i) {
    rows[i] = static_cast<ub4>(word_base + static_cast<ub8>(__builtin_ctzll(pending)));
    pending &= pending - 1;
  }
}

// Moves to the next word below `end` that is not empty; leaves `pending` 0 if there is none. Where one word is empty,
// many are: they are passed over four at a time, and the first set one of four is found without a branch, which nobody
// could foresee.
[[gnu::always_inline]] inline void find_set_word(mipo_lbiv_ictx &it, const ub8 *end) {
  const auto take = [&it](ub8 empty_ahead) {
    it.next_word += empty_ahead + 1;
    it.word_base += (empty_ahead + 1) * word_bits;
    it.pending = simd::read_native<ub8>(it.next_word - 1);
  };
  take(0);
  if (it.pending != 0) return;
  while (end - it.next_word >= 4) {
    ub8 words[4];
    memcpy(words, it.next_word, sizeof words);
    if ((words[0] | words[1] | words[2] | words[3]) != 0) {
      const ub8 empty1 = words[0] == 0, empty2 = empty1 & (words[1] == 0), empty3 = empty2 & (words[2] == 0);
      return take(empty1 + empty2 + empty3);
    }
    it.next_word += 4;
    it.word_base += 4 * word_bits;
  }
  while (it.pending == 0 && it.next_word < end) take(0);
}

// One pass over the words of a chunk. `take_word(pending, word_base, rows, count, room)` writes the numbers of a word's
// `count` bits, for which there is room. The caller's record is right again at every way out.
template <class Form, class TakeWord>
[[gnu::always_inline]] inline Chunk take_words(mipo_lbiv_ictx &record, ub4 *rows, ub8 capacity, TakeWord take_word) {
  mipo_lbiv_ictx it = record; // in registers
  Chunk chunk{0, false};
  // After the word at hand, this many words lie below the limit as a whole.
  const ub8 ahead = it.bit_limit - it.word_base;
  const ub8 *whole_words_end = it.next_word + (static_cast<sb8>(ahead) >= sb8{word_bits} ? ahead / word_bits - 1 : 0);
  for (;;) {
    if (it.pending != 0) {
      const ub8 room = capacity - chunk.written, count = simd::population_count(it.pending);
      if (count > room) {
        take_bits(it.pending, it.word_base, rows + chunk.written, room);
        chunk.written = capacity;
        break;
      }
      take_word(it.pending, it.word_base, rows + chunk.written, count, room);
      chunk.written += count;
      it.pending = 0;
    }
    if (it.next_word < whole_words_end)
      find_set_word(it, whole_words_end);
    else if (!advance<Form, SetBits>(it)) {
      chunk.exhausted = true;
      break;
    }
  }
  record = it;
  return chunk;
}

template <class Form>
Chunk take_one_by_one(mipo_lbiv_ictx &it, ub4 *rows, ub8 capacity) {
  return take_words<Form>(it, rows, capacity, [](ub8 pending, ub8 word_base, ub4 *out, ub8 count, ub8) {
    take_bits(pending, word_base, out, count);
  });
}

template <class Form>
Chunk take_by_table(mipo_lbiv_ictx &it, ub4 *rows, ub8 capacity) {
  return take_words<Form>(it, rows, capacity, [](ub8 pending, ub8 word_base, ub4 *out, ub8 count, ub8 room) {
    // The last byte's store may reach eight entries after the ones that are meant.
    if (room < word_bits + 8) return take_bits(pending, word_base, out, count);
    for (ub8 shift = 0; shift < word_bits; shift += 8) {
      const ub8 byte = pending >> shift & 0xff;
      store_byte_rows(out, static_cast<ub4>(word_base + shift), byte);
      out += simd::population_count(byte);
    }
  });
}

// Writes up to `capacity` numbers; fewer mean that the walk is at its end. Entries after those returned, below the
// capacity, may be overwritten.
template <class Form>
ub8 take_ones(mipo_lbiv_ictx &it, ub4 *rows, ub8 capacity) {
  ub8 total = 0, chunk_size = smallest_chunk;
  ub8 chunk_start = it.word_base;
  bool dense = false;
  for (;;) {
    const ub8 room = capacity - total < chunk_size ? capacity - total : chunk_size;
    const Chunk chunk =
        dense ? take_by_table<Form>(it, rows + total, room) : take_one_by_one<Form>(it, rows + total, room);
    total += chunk.written;
    if (chunk.exhausted || total == capacity) return total;

    const ub8 walked = it.word_base - chunk_start;
    dense = walked < static_cast<ub8>(static_cast<double>(chunk.written) / table_density);
    chunk_start = it.word_base;
    if (chunk_size < largest_chunk) chunk_size *= 2;
  }
}

} // namespace mipo::bitvec

#endif
