// Setting and clearing runs of bits. Byte by byte in both forms, so that nothing outside the run's bytes is touched.
#include <string.h>

#include "bitvec/form.h"
#include "interface/entry_functions.h"

namespace mipo::bitvec {
namespace {

// Bits `first` to `last`, both included; `last` must not lie below `first`.
template <bool value>
void fill_range(void *vector, ub8 first, ub8 last) {
  auto *bytes = static_cast<ub1 *>(vector);
  const auto fill = [bytes](ub8 byte, ub8 mask) {
    const auto bits = static_cast<ub1>(mask);
    bytes[byte] = static_cast<ub1>(value ? bytes[byte] | bits : bytes[byte] & ~bits);
  };
  const ub8 first_byte = first / 8, last_byte = last / 8;
  const ub8 from_first = ~low_bits(first % 8), to_last = low_bits(last % 8 + 1);

  if (first_byte == last_byte) return fill(first_byte, from_first & to_last);
  fill(first_byte, from_first);
  fill(last_byte, to_last);
  memset(bytes + first_byte + 1, value ? 0xff : 0x00, last_byte - first_byte - 1);
}

} // namespace
} // namespace mipo::bitvec

extern "C" {

void mipo_lbivset_range_dydi(ub1 *bits, ub8 first, ub8 last) {
  mipo::bitvec::fill_range<true>(bits, first, last);
}
void mipo_lbivclr_range_dydi(ub1 *bits, ub8 first, ub8 last) {
  mipo::bitvec::fill_range<false>(bits, first, last);
}
void mipo_lbiwvset_range_dydi(ub8 *bits, ub8 first, ub8 last) {
  mipo::bitvec::fill_range<true>(bits, first, last);
}
void mipo_lbiwvclr_range_dydi(ub8 *bits, ub8 first, ub8 last) {
  mipo::bitvec::fill_range<false>(bits, first, last);
}
}
