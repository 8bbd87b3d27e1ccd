// Columns of big-endian codes that fill whole bytes: 8, 16, 32 or 64 bits, row i at element i.
#ifndef MIPO_SCAN_BYTE_ALIGNED_H
#define MIPO_SCAN_BYTE_ALIGNED_H

#include <type_traits>

#include "scan/operations.h"
#include "simd/simd.h"

namespace mipo::scan {

template <class Code, bool null_aware>
class ByteAlignedCodes {
public:
  // The block path reads constants at the codes' width, the selective path whole words: a host's cell is a word with
  // the value zero-extended, and stray upper bits matter to the selective path alone.
  using BlockCodes = CodeRange<Code, static_cast<Code>(~Code{0}), null_aware>;
  using Word = std::conditional_t<sizeof(Code) == 8, ub8, ub4>;
  using SelectiveCodes = CodeRange<Word, static_cast<Word>(~Word{0}), null_aware>;

  static constexpr size_t rows_per_block = simd::lanes_per_block<Code>;

  explicit ByteAlignedCodes(const void *base) : base_(static_cast<const ub1 *>(base)) {}

  [[gnu::always_inline]] Code row(ub8 row) const { return simd::read_big_endian<Code>(base_ + row * sizeof(Code)); }

  [[gnu::always_inline]] void prefetch_row(ub8 row) const { __builtin_prefetch(base_ + row * sizeof(Code)); }

  // Equal codes have equal bytes in any order: where order does not matter the constant is swapped once, instead of
  // every code.
  template <bool ordered, class Test>
  [[gnu::always_inline]] auto block(ub8 block, const Test &test) const {
    const ub1 *codes = base_ + block * simd::block_bytes;
    for (size_t line = 0; line < simd::block_bytes; line += cache_line_bytes)
      __builtin_prefetch(codes + prefetch_distance + line, 0, 3);
    return simd::for_block(
        [&](size_t i) __attribute__((always_inline)) {
          const simd::Lanes<Code> stored{simd::load<Code>(codes + i * simd::vector_bytes)};
          if constexpr (ordered)
            return test.lanes(simd::byte_swap(stored), simd::broadcast_lanes<Code>);
          else
            return test.lanes(stored, [](Code k) { return simd::byte_swap(simd::broadcast_lanes(k)); });
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
