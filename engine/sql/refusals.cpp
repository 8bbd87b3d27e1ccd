#include "engine/sql/refusals.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

#include <fmt/format.h>

#include "engine/sql/characters.h"
#include "engine/sql/query_error.h"
#include "engine/sql/tree.h"

namespace mipo::engine {
namespace {

[[noreturn]] void not_supported(std::string_view what, std::size_t position) {
  throw QueryError(fmt::format("{} not supported yet", what), position);
}

struct Clause {
  std::string_view field;   // of a SELECT or a call in the syntax tree
  std::string_view name;    // what the message calls it
  std::string_view keyword; // the word that it starts with in the text
};

constexpr std::array clauses = {
    Clause{"agg_distinct", "DISTINCT in an aggregate is", "distinct"},
    Clause{"agg_filter", "FILTER is", "filter"},
    Clause{"agg_order", "ORDER BY in an aggregate is", "order"},
    Clause{"agg_within_group", "WITHIN GROUP is", "within"},
    Clause{"func_variadic", "VARIADIC is", "variadic"},
    Clause{"groupDistinct", "GROUP BY DISTINCT is", "group"},
    Clause{"intoClause", "SELECT INTO is", "into"},
    Clause{"lockingClause", "FOR UPDATE and FOR SHARE are", "for"},
    Clause{"over", "OVER is", "over"},
    Clause{"valuesLists", "VALUES is", "values"},
    Clause{"windowClause", "WINDOW is", "window"},
    Clause{"withClause", "WITH is", "with"},
};

struct Named {
  std::string_view key;
  std::string_view name;
};

constexpr std::array expression_names = {
    Named{"A_ArrayExpr", "arrays are"},
    Named{"A_Const", "a constant in this place is"},
    Named{"A_Indirection", "subscripts are"},
    Named{"BooleanTest", "IS TRUE, IS FALSE and IS UNKNOWN are"},
    Named{"BoolExpr", "a condition in the place of a value is"},
    Named{"CaseExpr", "CASE is"},
    Named{"CoalesceExpr", "COALESCE is"},
    Named{"CollateClause", "COLLATE is"},
    Named{"ColumnRef", "a column in this place is"},
    Named{"GroupingFunc", "GROUPING is"},
    Named{"MinMaxExpr", "GREATEST and LEAST are"},
    Named{"NullTest", "a condition in the place of a value is"},
    Named{"ParamRef", "parameters are"},
    Named{"RowExpr", "row values are"},
    Named{"SetToDefault", "DEFAULT is"},
    Named{"SQLValueFunction", "CURRENT_DATE and its like are"},
    Named{"SubLink", "sub-selects are"},
    Named{"TypeCast", "casts and typed constants are"},
};

constexpr std::array operator_names = {
    Named{"AEXPR_BETWEEN_SYM", "BETWEEN SYMMETRIC is"},
    Named{"AEXPR_DISTINCT", "IS DISTINCT FROM is"},
    Named{"AEXPR_ILIKE", "ILIKE is"},
    Named{"AEXPR_NOT_BETWEEN_SYM", "BETWEEN SYMMETRIC is"},
    Named{"AEXPR_NOT_DISTINCT", "IS NOT DISTINCT FROM is"},
    Named{"AEXPR_NULLIF", "NULLIF is"},
    Named{"AEXPR_OP_ALL", "ALL is"},
    Named{"AEXPR_OP_ANY", "ANY is"},
    Named{"AEXPR_SIMILAR", "SIMILAR TO is"},
};

constexpr std::array grouping_names = {
    Named{"GROUPING_SET_CUBE", "CUBE is"},
    Named{"GROUPING_SET_EMPTY", "GROUP BY () is"},
    Named{"GROUPING_SET_ROLLUP", "ROLLUP is"},
    Named{"GROUPING_SET_SETS", "GROUPING SETS are"},
};

// Answered, but not everywhere.
constexpr std::array<std::string_view, 7> known_functions = {"avg", "count", "lower", "max", "min", "sum", "upper"};
constexpr std::array<std::string_view, 9> known_operators = {"+", "-", "*", "=", "<>", "<", "<=", ">", ">="};

template <std::size_t Count>
std::optional<std::string_view> name_of(const std::array<Named, Count> &names, std::string_view key) {
  const auto found = std::find_if(names.begin(), names.end(), [&](const Named &named) { return named.key == key; });
  return found == names.end() ? std::nullopt : std::optional(found->name);
}

template <std::size_t Count>
std::string_view where_known(const std::array<std::string_view, Count> &known, std::string_view name) {
  return std::find(known.begin(), known.end(), name) != known.end() ? "in this place " : "";
}

} // namespace

void SqlRefusals::unknown_fields(SyntaxNode fields, std::initializer_list<std::string_view> known,
                                 std::string_view what) {
  for (const auto &[field, value] : fields.members()) {
    if (std::find(known.begin(), known.end(), field) == known.end()) {
      throw QueryError(fmt::format("{} is not supported yet (with \"{}\")", what, field), fields.position());
    }
  }
}

void SqlRefusals::unknown_clauses(SyntaxNode fields, std::initializer_list<std::string_view> known,
                                  std::string_view what, std::size_t start) const {
  std::optional<std::size_t> first;
  std::string name;
  for (const auto &[field, value] : fields.members()) {
    if (std::find(known.begin(), known.end(), field) != known.end()) continue;
    const auto clause = std::find_if(clauses.begin(), clauses.end(),
                                     [&, &key = field](const Clause &candidate) { return candidate.field == key; });
    const bool named = clause != clauses.end();
    const std::size_t position =
        (named ? tokens_.find_keyword(clause->keyword, start) : std::nullopt).value_or(value.position());
    if (first && *first <= position) continue;
    first = position;
    name = named ? std::string(clause->name) : fmt::format("this form of {} (\"{}\") is", what, field);
  }
  if (first) not_supported(name, *first);
}

void SqlRefusals::statement(const std::string &type) const {
  const std::size_t position = tokens_.size() > 0 ? tokens_[0].start : 0;
  if (type == "ExplainStmt") {
    throw QueryError("EXPLAIN is the option --explain here: it runs the query and shows every step", position);
  }
  std::string word = tokens_.size() > 0 ? std::string(tokens_.text(0)) : type;
  std::transform(word.begin(), word.end(), word.begin(),
                 [](char letter) { return static_cast<char>(std::toupper(static_cast<unsigned char>(letter))); });
  throw QueryError(fmt::format("{} is not supported: a query is a single SELECT", word), position);
}

void SqlRefusals::from_entry(SyntaxNode node) const {
  const std::string &type = node.type();
  const SyntaxNode fields = node.fields();
  if (type == "JoinExpr") {
    const std::size_t position = fields.at("larg").position();
    not_supported("a join in parentheses is", tokens_.find_keyword("join", position).value_or(position));
  }
  if (type == "RangeSubselect") {
    // The sub-select has no position of its own; its keyword is the second SELECT of the text.
    for (std::size_t i = 1; i < tokens_.size(); ++i) {
      if (tokens_.is_keyword(i, "select") || tokens_.is_keyword(i, "values")) {
        not_supported("a sub-select in FROM is", tokens_[i].start);
      }
    }
  }
  if (type == "RangeFunction") not_supported("a function in FROM is", fields.position());
  if (type == "RangeTableSample") {
    not_supported("TABLESAMPLE is", tokens_.find_keyword("tablesample").value_or(fields.position()));
  }
  not_supported(fmt::format("this entry of FROM (\"{}\") is", type), fields.position());
}

void SqlRefusals::unknown_join(SyntaxNode fields) const {
  const std::size_t joined_at = fields.at("rarg").position();
  // Its keywords stand in front of the joined table: the last ones there are its own.
  const auto refuse = [&](std::string_view what, std::string_view keyword) {
    std::size_t position = joined_at;
    for (auto found = tokens_.find_keyword(keyword); found && *found < joined_at;
         found = tokens_.find_keyword(keyword, *found + 1))
      position = *found;
    not_supported(what, position);
  };
  if (fields.contains("isNatural")) refuse("NATURAL JOIN is", "natural");
  if (fields.at("jointype") == "JOIN_RIGHT") refuse("RIGHT JOIN is", "right");
  if (fields.at("jointype") == "JOIN_FULL") refuse("FULL JOIN is", "full");
  if (!fields.at("rarg").is("RangeVar")) from_entry(fields.at("rarg"));
  if (fields.contains("usingClause"))
    throw QueryError("USING is not supported yet: write ON and both columns",
                     tokens_.find_keyword("using", joined_at).value_or(joined_at));
  if (!fields.contains("quals")) refuse("a join without ON is", "join");
  unknown_fields(fields, {"jointype", "larg", "rarg", "quals", "rtindex"}, "this form of JOIN");
}

void SqlRefusals::expression(SyntaxNode node) const {
  const std::string &type = node.type();
  const SyntaxNode fields = node.fields();
  const std::size_t position = fields.position();
  if (type == "FuncCall") {
    const std::string &name = fields.at("funcname").back().string();
    not_supported(fmt::format("the function {} {}is", name, where_known(known_functions, name)), position);
  }
  if (type == "A_Expr") {
    if (const auto name = name_of(operator_names, fields.at("kind").text())) {
      not_supported(*name, position);
    }
    const std::string &symbol = fields.at("name").back().string();
    if (symbol == "==") throw QueryError("the operator == is not SQL: write =", position);
    not_supported(fmt::format("the operator {} {}is", symbol, where_known(known_operators, symbol)), position);
  }
  if (type == "GroupingSet") {
    if (const auto name = name_of(grouping_names, fields.at("kind").text())) {
      not_supported(*name, position);
    }
  }
  not_supported(name_of(expression_names, type).value_or(fmt::format("this expression (\"{}\") is", type)), position);
}

// A file name has characters that end a name in SQL, and some that end all scanning: the text after FROM is looked at
// as it stands. Says what to write if `position` lies in a run of characters there that looks like a file.
std::string SqlRefusals::unquoted_path_hint(std::size_t position) const {
  constexpr std::string_view blanks = " \t\r\n", from = "from";
  for (std::size_t i = 0; i + from.size() < query_.size(); ++i) {
    if (!equal_without_case(query_.substr(i, from.size()), from)) continue;
    const std::size_t start = query_.find_first_not_of(blanks, i + from.size());
    if (start == std::string_view::npos || start == i + from.size()) continue;
    const bool in_quotes = query_[start] == '\'';
    const std::size_t end = std::min(
        in_quotes ? query_.find('\'', start + 1) : query_.find_first_of(" \t\r\n,;()\"'", start), query_.size());
    if (position < start || position > end) continue;
    const std::string_view path =
        in_quotes ? query_.substr(start + 1, end - start - 1) : query_.substr(start, end - start);
    if (!in_quotes && path.find_first_of("/.-~\\") == std::string_view::npos) continue;
    return fmt::format("a file in FROM goes between double quotes: FROM \"{}\" (or bind a name to it with --table)",
                       path);
  }
  return {};
}

void SqlRefusals::unquoted_path(std::size_t position) const {
  const std::string hint = unquoted_path_hint(position);
  throw QueryError(hint.empty() ? "a table name with a schema is not supported" : hint, position);
}

void SqlRefusals::syntax_error(std::string_view message, int cursor) const {
  std::size_t position = 0;
  for (int characters = 0; position < query_.size(); ++position) {
    if (starts_character(query_[position]) && ++characters == cursor) break;
  }
  const std::string hint = unquoted_path_hint(position);
  throw QueryError(hint.empty() ? std::string(message) : fmt::format("{}; {}", message, hint), position);
}

} // namespace mipo::engine
