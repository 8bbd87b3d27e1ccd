// Codes of a width that is known at run time: for what asks for a few of them, as walks over runs do. One text serves
// all widths there; loops over rows have their width as a constant.
#ifndef MIPO_DECODE_CODE_READER_H
#define MIPO_DECODE_CODE_READER_H

#include "simd/simd.h"

namespace mipo::decode {

class CodeReader {
public:
  CodeReader(const void *base, unsigned bits) : base_(static_cast<const ub1 *>(base)), bits_(bits) {}

  // Arrays of whole bytes have nothing after the last code; packed streams have a word.
  ub4 operator[](ub4 row) const {
    switch (bits_) {
    case 8:
      return base_[row];
    case 16:
      return simd::read_big_endian<ub2>(base_ + size_t{row} * sizeof(ub2));
    case 32:
      return simd::read_big_endian<ub4>(base_ + size_t{row} * sizeof(ub4));
    default:
      const ub8 bit = ub8{row} * bits_;
      return static_cast<ub4>(simd::read_big_endian<ub8>(base_ + bit / 32 * 4) << bit % 32 >> (64 - bits_));
    }
  }

private:
  const ub1 *base_;
  unsigned bits_;
};

} // namespace mipo::decode

#endif
