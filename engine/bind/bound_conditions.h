// Conditions on one column, as a query writes them, to sets of codes.
#ifndef MIPO_ENGINE_BIND_BOUND_CONDITIONS_H
#define MIPO_ENGINE_BIND_BOUND_CONDITIONS_H

#include <functional>

#include "engine/plan/condition.h"

namespace mipo::engine {

/// A column, or its texts in letters of one case. Only text columns have those.
struct TestedColumn {
  const BoundColumn *column;
  LetterCase letter_case = LetterCase::as_is;
};

ColumnPredicate test_comparison(const TestedColumn &tested, ComparisonOperator op, const Constant &constant);
ColumnPredicate test_between(const TestedColumn &tested, const Between &between);
ColumnPredicate test_in_list(const TestedColumn &tested, const InList &list);
/// Throws QueryError if the column or the pattern is not text.
ColumnPredicate test_like(const TestedColumn &tested, const Like &like);
ColumnPredicate test_is_null(const BoundColumn &column, bool negated);

/// Binds the query within a condition, for a test of a column.
using InnerQuery = std::function<InQueryTest(const TestedColumn &, const InQuery &)>;

} // namespace mipo::engine

#endif
