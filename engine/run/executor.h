// Runs a plan with the library's kernels and remembers every call.
#ifndef MIPO_ENGINE_RUN_EXECUTOR_H
#define MIPO_ENGINE_RUN_EXECUTOR_H

#include <memory>
#include <vector>

#include "engine/plan/plan.h"
#include "engine/run/aggregation.h"
#include "engine/run/kernel_profile.h"
#include "engine/run/result.h"
#include "engine/run/translation.h"
#include "mipo/host/library.h"

namespace mipo::engine {

/// What a query gives. It refers to the plan.
struct Answer {
  ub8 row_count = 0;              // rows that WHERE lets through
  std::unique_ptr<Groups> groups; // of a plan with groups
  std::vector<ub4> rows;          // the result's: numbers of rows or groups, in their order
  MaterializedColumns joined;     // of a plan without groups
  std::vector<KernelProfile> steps;

  ValueSource values() const { return {groups.get(), joined}; }
  double kernel_seconds() const;
};

/// Runs the plan on so many threads; the answer does not depend on how many. Throws host::Error for kernels that this
/// build of the library does not have, and for what they report.
Answer execute(const host::Library &library, const Plan &plan, unsigned threads = 1);

} // namespace mipo::engine

#endif
