// Conditions on one column, as a query writes them, to sets of codes.
#ifndef MIPO_ENGINE_BIND_BOUND_CONDITIONS_H
#define MIPO_ENGINE_BIND_BOUND_CONDITIONS_H

#include <functional>
#include <string>
#include <vector>

#include "engine/plan/column_predicate.h"

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
/// Of the codes that stand for values; NULL rows fail.
ColumnPredicate test_of_codes(const BoundColumn &column, const std::function<bool(ub8)> &holds, std::string text);

/// What a query within another one gives: the codes that its only column has, ascending, in some column's domain.
struct QueryValues {
  BoundColumn column;
  std::vector<ub8> codes;
  bool has_null = false;
};
/// Answers the query within a condition.
using InnerQuery = std::function<QueryValues(const InQuery &)>;

/// Throws QueryError if values of the two columns cannot be equal.
ColumnPredicate test_in_query(const TestedColumn &tested, const InQuery &in, const QueryValues &values);

} // namespace mipo::engine

#endif
