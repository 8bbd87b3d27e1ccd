// From a query to its plan.
#ifndef MIPO_ENGINE_BIND_PLAN_QUERY_H
#define MIPO_ENGINE_BIND_PLAN_QUERY_H

#include <functional>

#include "engine/plan/plan.h"
#include "engine/sql/ast.h"

namespace mipo::engine {

/// The table that a name in FROM stands for. Throws QueryError if there is none; tables must outlive the plan.
using TableFinder = std::function<const host::Table &(const TableName &)>;

/// Binds a query, and those within it, to the tables of FROM and of the joins. Reads no rows. Throws QueryError for
/// names that the tables do not have, for constants that a column cannot be compared with, and for values that are
/// neither grouped by nor aggregated.
Plan plan_query(const Query &query, const TableFinder &find_table);

} // namespace mipo::engine

#endif
