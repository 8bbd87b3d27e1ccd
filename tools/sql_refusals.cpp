#include "sql_refusals.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

#include <fmt/format.h>

#include "characters.h"
#include "query_error.h"

namespace mipo::tools {
namespace {

using Json = nlohmann::json;

[[noreturn]] void not_supported(std::string_view what, std::size_t position) {
  throw QueryError(fmt::format("{} not supported yet", what), position);
}

struct Clause {
  std::string_view field;   // of a SELECT in the syntax tree
  std::string_view name;    // what the message calls it
  std::string_view keyword; // the word that it starts with in the text
};

constexpr std::array clauses = {
    Clause{"distinctClause", "DISTINCT is", "distinct"}, Clause{"groupClause", "GROUP BY is", "group"},
    Clause{"havingClause", "HAVING is", "having"},       Clause{"intoClause", "SELECT INTO is", "into"},
    Clause{"limitOffset", "OFFSET is", "offset"},        Clause{"lockingClause", "FOR UPDATE and FOR SHARE are", "for"},
    Clause{"sortClause", "ORDER BY is", "order"},        Clause{"valuesLists", "VALUES is", "values"},
    Clause{"windowClause", "WINDOW is", "window"},       Clause{"withClause", "WITH is", "with"},
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

template <std::size_t Count>
std::optional<std::string_view> name_of(const std::array<Named, Count> &names, std::string_view key) {
  const auto found = std::find_if(names.begin(), names.end(), [&](const Named &named) { return named.key == key; });
  return found == names.end() ? std::nullopt : std::optional(found->name);
}

// The last part of a possibly qualified name of a function or operator.
std::string last_name(const Json &fields, const char *field) {
  return fields.at(field).back().at("String").at("sval").get<std::string>();
}

std::optional<std::size_t> find_position(const Json &value) {
  if (value.is_object()) {
    if (const auto own = value.find("location"); own != value.end() && own->get<int>() >= 0) {
      return own->get<std::size_t>();
    }
  }
  std::optional<std::size_t> first;
  if (value.is_structured()) {
    for (const Json &part : value) {
      const auto position = find_position(part);
      if (position && (!first || *position < *first)) first = position;
    }
  }
  return first;
}

} // namespace

const std::string &node_type(const Json &node) {
  return node.begin().key();
}

const Json &node_fields(const Json &node) {
  return node.begin().value();
}

std::size_t node_position(const Json &fields) {
  return find_position(fields).value_or(0);
}

void SqlRefusals::unknown_fields(const Json &fields, std::initializer_list<std::string_view> known,
                                 std::string_view what) {
  for (const auto &[field, value] : fields.items()) {
    if (std::find(known.begin(), known.end(), field) == known.end()) {
      throw QueryError(fmt::format("{} is not supported yet (with \"{}\")", what, field), node_position(fields));
    }
  }
}

void SqlRefusals::unknown_clauses(const Json &select, std::initializer_list<std::string_view> known) const {
  std::optional<std::size_t> first;
  std::string_view name;
  std::string field_name;
  for (const auto &[field, value] : select.items()) {
    if (std::find(known.begin(), known.end(), field) != known.end()) continue;
    const auto clause = std::find_if(clauses.begin(), clauses.end(),
                                     [&, &key = field](const Clause &candidate) { return candidate.field == key; });
    const bool named = clause != clauses.end();
    const std::size_t position =
        (named ? tokens_.find_keyword(clause->keyword) : std::nullopt).value_or(node_position(value));
    if (first && *first <= position) continue;
    first = position;
    name = named ? clause->name : std::string_view();
    field_name = field;
  }
  if (first) not_supported(name.empty() ? fmt::format("this form of SELECT (\"{}\") is", field_name) : name, *first);
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

void SqlRefusals::from_entry(const Json &node) const {
  const std::string &type = node_type(node);
  const Json &fields = node_fields(node);
  if (type == "JoinExpr") {
    not_supported("JOIN is", tokens_.find_keyword("join").value_or(node_position(fields)));
  }
  if (type == "RangeSubselect") {
    // The sub-select has no position of its own; its keyword is the second SELECT of the text.
    for (std::size_t i = 1; i < tokens_.size(); ++i) {
      if (tokens_.is_keyword(i, "select") || tokens_.is_keyword(i, "values")) {
        not_supported("a sub-select in FROM is", tokens_[i].start);
      }
    }
  }
  if (type == "RangeFunction") not_supported("a function in FROM is", node_position(fields));
  if (type == "RangeTableSample") {
    not_supported("TABLESAMPLE is", tokens_.find_keyword("tablesample").value_or(node_position(fields)));
  }
  not_supported(fmt::format("this entry of FROM (\"{}\") is", type), node_position(fields));
}

void SqlRefusals::expression(const Json &node) const {
  const std::string &type = node_type(node);
  const Json &fields = node_fields(node);
  const std::size_t position = node_position(fields);
  if (type == "FuncCall") {
    const std::string name = last_name(fields, "funcname");
    const auto known = {"count", "lower", "max", "min", "upper"}; // elsewhere
    const bool misplaced = std::find(known.begin(), known.end(), name) != known.end();
    not_supported(fmt::format("the function {} {}is", name, misplaced ? "in this place " : ""), position);
  }
  if (type == "A_Expr") {
    if (const auto name = name_of(operator_names, fields.at("kind").get<std::string>())) {
      not_supported(*name, position);
    }
    const std::string symbol = last_name(fields, "name");
    if (symbol == "==") throw QueryError("the operator == is not SQL: write =", position);
    not_supported(fmt::format("the operator {} in this place is", symbol), position);
  }
  not_supported(name_of(expression_names, type).value_or(fmt::format("this expression (\"{}\") is", type)), position);
}

// A file name has characters that end a name in SQL, and some that end all scanning: the text behind FROM is looked at
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

} // namespace mipo::tools
