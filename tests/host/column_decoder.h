// Decodes stored columns from their records alone, one bit or byte at a time.
#ifndef MIPO_TESTS_HOST_COLUMN_DECODER_H
#define MIPO_TESTS_HOST_COLUMN_DECODER_H

#include <cstdint>
#include <vector>

#include "mipo/host/encoding.h"
#include "mipo/vec.h"

namespace mipo::host {

/// What the column holds for a row.
struct DecodedRow {
  ub8 stored = 0;     ///< the code, or the bytes that are stored as a number
  ub8 count = 0;      ///< what is stored beside them
  bool valid = true;  ///< not masked by the vector's filter
  std::int64_t units; ///< of a column of numbers: the number
};

/// All rows. `base` is the value stream, decompressed. Where the records contradict the form, a test fails.
std::vector<DecodedRow> decode_column(const mipo_vec &vec, const Encoding &encoding, const void *base);

/// A constant, as `stored` and `count`.
DecodedRow decode_constant(const mipo_vec &vec, const Encoding &encoding, int stored_bits);

} // namespace mipo::host

#endif
