// A condition on one column as sets of codes, and the kernel calls that select them.
#ifndef MIPO_TOOLS_COLUMN_TEST_H
#define MIPO_TOOLS_COLUMN_TEST_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "code_set.h"
#include "mipo/host/table.h"
#include "mipo/keys.h"
#include "query.h"
#include "row_column.h"

namespace mipo::tools {

/// One call of a predicate kernel, of the kernel for sets of codes, or of one that looks codes up in a table of
/// members.
struct KernelCall {
  mipo_operation operation;
  ub8 lo = 0; // the constant of a one-sided operation
  ub8 hi = 0;
  bool sees_null_code = false; // whether code 0 is looked at like any other
  bool complemented = false;   // the rows that the kernel leaves out are meant
  CodeSet set;                 // of MIPO_OP_SET and MIPO_OP_XLATE
  std::string text;            // the condition that the call stands for
};

/// For which codes a condition on one column is true and for which it is false; for the others it is unknown, which a
/// negation leaves unknown. Rows without value are apart from the codes of values.
struct ColumnTest {
  const RowColumn *column = nullptr;
  CodeSet holds, fails;
  bool null_holds = false, null_fails = false;
  bool from_other_rows = false; // which codes these are was found in rows of another table or query
  std::string text;
  std::optional<Junction::Kind> joined; // the text is several conditions, joined so
};

/// A column, or its texts in letters of one case. Only text columns have those.
struct TestedColumn {
  const RowColumn *column;
  LetterCase letter_case = LetterCase::as_is;
};

ColumnTest test_comparison(const TestedColumn &tested, ComparisonOperator op, const Constant &constant);
ColumnTest test_between(const TestedColumn &tested, const Between &between);
ColumnTest test_in_list(const TestedColumn &tested, const InList &list);
/// Throws QueryError if the column or the pattern is not text.
ColumnTest test_like(const TestedColumn &tested, const Like &like);
ColumnTest test_is_null(const RowColumn &column, bool negated);
/// Of the codes that stand for values; rows without value fail.
ColumnTest test_of_codes(const RowColumn &column, const std::function<bool(ub8)> &holds, std::string text);

/// What a query within another one gives: the codes that its only column has, ascending, in some column's domain.
struct QueryValues {
  RowColumn column;
  std::vector<ub8> codes;
  bool has_null = false;
};
/// Throws QueryError if values of the two columns cannot be equal.
ColumnTest test_in_query(const TestedColumn &tested, const InQuery &in, const QueryValues &values);

/// A test on a joined column as one on its key; any other as it is.
ColumnTest on_stored(ColumnTest test);

ColumnTest negation(ColumnTest test);
/// Both tests must be on one column. `kind` says whether both have to hold, or one of them.
ColumnTest combination(Junction::Kind kind, const ColumnTest &a, const ColumnTest &b);

/// A text that was joined so (if at all), as it stands in a text joined by `kind`: in parentheses if need be.
std::string text_within(Junction::Kind kind, const std::string &text, std::optional<Junction::Kind> joined);

/// The calls whose united rows are those for which the test, on a column of the first table, holds. There is always at
/// least one, even if it selects nothing, and every constant is a code of the column's domain, or 0.
std::vector<KernelCall> kernel_calls(const ColumnTest &test);

} // namespace mipo::tools

#endif
