// Least and greatest values of columns over all rows of a batch, by their codes.
#ifndef MIPO_ENGINE_RUN_EXTREMES_H
#define MIPO_ENGINE_RUN_EXTREMES_H

#include <map>
#include <vector>

#include "engine/plan/plan.h"
#include "engine/run/operator.h"
#include "engine/run/run_context.h"

namespace mipo::engine {

/// The least and greatest code of an argument that is a column, by its place among the plan's aggregates.
using KnownExtremes = std::map<std::size_t, Value>;

/// Those of the plan's aggregates that ask for the least or greatest value of a column of the first table. Adds the
/// calls.
KnownExtremes extremes_of_columns(RunContext &context, const Plan &plan, const TableRows &rows,
                                  std::vector<KernelProfile> &calls);

} // namespace mipo::engine

#endif
