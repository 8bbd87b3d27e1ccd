// Bit vectors, one bit at a time: what every entry has to answer. Shares nothing with the library.
#ifndef MIPO_TESTS_REFERENCE_BIT_VECTOR_MODEL_H
#define MIPO_TESTS_REFERENCE_BIT_VECTOR_MODEL_H

#include <functional>
#include <vector>

#include "mipo/integers.h"

namespace mipo::reference {

using Bytes = std::vector<ub1>;

bool bit_of(const ub1 *bytes, ub8 i);

struct Combined {
  Bytes result; // all units that the length reaches into, the bits above the length included
  ub4 count;    // of the bits below the length
};

/// `operation` on each bit of the sources, which are given in units of `unit_bytes` bytes (1 or 8).
Combined combine(const std::vector<const ub1 *> &sources, ub8 length, ub8 unit_bytes,
                 const std::function<bool(const std::vector<bool> &)> &operation);

/// Bits `first` to `last`, both included, become `value`.
void fill_range(Bytes &bytes, ub8 first, ub8 last, bool value);

/// Numbers of the bits from `start` to `limit` - 1 that are set, or clear.
std::vector<ub8> walk(const ub1 *bytes, ub8 limit, ub8 start, bool clear_bits);

} // namespace mipo::reference

#endif
