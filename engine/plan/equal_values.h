// Which codes of two columns stand for equal values.
#ifndef MIPO_ENGINE_PLAN_EQUAL_VALUES_H
#define MIPO_ENGINE_PLAN_EQUAL_VALUES_H

#include <cstddef>
#include <vector>

#include "engine/plan/bound_column.h"

namespace mipo::engine {

/// Throws QueryError, at `position`, if the values of the two cannot be equal.
void check_comparable(const BoundColumn &a, const BoundColumn &b, std::size_t position);

/// Throws QueryError, at `position`, if the column has more than most_join_codes.
void check_code_count(const BoundColumn &column, std::size_t position);

/// As host::equal_values(). Throws QueryError, at `position`, if the values of the two cannot be equal, and for columns
/// of more than most_join_codes.
std::vector<ub4> equal_values(const BoundColumn &from, const BoundColumn &to, std::size_t position);

} // namespace mipo::engine

#endif
