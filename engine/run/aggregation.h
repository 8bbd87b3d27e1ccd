// Groups and what is aggregated over them, by the kernels for group keys, codes, arithmetic and group sums.
//
// Rows go through in chunks that stay in the caches: a chunk's group numbers, then for each argument its values, added
// up by group. Sum and count of an argument come from one pass, in the two ends of a word:
//
//   ┌─ count ─┬─ sum of (value - least value) ─┐     a NULL row adds 0
//
#ifndef MIPO_ENGINE_RUN_AGGREGATION_H
#define MIPO_ENGINE_RUN_AGGREGATION_H

#include <map>
#include <memory>
#include <vector>

#include "engine/plan/group_key_layout.h"
#include "engine/plan/plan.h"
#include "engine/run/kernel_profile.h"
#include "mipo/host/column.h"
#include "mipo/host/library.h"

namespace mipo::engine {

/// The least and greatest code of an argument that is a column, by its place among the plan's aggregates.
using KnownExtremes = std::map<std::size_t, Value>;

/// The groups that have rows, with their keys and aggregates.
class Groups {
public:
  virtual ~Groups() = default;
  virtual std::size_t count() const = 0;
  /// Of group `group` below count(), in the order of their numbers.
  virtual Value key(std::size_t group, std::size_t place) const = 0;
  virtual Value aggregate(std::size_t group, std::size_t index) const = 0;
};

/// The plan's groups over the rows of `within` (null: all rows). The columns must be plain or decompressed. Rows are
/// split among `threads`; the result does not depend on how many there are. The plan, and what it refers to, must
/// outlive the groups. Throws QueryError for more groups, or greater numbers, than there can be.
std::unique_ptr<Groups> aggregate(const host::Library &library, const Plan &plan, const host::Result *within,
                                  unsigned threads, KnownExtremes known, std::vector<KernelProfile> &steps);

} // namespace mipo::engine

#endif
