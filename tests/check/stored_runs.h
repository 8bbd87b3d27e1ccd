// The extents of the runs of a run-length column as its records hold them.
#ifndef MIPO_TESTS_CHECK_STORED_RUNS_H
#define MIPO_TESTS_CHECK_STORED_RUNS_H

#include "check/guarded_sources.h"
#include "mipo/vec.h"
#include "reference/run_model.h"

namespace mipo::check {

enum class RunForm { lengths_of_8_bits, lengths_of_16_bits, starts };

/// A run length that `form` can hold.
inline ub4 longest_run(RunForm form) {
  return form == RunForm::lengths_of_8_bits ? 0xff : form == RunForm::lengths_of_16_bits ? 0xffff : 0xffffffff;
}

/// Big-endian, without a byte of slack.
inline ub1 *store_runs(const std::vector<ub4> &lengths, RunForm form, GuardedSources &sources) {
  const unsigned bytes = form == RunForm::lengths_of_8_bits ? 1 : form == RunForm::lengths_of_16_bits ? 2 : 4;
  std::vector<ub1> stored;
  for (const ub4 element : form == RunForm::starts ? reference::run_starts(lengths) : lengths)
    for (unsigned byte = bytes; byte != 0; --byte) stored.push_back(static_cast<ub1>(element >> 8 * (byte - 1)));
  return sources.keep(stored);
}

/// A column of such runs: what its form does not have leads nowhere.
inline void place_runs(mipo_enc_ctx &enc, const std::vector<ub4> &lengths, RunForm form, GuardedSources &sources,
                       GuardedBuffer &nowhere) {
  ub1 *runs = store_runs(lengths, form, sources);
  const bool by_length = form != RunForm::starts;
  enc.flags |= MIPO_RLE;
  enc.run_count = static_cast<ub4>(lengths.size());
  enc.run_bv = nowhere.words();
  enc.run_lens = by_length ? runs : nullptr;
  if (by_length) enc.run_len_bits = form == RunForm::lengths_of_8_bits ? 8 : 16;
  enc.run_starts = reinterpret_cast<const ub4 *>(by_length ? nowhere.data() : runs);
}

} // namespace mipo::check

#endif
