// Conversion between native numbers and their sortable bytes, and sums over stored numbers, one row at a time.
#ifndef MIPO_TESTS_REFERENCE_CONVERSION_MODEL_H
#define MIPO_TESTS_REFERENCE_CONVERSION_MODEL_H

#include <optional>
#include <vector>

#include "mipo/integers.h"

namespace mipo::reference {

/// What the records of a call say, without where it lies.
struct ConversionCall {
  ub1 type = 0;        ///< `num_type` of the source
  ub4 bits = 0;        ///< of an integer; no other type looks at it
  bool native = false; ///< the source is native
  bool sum = false;    ///< asked for
  ub4 rows = 0;
};

/// Bytes of an element, 0 if there are none that a call would read.
unsigned element_bytes(const ConversionCall &call);

struct ConversionOutcome {
  std::optional<ub4> code; ///< empty: an assertion ends the process
  std::vector<ub1> result; ///< bytes written to the destination; empty: it is not touched
};

/// `source` holds all rows, `total` is what lies at the destination (8 bytes) before a sum.
ConversionOutcome convert(const ConversionCall &call, const std::vector<ub1> &source, const std::vector<ub1> &total);

} // namespace mipo::reference

#endif
