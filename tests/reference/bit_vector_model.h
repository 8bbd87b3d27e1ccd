// Bit vectors one bit at a time: bit i is bit i & 7 of byte i >> 3, in both forms.
#ifndef MIPO_TESTS_REFERENCE_BIT_VECTOR_MODEL_H
#define MIPO_TESTS_REFERENCE_BIT_VECTOR_MODEL_H

#include <string_view>
#include <vector>

#include "mipo/integers.h"

namespace mipo::reference {

/// A set operation, told on one bit of each source.
struct BitOperation {
  std::string_view name; ///< as in the entries' names: "andnot"
  unsigned sources;
  bool (*of)(bool a, bool b, bool c);
};

/// Null if there is none of this name.
const BitOperation *bit_operation(std::string_view name);

struct Combined {
  std::vector<ub1> bytes; ///< of all units that `length` bits touch: the bits after the length are not masked
  ub4 count = 0;          ///< set bits below the length
};

/// Applies `operation` to the bits of `sources`, in units of `unit_bytes`.
Combined combine(const BitOperation &operation, const std::vector<ub1> *sources, ub8 length, unsigned unit_bytes);

void fill_range(std::vector<ub1> &bits, ub8 first, ub8 last, bool value);

/// Numbers of the set bits (or of the clear ones) from `start` up to, and without, `limit`, in ascending order.
std::vector<ub8> walk(const std::vector<ub1> &bits, ub8 limit, ub8 start, bool clear_bits);

} // namespace mipo::reference

#endif
