#include "sql_parser.h"

#include <algorithm>
#include <charconv>
#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

extern "C" {
#include <pg_query.h>
}

#include "query_error.h"
#include "sql_refusals.h"
#include "sql_tokens.h"

namespace mipo::tools {
namespace {

using Json = nlohmann::json;

// Deeper conditions are refused: the steps behind the parser walk them recursively.
constexpr int nesting_limit = 500;

class Parser {
public:
  explicit Parser(std::string_view text) : text_(text), tokens_(text), refusals_(text, tokens_) {}

  Query parse() const;

private:
  Json syntax_tree() const;
  Query select(const Json &fields) const;
  OutputItem output_item(const Json &target) const;
  TableName table(const Json &select) const;
  std::optional<std::uint64_t> limit(const Json &select) const;
  Condition condition(const Json &node, int depth) const;
  Condition operator_expression(const Json &node) const;
  Condition like(const Json &fields, bool negated) const;
  ColumnName column(const Json &node) const;
  ColumnName only_argument(const Json &call, std::string_view function) const;
  Operand operand(const Json &node) const;
  Constant constant(const Json &node) const;
  std::vector<Constant> constants(const Json &list) const;
  std::string integer(const Json &fields) const;
  std::string name_at(std::size_t position, const std::string &parsed) const;
  bool quoted_at(std::size_t position) const;
  std::string alias(const std::string &parsed, std::size_t position) const;

  std::string_view text_;
  SqlTokens tokens_;
  SqlRefusals refusals_;
};

bool is_node(const Json &node, const char *type) {
  return node_type(node) == type;
}

const std::string &string_of(const Json &node) {
  return node.at("String").at("sval").get_ref<const std::string &>();
}

// A call of the function of this name, without a schema.
bool is_call_of(const Json &node, std::string_view function) {
  if (!is_node(node, "FuncCall")) return false;
  const Json &names = node_fields(node).at("funcname");
  return names.size() == 1 && string_of(names.back()) == function;
}

// How the parser writes PATTERN ESCAPE CHARACTER.
bool is_escaped_pattern(const Json &node) {
  if (!is_node(node, "FuncCall")) return false;
  const Json &names = node_fields(node).at("funcname");
  return names.size() == 2 && string_of(names.front()) == "pg_catalog" && string_of(names.back()) == "like_escape" &&
         node_fields(node).value("args", Json::array()).size() == 2;
}

bool is_valid_utf8(std::string_view text) {
  try {
    (void)Json(text).dump();
    return true;
  } catch (const Json::type_error &) {
    return false;
  }
}

Json Parser::syntax_tree() const {
  const std::unique_ptr<PgQueryParseResult, void (*)(PgQueryParseResult *)> result(
      new PgQueryParseResult(pg_query_parse(std::string(text_).c_str())), [](PgQueryParseResult *parsed) {
        pg_query_free_parse_result(*parsed);
        delete parsed;
      });
  if (result->error != nullptr) refusals_.syntax_error(result->error->message, result->error->cursorpos);
  return Json::parse(result->parse_tree);
}

Query Parser::parse() const {
  if (!is_valid_utf8(text_)) throw QueryError("the query is not valid UTF-8");
  const Json tree = syntax_tree();
  const Json &statements = tree.at("stmts");
  if (statements.empty()) throw QueryError("the query is empty: expected SELECT ... FROM ...");
  if (statements.size() > 1) {
    const auto end = statements[1].at("stmt_location").get<std::size_t>();
    std::size_t second = 0;
    while (second + 1 < tokens_.size() && tokens_[second].start < end) ++second;
    throw QueryError("more than one statement: a query is a single SELECT", tokens_[second].start);
  }
  const Json &statement = statements[0].at("stmt");
  if (!is_node(statement, "SelectStmt")) refusals_.statement(node_type(statement));
  return select(node_fields(statement));
}

Query Parser::select(const Json &fields) const {
  if (fields.at("op") != "SETOP_NONE") {
    for (const char *keyword : {"union", "intersect", "except"}) {
      if (const auto position = tokens_.find_keyword(keyword)) {
        throw QueryError("UNION, INTERSECT and EXCEPT are not supported yet", *position);
      }
    }
  }
  refusals_.unknown_clauses(fields, {"op", "targetList", "fromClause", "whereClause", "limitCount", "limitOption"});

  Query query;
  query.table = table(fields);
  if (!fields.contains("targetList")) {
    throw QueryError("the list of columns is empty", tokens_.find_keyword("from"));
  }
  for (const Json &target : fields.at("targetList")) query.output.push_back(output_item(target));
  const auto plain = std::find_if(query.output.begin(), query.output.end(),
                                  [](const OutputItem &item) { return !is_aggregate(item.kind); });
  for (const OutputItem &item : query.output) {
    if (!is_aggregate(item.kind) || plain == query.output.end()) continue;
    throw QueryError(item.kind == OutputItem::Kind::row_count ? "count(*) beside other columns is not supported yet"
                                                              : "min and max beside columns are not supported yet",
                     item.column.position);
  }
  if (fields.contains("whereClause")) query.where = condition(fields.at("whereClause"), 0);
  query.limit = limit(fields);
  return query;
}

OutputItem Parser::output_item(const Json &target) const {
  const Json &fields = target.at("ResTarget");
  SqlRefusals::unknown_fields(fields, {"name", "val", "location"}, "this form of a column");
  const Json &value = fields.at("val");
  OutputItem item;
  if (is_node(value, "ColumnRef")) {
    const bool star = is_node(node_fields(value).at("fields").back(), "A_Star");
    item.kind = star ? OutputItem::Kind::all_columns : OutputItem::Kind::column;
    item.column = column(value);
    if (star && fields.contains("name")) throw QueryError("* cannot have a name of its own", item.column.position);
  } else if (is_call_of(value, "min") || is_call_of(value, "max")) {
    const bool minimum = is_call_of(value, "min");
    item.kind = minimum ? OutputItem::Kind::minimum : OutputItem::Kind::maximum;
    item.column = only_argument(value, minimum ? "min" : "max");
  } else if (is_call_of(value, "count")) {
    const Json &call = node_fields(value);
    item.kind = OutputItem::Kind::row_count;
    item.column.position = node_position(call);
    if (!call.contains("agg_star")) {
      throw QueryError("count of a column is not supported yet: only count(*) is", item.column.position);
    }
    SqlRefusals::unknown_fields(call, {"funcname", "agg_star", "funcformat", "location"}, "this form of count(*)");
  } else {
    refusals_.expression(value);
  }
  if (fields.contains("name")) item.name = alias(fields.at("name").get<std::string>(), item.column.position);
  return item;
}

TableName Parser::table(const Json &select) const {
  if (!select.contains("fromClause")) throw QueryError("FROM is missing: a query reads a table", text_.size());
  const Json &entries = select.at("fromClause");
  for (const Json &entry : entries) {
    if (!is_node(entry, "RangeVar")) refusals_.from_entry(entry);
  }
  const Json &fields = node_fields(entries[0]);
  const std::size_t position = node_position(fields);
  if (fields.contains("schemaname")) refusals_.unquoted_path(position);
  if (entries.size() > 1) {
    throw QueryError("more than one table in FROM (a join) is not supported yet",
                     node_position(node_fields(entries[1])));
  }
  if (!fields.contains("inh")) throw QueryError("ONLY is not supported", tokens_.find_keyword("only"));
  SqlRefusals::unknown_fields(fields, {"relname", "inh", "relpersistence", "alias", "location"}, "this form of FROM");

  TableName table;
  table.name = name_at(position, fields.at("relname").get<std::string>());
  table.quoted = quoted_at(position);
  table.position = position;
  if (fields.contains("alias")) {
    const Json &names = fields.at("alias");
    if (names.contains("colnames")) throw QueryError("new column names in FROM are not supported yet", position);
    table.alias = alias(names.at("aliasname").get<std::string>(), position);
  }
  return table;
}

std::optional<std::uint64_t> Parser::limit(const Json &select) const {
  if (select.at("limitOption") == "LIMIT_OPTION_WITH_TIES") {
    throw QueryError("WITH TIES is not supported yet", tokens_.find_keyword("ties"));
  }
  if (!select.contains("limitCount")) return std::nullopt;
  const Json &count = select.at("limitCount");
  const std::size_t position = node_position(node_fields(count));
  if (!is_node(count, "A_Const")) {
    throw QueryError("LIMIT takes a whole number: expressions there are not supported yet", position);
  }
  const Constant value = constant(count);
  if (value.kind == Constant::Kind::null) return std::nullopt; // LIMIT ALL is the same
  if (value.kind == Constant::Kind::number && value.text.front() == '-') {
    throw QueryError("LIMIT must not be negative", position);
  }
  std::uint64_t rows = 0;
  const char *const end = value.text.data() + value.text.size();
  const auto parsed = std::from_chars(value.text.data(), end, rows);
  if (value.kind != Constant::Kind::number || parsed.ec != std::errc() || parsed.ptr != end) {
    throw QueryError("LIMIT takes a whole number", position);
  }
  return rows;
}

Condition Parser::condition(const Json &node, int depth) const {
  const Json &fields = node_fields(node);
  const std::size_t position = node_position(fields);
  if (depth > nesting_limit) throw QueryError("the condition is nested too deeply", position);
  if (is_node(node, "BoolExpr")) {
    SqlRefusals::unknown_fields(fields, {"boolop", "args", "location"}, "this form of condition");
    std::vector<Condition> operands;
    for (const Json &operand : fields.at("args")) operands.push_back(condition(operand, depth + 1));
    const std::string &op = fields.at("boolop").get_ref<const std::string &>();
    if (op == "NOT_EXPR") return {Negation{std::move(operands)}};
    return {
        Junction{op == "AND_EXPR" ? Junction::Kind::conjunction : Junction::Kind::disjunction, std::move(operands)}};
  }
  if (is_node(node, "NullTest")) {
    SqlRefusals::unknown_fields(fields, {"arg", "nulltesttype", "location"}, "this form of IS NULL");
    return {NullTest{operand(fields.at("arg")).column, fields.at("nulltesttype") == "IS_NOT_NULL"}};
  }
  if (is_node(node, "A_Expr")) return operator_expression(node);
  if (is_node(node, "ColumnRef") || is_node(node, "A_Const")) {
    throw QueryError("expected a condition here, such as delay > 10", position);
  }
  refusals_.expression(node);
}

std::optional<ComparisonOperator> comparison_operator(std::string_view symbol) {
  using enum ComparisonOperator;
  for (const ComparisonOperator op : {equal, not_equal, less, less_equal, greater, greater_equal}) {
    if (symbol == sql_text(op)) return op;
  }
  return std::nullopt;
}

// The operator that holds for (b, a) where `op` holds for (a, b).
ComparisonOperator turned_round(ComparisonOperator op) {
  switch (op) {
  case ComparisonOperator::less:
    return ComparisonOperator::greater;
  case ComparisonOperator::less_equal:
    return ComparisonOperator::greater_equal;
  case ComparisonOperator::greater:
    return ComparisonOperator::less;
  case ComparisonOperator::greater_equal:
    return ComparisonOperator::less_equal;
  default:
    return op;
  }
}

Condition Parser::operator_expression(const Json &node) const {
  const Json &fields = node_fields(node);
  SqlRefusals::unknown_fields(fields, {"kind", "name", "lexpr", "rexpr", "location"}, "this form of comparison");
  const std::string &kind = fields.at("kind").get_ref<const std::string &>();
  if (kind == "AEXPR_BETWEEN" || kind == "AEXPR_NOT_BETWEEN") {
    Operand tested = operand(fields.at("lexpr"));
    std::vector<Constant> ends = constants(fields.at("rexpr"));
    return {Between{std::move(tested), std::move(ends.at(0)), std::move(ends.at(1)), kind == "AEXPR_NOT_BETWEEN"}};
  }
  const std::string &symbol = string_of(fields.at("name").back());
  if (kind == "AEXPR_IN") return {InList{operand(fields.at("lexpr")), constants(fields.at("rexpr")), symbol == "<>"}};
  if (kind == "AEXPR_LIKE") return like(fields, symbol == "!~~");

  const auto op = comparison_operator(symbol);
  if (kind != "AEXPR_OP" || !op || fields.at("name").size() > 1 || !fields.contains("lexpr")) {
    refusals_.expression(node);
  }
  const Json &left = fields.at("lexpr"), &right = fields.at("rexpr");
  const auto is_operand = [](const Json &side) {
    return is_node(side, "ColumnRef") || is_call_of(side, "upper") || is_call_of(side, "lower");
  };
  if (is_operand(left)) {
    if (is_node(right, "ColumnRef")) {
      const ColumnName other = column(right);
      throw QueryError(fmt::format("comparing two columns is not supported yet{}",
                                   other.quoted ? " (a string constant goes between single quotes)" : ""),
                       other.position);
    }
    return {Comparison{operand(left), *op, constant(right)}};
  }
  const Constant value = constant(left);
  if (!is_operand(right)) {
    (void)constant(right);
    throw QueryError("comparing two constants is not supported yet", value.position);
  }
  return {Comparison{operand(right), turned_round(*op), value}};
}

Condition Parser::like(const Json &fields, bool negated) const {
  const Json &right = fields.at("rexpr");
  Like like{operand(fields.at("lexpr")), {}, std::nullopt, negated};
  if (is_escaped_pattern(right)) {
    const Json &arguments = node_fields(right).at("args");
    like.pattern = constant(arguments.at(0));
    like.escape = constant(arguments.at(1));
  } else {
    like.pattern = constant(right);
  }
  return {std::move(like)};
}

ColumnName Parser::only_argument(const Json &call, std::string_view function) const {
  const Json &fields = node_fields(call);
  SqlRefusals::unknown_fields(fields, {"funcname", "args", "funcformat", "location"},
                              fmt::format("this form of {}", function));
  if (!fields.contains("args") || fields.at("args").size() != 1) {
    throw QueryError(fmt::format("{} takes one column", function), node_position(fields));
  }
  return column(fields.at("args")[0]);
}

Operand Parser::operand(const Json &node) const {
  if (is_call_of(node, "upper")) return {only_argument(node, "upper"), LetterCase::upper};
  if (is_call_of(node, "lower")) return {only_argument(node, "lower"), LetterCase::lower};
  return {column(node)};
}

ColumnName Parser::column(const Json &node) const {
  if (!is_node(node, "ColumnRef")) refusals_.expression(node);
  const Json &fields = node_fields(node);
  const Json &names = fields.at("fields");
  ColumnName column;
  column.position = node_position(fields);
  if (names.size() > 2) throw QueryError("a column name with a schema is not supported", column.position);
  std::size_t name_position = column.position;
  if (names.size() == 2) {
    column.qualifier = name_at(column.position, string_of(names[0]));
    const auto first = tokens_.index_at(column.position);
    if (first && *first + 2 < tokens_.size()) name_position = tokens_[*first + 2].start;
  }
  if (is_node(names.back(), "A_Star")) return column;
  column.name = name_at(name_position, string_of(names.back()));
  column.quoted = quoted_at(name_position);
  return column;
}

Constant Parser::constant(const Json &node) const {
  const Json &fields = node_fields(node);
  Constant constant;
  constant.position = node_position(fields);
  if (is_node(node, "A_Expr") && !fields.contains("lexpr") && string_of(fields.at("name").back()) == "+" &&
      is_node(fields.at("rexpr"), "A_Const")) {
    constant = this->constant(fields.at("rexpr"));
    if (constant.kind == Constant::Kind::number) return constant;
  }
  if (!is_node(node, "A_Const")) refusals_.expression(node);
  if (fields.contains("ival")) {
    constant.kind = Constant::Kind::number;
    constant.text = integer(fields);
  } else if (fields.contains("fval")) {
    constant.kind = Constant::Kind::number;
    constant.text = fields.at("fval").at("fval").get<std::string>();
  } else if (fields.contains("sval")) {
    constant.kind = Constant::Kind::string;
    constant.text = fields.at("sval").value("sval", std::string());
  } else if (fields.contains("boolval")) {
    throw QueryError("TRUE and FALSE are not supported yet", constant.position);
  } else if (!fields.contains("isnull")) {
    throw QueryError("this kind of constant is not supported yet", constant.position);
  }
  return constant;
}

std::vector<Constant> Parser::constants(const Json &list) const {
  std::vector<Constant> values;
  for (const Json &item : node_fields(list).at("items")) values.push_back(constant(item));
  return values;
}

// The tree gives positive integers alone; 0 and negative ones are read from the text.
std::string Parser::integer(const Json &fields) const {
  const Json &value = fields.at("ival");
  if (value.contains("ival")) return std::to_string(value.at("ival").get<int>());
  const std::size_t position = node_position(fields);
  bool negative = false;
  for (std::size_t i = tokens_.index_at(position).value_or(tokens_.size()); i < tokens_.size(); ++i) {
    const std::string_view token = tokens_.text(i);
    if (token == "-")
      negative = !negative;
    else if (token != "(")
      return fmt::format("{}{}", negative ? "-" : "", token);
  }
  throw QueryError("this number cannot be read", position);
}

// The parser cuts long names and drops the quotes: the text has both.
std::string Parser::name_at(std::size_t position, const std::string &parsed) const {
  const auto index = tokens_.index_at(position);
  if (!index) return parsed;
  const std::string_view token = tokens_.text(*index);
  return is_quoted_identifier(token) || token.size() > sql_name_limit ? identifier_name(token) : parsed;
}

bool Parser::quoted_at(std::size_t position) const {
  const auto index = tokens_.index_at(position);
  return index && is_quoted_identifier(tokens_.text(*index));
}

std::string Parser::alias(const std::string &parsed, std::size_t position) const {
  if (tokens_.was_cut(parsed)) {
    throw QueryError(fmt::format("a name behind AS has at most {} bytes", sql_name_limit), position);
  }
  return parsed;
}

} // namespace

Query parse_query(std::string_view text) {
  return Parser(text).parse();
}

} // namespace mipo::tools
