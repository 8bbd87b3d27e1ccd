// Comparing two columns of byte strings row by row. Equal streams are the common case: the result vector is written
// from the first unequal row on, and where the bytes of many rows lie together they are compared as one.
#ifndef MIPO_DECODE_STREAM_COMPARISON_H
#define MIPO_DECODE_STREAM_COMPARISON_H

#include "column/row_bytes.h"
#include "column/row_shapes.h"
#include "mipo/codes.h"

namespace mipo::decode {

// Rows compared at a time, and how far ahead values are fetched that lie anywhere in memory.
inline constexpr ub4 rows_per_step = 128;
inline constexpr ub4 words_per_step = rows_per_step / 64;

struct StepBits {
  ub8 word[words_per_step]; // a one for each equal row, and for those that are not there
};

// What is known of the rows so far. The bit vector stays as it was while all are equal.
class EqualRows {
public:
  EqualRows(mipo_vec *res, ub4 rows) : res_(res), words_(res->bv), rows_(rows), equal_(rows) {}

  [[gnu::always_inline]] void put(ub4 first_row, const StepBits &bits) {
    for (ub4 i = 0; i < words_per_step; ++i) {
      const ub8 unequal = ~bits.word[i];
      if (unequal == 0) continue;
      if (!filled_) fill();
      words_[first_row / 64 + i] = ~unequal;
      equal_ -= simd::population_count(unequal);
    }
  }
  ub4 finish() const {
    res_->nset = equal_;
    return equal_ == 0 ? MIPO_EMPTY : MIPO_DONE;
  }

private:
  [[gnu::cold, gnu::noinline]] void fill() {
    for (ub4 word = 0; word < rows_ / 64 + (rows_ % 64 != 0); ++word) words_[word] = ~ub8{0};
    filled_ = true;
  }

  mipo_vec *res_;
  ub8 *words_;
  ub4 rows_, equal_;
  bool filled_ = false;
};

[[gnu::always_inline]] inline bool same_row(column::RowBytes a, column::RowBytes b) {
  return a.length == b.length && column::same_bytes(a.first, b.first, a.length);
}

// A pair of streams says of a row whether it is the same on both sides, of a whole step whether all its rows are, in
// which case it is stepped over, and of a whole step which rows are. Most can do the first only.
template <class Pair>
struct StreamPair {
  bool step_over_equal(ub4) { return false; }
  StepBits equal_rows(ub4 first) { return equal_rows(first, rows_per_step); }
  [[gnu::always_inline]] StepBits equal_rows(ub4 first, ub4 rows) {
    StepBits bits = {{~ub8{0}, ~ub8{0}}};
    for (ub4 i = 0; i < rows; ++i) bits.word[i / 64] ^= ub8{!static_cast<Pair *>(this)->same(first + i)} << (i % 64);
    return bits;
  }
};

template <class Pair>
ub4 compare(mipo_vec *res, ub4 rows, Pair pair) {
  EqualRows result(res, rows);
  ub4 first = 0;
  for (; rows - first >= rows_per_step; first += rows_per_step)
    if (!pair.step_over_equal(first)) result.put(first, pair.equal_rows(first));
  if (first < rows) result.put(first, pair.StreamPair<Pair>::equal_rows(first, rows - first));
  return result.finish();
}

// Rows one after the other: a step's bytes are those of its rows.
class FixedBytes {
public:
  FixedBytes(const mipo_vec *left, const mipo_vec *right, size_t width) : left_(left, width), right_(right, width) {}

  const ub1 *left(ub4 row) const { return left_.first(row); }
  const ub1 *right(ub4 row) const { return right_.first(row); }

private:
  column::FixedRows left_, right_;
};

// Whole blocks.
[[gnu::always_inline]] inline bool same_blocks(const ub1 *a, const ub1 *b, size_t blocks) {
  for (size_t block = 0; block < blocks; ++block) {
    const size_t at = block * simd::block_bytes;
    const bool same = simd::for_block(
        [&](size_t i) __attribute__((always_inline)) {
          const size_t place = at + i * simd::vector_bytes;
          return simd::load<ub8>(a + place) ^ simd::load<ub8>(b + place);
        },
        [](auto... differences) __attribute__((always_inline)) {
          const auto all = (differences | ...);
          ub8 any = 0;
          for (size_t lane = 0; lane < simd::vector_bytes / sizeof(ub8); ++lane) any |= all[lane];
          return any == 0;
        });
    if (!same) return false;
  }
  return true;
}

// Values of an integer's width.
template <class T>
class IntegerPair : public StreamPair<IntegerPair<T>> {
public:
  IntegerPair(const mipo_vec *left, const mipo_vec *right) : bytes_(left, right, sizeof(T)) {}

  bool same(ub4 row) const { return simd::read_native<T>(bytes_.left(row)) == simd::read_native<T>(bytes_.right(row)); }
  bool step_over_equal(ub4 first) const { return same_blocks(bytes_.left(first), bytes_.right(first), blocks); }
  StepBits equal_rows(ub4 first) const {
    StepBits bits;
    auto *out = reinterpret_cast<ub1 *>(bits.word);
    for (size_t block = 0; block < blocks; ++block) {
      const size_t at = block * simd::block_bytes;
      const auto rows = simd::for_block(
          [&](size_t i) __attribute__((always_inline)) {
            const size_t place = at + i * simd::vector_bytes;
            return simd::Lanes<T>{simd::load<T>(bytes_.left(first) + place)} ==
                   simd::Lanes<T>{simd::load<T>(bytes_.right(first) + place)};
          },
          [](auto... equal) __attribute__((always_inline)) { return simd::row_bits<T>(equal...); });
      rows.store(out);
      out += rows.bytes;
    }
    return bits;
  }

private:
  static constexpr size_t blocks = rows_per_step * sizeof(T) / simd::block_bytes;
  FixedBytes bytes_;
};

class FixedPair : public StreamPair<FixedPair> {
public:
  FixedPair(const mipo_vec *left, const mipo_vec *right, size_t width) : bytes_(left, right, width), width_(width) {}

  bool same(ub4 row) const { return column::same_bytes(bytes_.left(row), bytes_.right(row), width_); }
  bool step_over_equal(ub4 first) const {
    return same_blocks(bytes_.left(first), bytes_.right(first), width_); // 128 rows: a block for each byte of a row
  }

private:
  static_assert(rows_per_step == simd::block_bytes);
  FixedBytes bytes_;
  size_t width_;
};

// Values with addresses: what the compare costs is waiting for them.
template <class Rows>
class AddressPair : public StreamPair<AddressPair<Rows>> {
public:
  AddressPair(const mipo_vec *left, const mipo_vec *right) : left_(left), right_(right), rows_(left->nrows) {
    for (ub4 row = 0; row < rows_ && row < rows_per_step; ++row) fetch(row);
  }

  bool same(ub4 row) const {
    if (rows_ - row > rows_per_step) fetch(row + rows_per_step);
    return same_row(left_.at(row), right_.at(row));
  }

private:
  void fetch(ub4 row) const {
    __builtin_prefetch(left_.first(row));
    __builtin_prefetch(right_.first(row));
  }

  Rows left_, right_;
  ub4 rows_;
};

class ChainedPair : public StreamPair<ChainedPair> {
public:
  ChainedPair(const mipo_vec *left, const mipo_vec *right) : left_(left), right_(right) {}

  bool same(ub4 row) { return same_row(left_.take(row), right_.take(row)); }
  // Both walks go at once, each waiting for its own lengths. If they come equally far, all that lies between is one
  // piece, which lengths and bytes must agree on.
  bool step_over_equal(ub4 first) {
    column::InlineLengthRows left = left_, right = right_;
    for (ub4 row = first; row < first + rows_per_step; ++row) {
      left.take(row);
      right.take(row);
    }
    const ub8 bytes = left.position() - left_.position();
    if (right.position() - right_.position() != bytes || memcmp(left_.next(), right_.next(), bytes) != 0) return false;
    left_ = left;
    right_ = right;
    return true;
  }

private:
  column::InlineLengthRows left_, right_;
};

class SplitChainPair : public StreamPair<SplitChainPair> {
public:
  SplitChainPair(const mipo_vec *left, const mipo_vec *right) : left_(left), right_(right) {}

  bool same(ub4 row) { return same_row(left_.take(row), right_.take(row)); }
  // Where the lengths agree, so do the places, and the bytes of all rows are one piece.
  bool step_over_equal(ub4 first) {
    constexpr size_t blocks = rows_per_step * sizeof(ub2) / simd::block_bytes;
    if (!same_blocks(left_.lengths().at(first), right_.lengths().at(first), blocks)) return false;
    const ub8 bytes = left_.lengths().sum(first, first + rows_per_step);
    if (memcmp(left_.next(), right_.next(), bytes) != 0) return false;
    left_.advance(bytes);
    right_.advance(bytes);
    return true;
  }

private:
  column::SeparateLengthRows left_, right_;
};

} // namespace mipo::decode

#endif
