// Columns of big-endian codes that fill whole bytes: 8, 16, 32 or 64 bits, row i at element i.
#ifndef MIPO_SCAN_BYTE_ALIGNED_H
#define MIPO_SCAN_BYTE_ALIGNED_H

#include <type_traits>

#include "simd/simd.h"

namespace mipo::scan {

template <class Code>
class ByteAlignedCodes {
public:
  // The block path reads constants at the codes' width, the selective path whole words: a host's cell is a word with
  // the value zero-extended, and stray upper bits matter to the selective path alone.
  using BlockValue = Code;
  using SelectiveValue = std::conditional_t<sizeof(Code) == 8, ub8, ub4>;

  static constexpr size_t rows_per_block = simd::lanes_per_block<Code>;

  explicit ByteAlignedCodes(const void *base) : base_(static_cast<const ub1 *>(base)) {}

  [[gnu::always_inline]] Code row(ub8 row) const { return simd::read_big_endian<Code>(base_ + row * sizeof(Code)); }

  [[gnu::always_inline]] void prefetch_row(ub8 row) const { __builtin_prefetch(base_ + row * sizeof(Code)); }

  template <class Test>
  [[gnu::always_inline]] auto block(ub8 block, const Test &test) const {
    const ub1 *codes = base_ + block * simd::block_bytes;
    for (size_t line = 0; line < simd::block_bytes; line += cache_line_bytes)
      __builtin_prefetch(codes + prefetch_distance + line, 0, 3);
    return simd::for_block(
        [&](size_t i) {
          return test.big_endian_lanes(simd::Lanes<Code>{simd::load<Code>(codes + i * simd::vector_bytes)});
        },
        [](auto... masks) { return simd::row_bits(masks...); });
  }

private:
  static constexpr size_t prefetch_distance = 8192; // 64 blocks
  static constexpr size_t cache_line_bytes = 64;

  const ub1 *base_;
};

} // namespace mipo::scan

#endif
