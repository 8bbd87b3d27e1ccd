// The rows of a column that a predicate kernel selects.
#ifndef MIPO_ENGINE_RUN_ROW_SELECTION_H
#define MIPO_ENGINE_RUN_ROW_SELECTION_H

#include <vector>

#include "engine/plan/kernel_calls.h"
#include "engine/run/kernel_profile.h"
#include "engine/run/run_context.h"
#include "mipo/host/column.h"

namespace mipo::engine {

/// Calls the predicate kernel, or that for sets of codes, for all rows or those of `within`. A column with runs takes
/// no rows to select from, and `call.complemented` is not looked at: both are the caller's. Adds the call.
host::Result select_rows(RunContext &context, const host::Column &column, const KernelCall &call,
                         const host::Result *within, std::vector<KernelProfile> &calls);

} // namespace mipo::engine

#endif
