// Bloom filters, one position a row: which rows have a hash whose bit is set.
//
//   hash    xx xx xx xx  hh hh hh hh        big-endian; of 64 bits the last four bytes count
//   m       hh hh hh hh & mask
//   plain      bit m of one array
//   segmented  bit (m & word mask) of the array at segment m >> shift
#ifndef MIPO_HASH_BLOOM_H
#define MIPO_HASH_BLOOM_H

#include <algorithm>

#include "bitvec/iterator.h"
#include "bitvec/match_accumulator.h"
#include "interface/entry_functions.h"
#include "simd/simd.h"

namespace mipo::hash {

/// The masked hashes of the rows.
template <unsigned hash_bits>
class MaskedHashes {
  static constexpr size_t hash_bytes = hash_bits / 8;
  static constexpr size_t lanes = simd::vector_bytes / sizeof(ub4);
  static constexpr size_t prefetch_distance = 640;

public:
  MaskedHashes(const mipo_vec *hashes, const mipo_vec *filter)
      : hashes_(static_cast<const ub1 *>(hashes->data)), mask_(MIPO_VEC_ENC_CTX(filter)->bloom_mask) {}

  [[gnu::always_inline]] ub4 at(ub8 row) const {
    return simd::read_big_endian<ub4>(hashes_ + row * hash_bytes + (hash_bytes - sizeof(ub4))) & mask_;
  }
  /// Of as many rows as a vector has lanes of ub4.
  [[gnu::always_inline]] simd::Vector<ub4> lanes_at(ub8 row) const {
    const ub1 *first = hashes_ + row * hash_bytes;
    if constexpr (hash_bits == 32) {
      __builtin_prefetch(first + prefetch_distance);
      return simd::byte_swap<ub4>(simd::load<ub4>(first)) & mask_;
    } else {
      const auto odd = simd::odd_lanes<ub4>(simd::load<ub4>(first), simd::load<ub4>(first + simd::vector_bytes));
      return simd::byte_swap<ub4>(odd) & mask_;
    }
  }

private:
  const ub1 *hashes_;
  ub4 mask_;
};

[[gnu::always_inline]] inline ub8 is_set(const ub1 *array, ub4 bit) {
  return array[bit / 8] >> bit % 8 & 1;
}

/// A filter tells where the bit of a masked hash lies, which can be looked at later.
class PlainFilter {
public:
  using Position = ub4;

  explicit PlainFilter(const mipo_vec *filter) : array_(reinterpret_cast<const ub1 *>(filter->bv)) {}

  [[gnu::always_inline]] Position position(ub4 hash) const { return hash; }
  [[gnu::always_inline]] void prefetch(Position bit) const { __builtin_prefetch(array_ + bit / 8); }
  [[gnu::always_inline]] ub8 passes(Position bit) const { return is_set(array_, bit); }
  const ub1 *words() const { return array_; }

private:
  const ub1 *array_;
};

class SegmentedFilter {
public:
  struct Position {
    const ub1 *segment;
    ub4 bit;
  };

  explicit SegmentedFilter(const mipo_vec *filter)
      : segments_(reinterpret_cast<const ub1 *const *>(filter->bv)),
        shift_(MIPO_VEC_ENC_CTX(filter)->bloom_shift & 31),
        word_mask_(MIPO_VEC_ENC_CTX(filter)->bloom_word_mask) {}

  [[gnu::always_inline]] Position position(ub4 hash) const { return {segments_[hash >> shift_], hash & word_mask_}; }
  [[gnu::always_inline]] void prefetch(Position of) const { __builtin_prefetch(of.segment + of.bit / 8); }
  [[gnu::always_inline]] ub8 passes(Position of) const { return is_set(of.segment, of.bit); }

private:
  const ub1 *const *segments_;
  ub4 shift_, word_mask_;
};

/// 64 rows at once: positions first, so that the fetches depend on nothing else and overlap.
template <class Hashes, class Filter>
struct RowByRow {
  Hashes hashes;
  Filter filter;

  [[gnu::always_inline]] ub8 word(ub8 first_row) const {
    constexpr size_t lanes = simd::vector_bytes / sizeof(ub4);
    ub4 masked[bitvec::word_rows];
    for (size_t i = 0; i < bitvec::word_rows; i += lanes) simd::store<ub4>(masked + i, hashes.lanes_at(first_row + i));
    ub8 bits = 0;
    for (size_t i = 0; i < bitvec::word_rows; ++i) bits |= filter.passes(filter.position(masked[i])) << i;
    return bits;
  }
};

/// The same with the words of the filter gathered.
template <class Hashes>
struct Gathered {
  Hashes hashes;
  const ub1 *words;

  [[gnu::always_inline]] ub8 word(ub8 first_row) const {
    constexpr size_t lanes = simd::vector_bytes / sizeof(ub4);
    ub8 bits = 0;
    for (size_t block = 0; block < bitvec::word_rows; block += simd::lanes_per_block<ub4>) {
      const auto masks = [&](size_t i) __attribute__((always_inline)) {
        const simd::Vector<ub4> hash = hashes.lanes_at(first_row + block + i * lanes);
        const simd::Vector<ub4> of_row = simd::gather_words(words, hash >> 5) >> (hash & 31);
        return simd::Mask<ub4, true>{(of_row & 1) - 1};
      };
      const auto rows = simd::for_block(masks, [](auto... mask) { return simd::row_bits(mask...); });
      bits |= ub8{rows.word[0]} << block;
    }
    return bits;
  }
};

/// The rows from `first` up to `end`; `words` tells the bits of 64 rows.
template <class Hashes, class Filter, class Words>
ub4 probe_rows(mipo_vec *res, Hashes hashes, Filter filter, Words words, ub8 first, ub8 end) {
  using bitvec::word_rows;
  bitvec::MatchAccumulator matches;
  for (ub8 row = first; row < end;) {
    const auto word = static_cast<ub4>(row / word_rows);
    ub8 bits = 0;
    if (row % word_rows == 0 && end - row >= word_rows) {
      bits = words.word(row);
      row += word_rows;
    } else {
      do {
        bits |= filter.passes(filter.position(hashes.at(row))) << row % word_rows;
      } while (++row < end && row % word_rows != 0);
    }
    matches.add(res, word, bits);
  }
  return matches.report(res);
}

/// The selected rows, in batches: the bytes of a batch are asked for before the first of them is looked at.
template <class Hashes, class Filter>
ub4 probe_selected(mipo_vec *res, Hashes hashes, Filter filter, mipo_call_ctx *ctx, ub4 end) {
  constexpr ub8 batch = 256;
  mipo_lbiv_ictx iterator;
  mipo_lbiwv_ictx_ini2_dydi(&iterator, ctx->ones_vec, end, 0, ctx->first_row);
  ctx->done_flags |= MIPO_DONE_BLOOM;
  bitvec::MatchAccumulator matches;
  ub4 rows[batch];
  typename Filter::Position positions[batch];
  for (ub8 got = batch; got == batch;) {
    got = mipo_lbiwvones_dydi(&iterator, rows, batch);
    for (ub8 i = 0; i < got; ++i) {
      positions[i] = filter.position(hashes.at(rows[i]));
      filter.prefetch(positions[i]);
    }
    for (ub8 first = 0; first < got; first += bitvec::word_rows) {
      const ub8 count = std::min<ub8>(got - first, bitvec::word_rows);
      ub8 passed = 0; // which of these rows: setting their bits at once would branch on each
      for (ub8 i = 0; i < count; ++i) passed |= filter.passes(positions[first + i]) << i;
      matches.add_rows(res, rows + first, passed);
    }
  }
  return matches.report(res);
}

} // namespace mipo::hash

#endif
