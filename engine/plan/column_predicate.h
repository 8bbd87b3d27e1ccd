// A condition on one column as sets of codes.
#ifndef MIPO_ENGINE_PLAN_COLUMN_PREDICATE_H
#define MIPO_ENGINE_PLAN_COLUMN_PREDICATE_H

#include <optional>
#include <string>

#include "engine/plan/bound_column.h"
#include "engine/plan/code_set.h"
#include "engine/sql/ast.h"

namespace mipo::engine {

/// For which codes a condition on one column is true and for which it is false; for the others it is unknown, which a
/// negation leaves unknown. Rows without value are apart from the codes of values.
struct ColumnPredicate {
  const BoundColumn *column = nullptr;
  CodeSet holds, fails;
  bool null_holds = false, null_fails = false;
  bool from_other_rows = false; // which codes these are was found in rows of another table or query
  std::string text;
  std::optional<Junction::Kind> joined; // the text is several conditions, joined so
};

/// Holds for these codes of values, fails for all others, and leaves NULL rows unknown.
ColumnPredicate column_predicate(const BoundColumn &column, CodeSet holds, std::string text);

/// A test on a joined column, whose join has read its table, as one on its key; any other as it is.
ColumnPredicate rewrite_to_key(ColumnPredicate test);

ColumnPredicate negation(ColumnPredicate test);
/// Both tests must be on one column. `kind` says whether both have to hold, or one of them.
ColumnPredicate combination(Junction::Kind kind, const ColumnPredicate &a, const ColumnPredicate &b);

/// A text that was joined so (if at all), as it stands in a text joined by `kind`: in parentheses if need be.
std::string text_within(Junction::Kind kind, const std::string &text, std::optional<Junction::Kind> joined);

/// A constant as SQL writes it.
std::string sql_text(const Constant &constant);

} // namespace mipo::engine

#endif
