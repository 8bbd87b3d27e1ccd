// From a query to its plan.
#ifndef MIPO_ENGINE_BIND_PLAN_QUERY_H
#define MIPO_ENGINE_BIND_PLAN_QUERY_H

#include <functional>
#include <vector>

#include "engine/bind/bound_conditions.h"
#include "engine/plan/plan.h"
#include "engine/sql/ast.h"

namespace mipo::engine {

/// Binds a query to the tables of its FROM and its joins, in the order in which they stand there. Throws QueryError for
/// names that the tables do not have, for constants that a column cannot be compared with, for joins to several rows,
/// and for values that are neither grouped by nor aggregated. The tables, and what `inner` refers to, must outlive the
/// plan.
Plan plan_query(const Query &query, const std::vector<const host::Table *> &tables, const InnerQuery &inner);

} // namespace mipo::engine

#endif
