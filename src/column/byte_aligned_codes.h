// Columns of big-endian codes that fill whole bytes: 8, 16, 32 or 64 bits, row i at element i.
#ifndef MIPO_COLUMN_BYTE_ALIGNED_CODES_H
#define MIPO_COLUMN_BYTE_ALIGNED_CODES_H

#include <type_traits>

#include "column/block_reading.h"
#include "mipo/vec.h"
#include "simd/simd.h"

namespace mipo::column {

template <class Code>
class ByteAlignedCodes {
public:
  using Lane = Code;
  using Word = std::conditional_t<sizeof(Code) == 8, ub8, ub4>;
  static constexpr Word greatest = static_cast<Code>(~Code{0});

  static constexpr size_t rows_per_block = simd::lanes_per_block<Code>;

  explicit ByteAlignedCodes(const void *base) : base_(static_cast<const ub1 *>(base)) {}

  // The block path reads constants at the codes' width, the selective path whole words: a host's cell is a word with
  // the value zero-extended, and stray upper bits matter to the selective path alone.
  static constexpr bool compares_words_when_selective = true;
  static Word block_constant(const mipo_vec *konst) { return simd::read_native<Code>(konst->data); }
  static Word selective_constant(const mipo_vec *konst) { return simd::read_native<Word>(konst->data); }

  [[gnu::always_inline]] Code row(ub8 row) const { return simd::read_big_endian<Code>(base_ + row * sizeof(Code)); }

  [[gnu::always_inline]] void prefetch_row(ub8 row) const { __builtin_prefetch(base_ + row * sizeof(Code)); }

  class Block {
  public:
    explicit Block(const ub1 *codes) : codes_(codes) {}

    [[gnu::always_inline]] simd::Lanes<Code> values(size_t i) const { return simd::byte_swap(stored(i)); }

    // Equal codes have equal bytes in any order: where order does not matter the constant is swapped once, instead of
    // every code.
    template <LaneForm form, class Test>
    [[gnu::always_inline]] auto bits_where(const Test &test) const {
      return simd::for_block(
          [&](size_t i) __attribute__((always_inline)) {
            if constexpr (form == LaneForm::bytes)
              return test.lanes(stored(i),
                                [](auto k) { return simd::byte_swap(simd::broadcast_lanes(static_cast<Code>(k))); });
            else
              return test.lanes(values(i), [](auto k) { return simd::broadcast_lanes(static_cast<Code>(k)); });
          },
          [](auto... masks) { return simd::row_bits(masks...); });
    }

  private:
    [[gnu::always_inline]] simd::Lanes<Code> stored(size_t i) const {
      return {simd::load<Code>(codes_ + i * simd::vector_bytes)};
    }

    const ub1 *codes_;
  };

  [[gnu::always_inline]] Block at(ub8 block) const {
    const ub1 *codes = base_ + block * simd::block_bytes;
    for (size_t line = 0; line < simd::block_bytes; line += cache_line_bytes)
      __builtin_prefetch(codes + prefetch_distance + line, 0, 3);
    return Block(codes);
  }

private:
  const ub1 *base_;
};

} // namespace mipo::column

#endif
