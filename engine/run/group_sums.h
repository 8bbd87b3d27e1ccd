// Adding up by group what the rows of a chunk have.
//
// Sum and count of an argument come from one pass, in the two ends of a word:
//
//   ┌─ count ─┬─ sum of (value - least value) ─┐     a NULL row adds 0
//
#ifndef MIPO_ENGINE_RUN_GROUP_SUMS_H
#define MIPO_ENGINE_RUN_GROUP_SUMS_H

#include <memory>
#include <string>
#include <vector>

#include "engine/run/chunk_values.h"
#include "engine/run/input_totals.h"
#include "engine/run/kernel_profile.h"

namespace mipo::engine {

/// Integers added up by group: calls of mipo_gby_sum_dydi.
class GroupSum {
public:
  GroupSum(const host::Library &library, const std::string &condition);

  /// `integers` are `count` signed ones of so many bits, each for the group at its place in `groups`; null: all for
  /// group 0.
  void add(std::vector<sb8> &totals, const void *integers, ub4 bits, ub4 count, const ub4 *groups);
  const KernelProfile &profile() const { return profile_; }

private:
  decltype(mipo_specialized_ctx::mipo_gby_sum_dydi) kernel_;
  KernelProfile profile_;
};

/// Room for what the rows of a chunk have in one argument.
struct InputBuffers {
  explicit InputBuffers(ub4 chunk) : words(chunk), ordered(chunk), present(chunk) {}
  std::vector<sb8> words;
  std::vector<ub8> ordered;
  std::vector<ub1> present;
};

/// The totals of one argument over the chunks of one thread.
class InputSums {
public:
  /// Library, input, codes and buffers must outlive it.
  InputSums(const host::Library &library, const AggregateInput &input, ub8 groups, ub4 chunk, ChunkCodes &codes,
            InputBuffers &buffers);

  /// `groups` as in GroupSum::add().
  void take(ChunkRows &rows, const ub4 *groups);
  InputTotals &totals() { return totals_; }
  const InputTotals &totals() const { return totals_; }
  /// Adds the calls of kernels, always as many.
  void profile(std::vector<KernelProfile> &calls) const;

private:
  void add(const ChunkRows &rows, const ub4 *groups);
  void add_wide(ub4 count, const ub4 *groups);
  void take_extremes(ub4 count, const ub4 *groups);

  InputBuffers &buffers_;
  std::unique_ptr<ChunkValues> values_;
  InputTotals totals_;
  GroupSum sum_, count_;
  KernelProfile wide_, extremes_; // of loops over rows
};

} // namespace mipo::engine

#endif
