// Columns of stored values: 1 to 8 bytes each, big-endian, one after the other. Their bytes are compared as unsigned
// numbers, like codes that fill whole bytes; what is their own is that constants are stored as the rows are, and that
// nothing after the last row may be read.
#ifndef MIPO_SCAN_FIXED_H
#define MIPO_SCAN_FIXED_H

#include "column/byte_aligned_codes.h"
#include "column/packed_codes.h"
#include "simd/unsigned.h"

namespace mipo::scan {

// The unsigned number in `bytes` bytes, of which no other one is touched.
template <unsigned bytes>
[[gnu::always_inline]] inline ub8 read_big_endian_bytes(const ub1 *address) {
  constexpr unsigned leading = bytes == 8 ? 8 : bytes >= 4 ? 4 : bytes >= 2 ? 2 : 1;
  const ub8 number = simd::read_big_endian<simd::Unsigned<8 * leading>>(address);
  if constexpr (leading == bytes)
    return number;
  else
    return number << 8 * (bytes - leading) | read_big_endian_bytes<bytes - leading>(address + leading);
}

// What column and constants of whole bytes have in common: every constant is a value.
template <unsigned bytes>
struct StoredValues {
  using Word = std::conditional_t<(bytes > 4), ub8, ub4>;
  static constexpr Word greatest = static_cast<Word>(~ub8{0} >> 8 * (sizeof(ub8) - bytes));
  static constexpr bool compares_words_when_selective = false;

  static Word block_constant(const mipo_vec *konst) {
    return static_cast<Word>(read_big_endian_bytes<bytes>(static_cast<const ub1 *>(konst->data)));
  }
  static Word selective_constant(const mipo_vec *konst) { return block_constant(konst); }
};

// Values as wide as their lanes.
template <class Lane>
struct FullWidthValues : column::ByteAlignedCodes<Lane>, StoredValues<sizeof(Lane)> {
  using Values = StoredValues<sizeof(Lane)>;
  using typename Values::Word;
  using Values::greatest, Values::compares_words_when_selective, Values::block_constant, Values::selective_constant;

  FullWidthValues(const void *base, unsigned) : column::ByteAlignedCodes<Lane>(base) {}
};

// Narrower values: packed codes of whole bytes.
template <unsigned bytes, class Lane>
class NarrowValues : public StoredValues<bytes> {
public:
  using Block = column::PackedBlock<8 * bytes, Lane>;
  static constexpr size_t rows_per_block = Block::rows;

  NarrowValues(const void *base, unsigned) : base_(static_cast<const ub1 *>(base)) {}

  [[gnu::always_inline]] Lane row(ub8 row) const {
    return static_cast<Lane>(read_big_endian_bytes<bytes>(base_ + row * bytes));
  }
  [[gnu::always_inline]] void prefetch_row(ub8 row) const { __builtin_prefetch(base_ + row * bytes); }

  [[gnu::always_inline]] Block at(ub8 block) const {
    const ub1 *values = base_ + block * Block::bytes;
    for (size_t line = 0; line < Block::bytes; line += column::cache_line_bytes)
      __builtin_prefetch(values + column::prefetch_distance + line, 0, 3);
    return Block(values);
  }

private:
  const ub1 *base_;
};

// Values of a width that has no block loop. Hosts choose the kernel of the next lane up from the value's width, so this
// is for the others: read row by row.
template <class Lane>
class ValuesOfAnyWidth {
public:
  using Word = ub8;
  static constexpr Word greatest = ~Word{0};
  static constexpr bool compares_words_when_selective = false;

  ValuesOfAnyWidth(const void *base, unsigned bytes) : base_(static_cast<const ub1 *>(base)), bytes_(bytes) {}

  Word block_constant(const mipo_vec *konst) const { return read(static_cast<const ub1 *>(konst->data)); }
  Word selective_constant(const mipo_vec *konst) const { return block_constant(konst); }
  ub8 row(ub8 row) const { return read(base_ + row * bytes_); }
  void prefetch_row(ub8 row) const { __builtin_prefetch(base_ + row * bytes_); }

private:
  ub8 read(const ub1 *address) const {
    ub8 number = 0;
    for (unsigned i = 0; i < bytes_; ++i) number = number << 8 | address[i];
    return number;
  }

  const ub1 *base_;
  unsigned bytes_;
};

// Calls run<Values>() for the way to read values of `bytes` bytes in a kernel of lanes of type Lane.
template <class Lane>
ub4 with_values_of(unsigned bytes, auto run) {
  if (bytes == sizeof(Lane)) return run.template operator()<FullWidthValues<Lane>>();
  if constexpr (sizeof(Lane) == 4)
    if (bytes == 3) return run.template operator()<NarrowValues<3, Lane>>();
  if constexpr (sizeof(Lane) == 8) {
    if (bytes == 5) return run.template operator()<NarrowValues<5, Lane>>();
    if (bytes == 6) return run.template operator()<NarrowValues<6, Lane>>();
    if (bytes == 7) return run.template operator()<NarrowValues<7, Lane>>();
  }
  return run.template operator()<ValuesOfAnyWidth<Lane>>();
}

// Bytes of a value of the kernel of `bits` bits. Up to 16 bits there is one width and nothing to look up.
template <unsigned bits>
unsigned value_bytes(const mipo_vec *vec) {
  return bits <= 16 ? bits / 8 : (MIPO_VEC_ENC_CTX(vec)->bits & 0xff) >> 3;
}

} // namespace mipo::scan

#endif
