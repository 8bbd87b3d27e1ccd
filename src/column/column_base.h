// From a column's record to the first byte of its rows.
#ifndef MIPO_COLUMN_COLUMN_BASE_H
#define MIPO_COLUMN_COLUMN_BASE_H

#include "mipo/call.h"

namespace mipo::column {

// What a kernel calls itself towards the host when a compressed column has to be decompressed.
struct DecompressionLabels {
  const char *allocation; // "<kernel>: vec1_decomp"
  const char *failure;    // "<kernel>: mipo_brep_decode failed"
};

#define MIPO_DECOMPRESSION_LABELS(kernel) \
  { kernel ": vec1_decomp", kernel ": mipo_brep_decode failed" }

// The decompressed column, from `*src->decomp_slot`. The first kernel to come fills that cell with memory from the
// host's allocator and runs the decompressor; a failure is reported through `hostierr`, and the caller goes on with
// what the memory holds. Needs `ctx`.
const void *decompressed_base(const mipo_vec *src, const mipo_call_ctx *ctx, const DecompressionLabels &labels);

// A soft error: the host records it and may come back or not.
void report_to_host(const mipo_call_ctx *ctx, const char *message);

// First byte of the rows of `src`, decompressing if it must be.
inline const void *column_base(const mipo_vec *src, const mipo_call_ctx *ctx, const DecompressionLabels &labels) {
  if (MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(src), MIPO_BREP)) return decompressed_base(src, ctx, labels);
  return src->data;
}

} // namespace mipo::column

#endif
