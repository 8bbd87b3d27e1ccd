// The two forms of a bit vector. They look the same in memory and differ in what an operation may touch: a byte vector
// ends with the byte of its last bit, a word vector with the word.
//
//   form    bit i                            unit
//   lbiv    byte i >> 3, bit i & 7           byte, at any address
//   lbiwv   word i >> 6, bit i & 63          64-bit word
#ifndef MIPO_BITVEC_FORM_H
#define MIPO_BITVEC_FORM_H

#include "mipo/iterator.h"

namespace mipo::bitvec {

struct ByteForm {
  using Unit = ub1;
  static constexpr ub8 end = MIPO_LBIV_END;
};

struct WordForm {
  using Unit = ub8;
  static constexpr ub8 end = MIPO_LBIWV_END;
};

template <class Form>
inline constexpr ub8 unit_bits = 8 * sizeof(typename Form::Unit);

// The low `count` bits, for a count of 0 to 63.
constexpr ub8 low_bits(ub8 count) {
  return (ub8{1} << count) - 1;
}

} // namespace mipo::bitvec

#endif
