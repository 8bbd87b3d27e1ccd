// Runs a plan with the library's kernels and remembers every call.
#ifndef MIPO_TOOLS_EXECUTOR_H
#define MIPO_TOOLS_EXECUTOR_H

#include <memory>
#include <vector>

#include "aggregation.h"
#include "mipo/host/library.h"
#include "plan.h"
#include "result.h"
#include "step.h"
#include "translation.h"

namespace mipo::tools {

/// What a query gives. It refers to the plan.
struct Answer {
  ub8 row_count = 0;              // rows that WHERE lets through
  std::unique_ptr<Groups> groups; // of a plan with groups
  std::vector<ub4> rows;          // the result's: numbers of rows or groups, in their order
  HandedOutColumns joined;        // of a plan without groups
  std::vector<Step> steps;

  ValueSource values() const { return {groups.get(), joined}; }
  double kernel_seconds() const;
};

/// Runs the plan on so many threads; the answer does not depend on how many. Throws host::Error for kernels that this
/// build of the library does not have, and for what they report.
Answer execute(const host::Library &library, const Plan &plan, unsigned threads = 1);

} // namespace mipo::tools

#endif
