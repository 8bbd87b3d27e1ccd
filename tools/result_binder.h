// What a query gives for each row or group: its output, groups, order and conditions on groups, with columns found.
#ifndef MIPO_TOOLS_RESULT_BINDER_H
#define MIPO_TOOLS_RESULT_BINDER_H

#include "column_binder.h"
#include "plan.h"

namespace mipo::tools {

/// Fills in all of `plan` but table and WHERE. Throws QueryError.
void bind_result(const Query &query, const ColumnBinder &columns, const InnerQuery &inner, Plan &plan);

} // namespace mipo::tools

#endif
