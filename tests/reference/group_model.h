// Group keys and group sums, worked out one row at a time.
#ifndef MIPO_TESTS_REFERENCE_GROUP_MODEL_H
#define MIPO_TESTS_REFERENCE_GROUP_MODEL_H

#include <optional>
#include <vector>

#include "mipo/integers.h"

namespace mipo::reference {

struct KeyColumn {
  unsigned bits;  ///< of a code
  ub4 code_count; ///< of the dictionary
  bool has_codes = true;
  std::vector<ub4> codes = {}; ///< one a row
};

struct KeyRange {
  ub4 code = 0; ///< 0, or why there are no keys
  ub8 groups = 1;
};

KeyRange key_range(const std::vector<KeyColumn> &columns, bool multiply);

ub4 group_key(const std::vector<KeyColumn> &columns, bool multiply, ub4 row);

/// The number that 4 or 8 stored bytes stand for: `native`, or the form in which bytes order like the numbers.
template <class Float>
Float decoded(const ub1 *stored, bool native);

/// A signed integer of `bytes` bytes.
int64_t decoded_integer(const ub1 *stored, unsigned bytes, bool big_endian);

/// `start` and the numbers, added one after the other in the precision of their type.
template <class Float>
Float sum_from(Float start, const std::vector<Float> &numbers);

} // namespace mipo::reference

#endif
