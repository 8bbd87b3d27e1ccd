// From a plan to the operators that run it.
#ifndef MIPO_ENGINE_RUN_OPERATOR_TREE_H
#define MIPO_ENGINE_RUN_OPERATOR_TREE_H

#include <memory>

#include "engine/plan/plan.h"
#include "engine/run/output.h"
#include "engine/run/run_context.h"

namespace mipo::engine {

/// Nothing has run yet. Context and plan must outlive the tree, which fills in the plan's columns of joined tables.
std::unique_ptr<Output> operator_tree(RunContext &context, const Plan &plan);

} // namespace mipo::engine

#endif
