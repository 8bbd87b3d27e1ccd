// What a query gives for each row or group: its output, groups, order and conditions on groups, with columns found.
#ifndef MIPO_ENGINE_BIND_RESULT_BINDER_H
#define MIPO_ENGINE_BIND_RESULT_BINDER_H

#include "engine/bind/bound_conditions.h"
#include "engine/bind/column_binder.h"
#include "engine/plan/plan.h"

namespace mipo::engine {

/// Fills in all of `plan` but table and WHERE. Throws QueryError.
void bind_result(const Query &query, const ColumnBinder &columns, const InnerQuery &inner, Plan &plan);

} // namespace mipo::engine

#endif
