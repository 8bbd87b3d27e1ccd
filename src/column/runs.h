// Which rows the runs of a run-length column have.
#ifndef MIPO_COLUMN_RUNS_H
#define MIPO_COLUMN_RUNS_H

#include "mipo/vec.h"
#include "simd/simd.h"

namespace mipo::column {

// Runs told by their lengths: elements of 8 bits, or big-endian ones of 16.
template <class Length>
class RunLengths {
public:
  explicit RunLengths(const mipo_enc_ctx *enc_ctx) : lengths_(static_cast<const ub1 *>(enc_ctx->run_lens)) {}

  ub4 length(ub4 run) const { return simd::read_big_endian<Length>(lengths_ + ub8{run} * sizeof(Length)); }

  // Rows of the runs `first` up to `end`, the latter not included.
  ub4 rows(ub4 first, ub4 end) const {
    ub4 sum = 0;
    for (ub4 run = first; run < end; ++run) sum += length(run);
    return sum;
  }

private:
  const ub1 *lengths_;
};

// Runs told by their first rows: big-endian, and one more element after the last run.
class RunStarts {
public:
  explicit RunStarts(const mipo_enc_ctx *enc_ctx) : starts_(enc_ctx->run_starts) {}

  ub4 start(ub4 run) const { return simd::read_big_endian<ub4>(starts_ + run); }
  ub4 length(ub4 run) const { return start(run + 1) - start(run); }
  ub4 rows(ub4 first, ub4 end) const { return start(end) - start(first); }

private:
  const ub4 *starts_;
};

// Calls walk(runs) with the form that a column's context has; lengths, if both are there.
[[gnu::always_inline]] inline auto with_runs(const mipo_enc_ctx *enc_ctx, auto walk) {
  if (enc_ctx->run_lens == nullptr) return walk(RunStarts(enc_ctx));
  return enc_ctx->run_len_bits == 8 ? walk(RunLengths<ub1>(enc_ctx)) : walk(RunLengths<ub2>(enc_ctx));
}

} // namespace mipo::column

#endif
