#include "engine/plan/column_predicate.h"

#include <fmt/format.h>

#include "mipo/host/translation_table.h"

namespace mipo::engine {

std::string sql_text(const Constant &constant) {
  switch (constant.kind) {
  case Constant::Kind::null:
    return "NULL";
  case Constant::Kind::number:
    return constant.text;
  case Constant::Kind::string:
    break;
  }
  std::string text = "'";
  for (const char byte : constant.text) text.append(byte == '\'' ? 2 : 1, byte);
  return text + "'";
}

ColumnPredicate column_predicate(const BoundColumn &column, CodeSet holds, std::string text) {
  ColumnPredicate test;
  test.column = &column;
  test.fails = holds.complement(column.domain().first_code(), column.domain().code_count());
  test.holds = std::move(holds);
  test.text = std::move(text);
  return test;
}

ColumnPredicate rewrite_to_key(ColumnPredicate test) {
  const BoundColumn &column = *test.column;
  if (!column.is_joined()) return test;
  const BoundColumn &key = *column.key;
  const auto on_key = [&](const CodeSet &values, bool nulls) {
    std::vector<bool> of_rank;
    for (const ub8 value : column.ranked) of_rank.push_back(values.contains(value));
    return CodeSet::where(key.domain().first_code(), key.domain().code_count(), [&](ub8 code) {
      const ub4 rank = column.rank[code];
      return rank == host::no_entry ? nulls : of_rank[rank];
    });
  };
  test.column = &key;
  test.holds = on_key(test.holds, test.null_holds);
  test.fails = on_key(test.fails, test.null_fails);
  test.from_other_rows = true;
  return test;
}

ColumnPredicate negation(ColumnPredicate test) {
  std::swap(test.holds, test.fails);
  std::swap(test.null_holds, test.null_fails);
  test.text = fmt::format("NOT ({})", test.text);
  test.joined.reset();
  return test;
}

std::string text_within(Junction::Kind kind, const std::string &text, std::optional<Junction::Kind> joined) {
  return joined && *joined != kind ? fmt::format("({})", text) : text;
}

ColumnPredicate combination(Junction::Kind kind, const ColumnPredicate &a, const ColumnPredicate &b) {
  const bool both = kind == Junction::Kind::conjunction;
  ColumnPredicate result;
  result.column = a.column;
  result.holds = both ? set_intersection(a.holds, b.holds) : set_union(a.holds, b.holds);
  result.fails = both ? set_union(a.fails, b.fails) : set_intersection(a.fails, b.fails);
  result.null_holds = both ? a.null_holds && b.null_holds : a.null_holds || b.null_holds;
  result.from_other_rows = a.from_other_rows || b.from_other_rows;
  result.null_fails = both ? a.null_fails || b.null_fails : a.null_fails && b.null_fails;
  result.text = fmt::format("{} {} {}", text_within(kind, a.text, a.joined), both ? "AND" : "OR",
                            text_within(kind, b.text, b.joined));
  result.joined = kind;
  return result;
}

} // namespace mipo::engine
