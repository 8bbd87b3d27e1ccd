#include "sql_parser.h"

#include <charconv>
#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

extern "C" {
#include <pg_query.h>
}

#include "query_error.h"
#include "sql_conditions.h"
#include "sql_expressions.h"
#include "sql_refusals.h"
#include "sql_tokens.h"
#include "sql_tree.h"

namespace mipo::tools {
namespace {

using Json = nlohmann::json;

constexpr std::size_t most_joins = 64;
constexpr int deepest_query = 16;

class Parser {
public:
  explicit Parser(std::string_view text)
      : text_(text), tokens_(text), refusals_(text, tokens_), expressions_(tokens_, refusals_) {}

  Query parse() const;

private:
  Json syntax_tree() const;
  Query select(const Json &fields, int depth = 0) const;
  bool distinct(const Json &select) const;
  OutputItem output_item(const Json &target) const;
  void from(const Json &select, Query &query) const;
  void from_item(const Json &node, Query &query) const;
  TableName table(const Json &fields) const;
  Condition condition(const Json &node, SqlConditions::Clause clause, int depth) const;
  std::variant<OutputPosition, Expression> grouped_or_ordered(const Json &node, std::string_view clause) const;
  OrderItem order_item(const Json &node) const;
  std::optional<std::uint64_t> row_limit(const Json &select, const char *field, std::string_view clause) const;
  std::string alias(const std::string &parsed, std::size_t position) const;

  std::string_view text_;
  SqlTokens tokens_;
  SqlRefusals refusals_;
  SqlExpressions expressions_;
};

bool is_valid_utf8(std::string_view text) {
  try {
    (void)Json(text).dump();
    return true;
  } catch (const Json::type_error &) {
    return false;
  }
}

std::optional<std::uint64_t> whole_number(const Constant &constant) {
  std::uint64_t number = 0;
  const char *const end = constant.text.data() + constant.text.size();
  const auto parsed = std::from_chars(constant.text.data(), end, number);
  if (constant.kind != Constant::Kind::number || parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
  return number;
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

// `depth` counts the queries around it.
Query Parser::select(const Json &fields, int depth) const {
  if (fields.at("op") != "SETOP_NONE") {
    for (const char *keyword : {"union", "intersect", "except"}) {
      if (const auto position = tokens_.find_keyword(keyword)) {
        throw QueryError("UNION, INTERSECT and EXCEPT are not supported yet", *position);
      }
    }
  }
  refusals_.unknown_clauses(fields,
                            {"op", "distinctClause", "targetList", "fromClause", "whereClause", "groupClause",
                             "havingClause", "sortClause", "limitCount", "limitOffset", "limitOption"},
                            "SELECT");

  Query query;
  query.distinct = distinct(fields);
  from(fields, query);
  if (!fields.contains("targetList")) {
    throw QueryError("the list of columns is empty", tokens_.find_keyword("from"));
  }
  for (const Json &target : fields.at("targetList")) query.output.push_back(output_item(target));
  if (fields.contains("whereClause")) {
    query.where = condition(fields.at("whereClause"), SqlConditions::Clause::where, depth);
  }
  for (const Json &item : fields.value("groupClause", Json::array())) {
    query.group_by.push_back(grouped_or_ordered(item, "GROUP BY"));
  }
  if (fields.contains("havingClause")) {
    query.having = condition(fields.at("havingClause"), SqlConditions::Clause::having, depth);
  }
  for (const Json &item : fields.value("sortClause", Json::array())) query.order_by.push_back(order_item(item));
  if (fields.at("limitOption") == "LIMIT_OPTION_WITH_TIES") {
    throw QueryError("WITH TIES is not supported yet", tokens_.find_keyword("ties"));
  }
  query.limit = row_limit(fields, "limitCount", "LIMIT");
  query.offset = row_limit(fields, "limitOffset", "OFFSET").value_or(0);
  return query;
}

// DISTINCT is a list of nothing, DISTINCT ON of its expressions.
bool Parser::distinct(const Json &select) const {
  if (!select.contains("distinctClause")) return false;
  const Json &expressions = select.at("distinctClause");
  if (expressions.size() != 1 || !expressions[0].empty()) {
    throw QueryError("DISTINCT ON is not supported yet", tokens_.find_keyword("distinct"));
  }
  return true;
}

OutputItem Parser::output_item(const Json &target) const {
  const Json &fields = target.at("ResTarget");
  SqlRefusals::unknown_fields(fields, {"name", "val", "location"}, "this form of a column");
  const Json &value = fields.at("val");
  if (is_star(value)) {
    AllColumns all = expressions_.all_columns(value);
    if (fields.contains("name")) throw QueryError("* cannot have a name of its own", all.position);
    return {std::move(all), std::nullopt};
  }
  OutputItem item{expressions_.expression(value), std::nullopt};
  if (fields.contains("name")) item.name = alias(fields.at("name").get<std::string>(), node_position(fields));
  return item;
}

void Parser::from(const Json &select, Query &query) const {
  if (!select.contains("fromClause")) throw QueryError("FROM is missing: a query reads a table", text_.size());
  const Json &entries = select.at("fromClause");
  from_item(entries[0], query);
  for (std::size_t i = 1; i < entries.size(); ++i) {
    if (!is_node(entries[i], "RangeVar")) refusals_.from_entry(entries[i]);
    throw QueryError("tables side by side in FROM are not supported yet: write JOIN ... ON ...",
                     node_position(node_fields(entries[i])));
  }
}

// A table, or joins nested on the left: ((first JOIN second) JOIN third).
void Parser::from_item(const Json &node, Query &query) const {
  if (is_node(node, "RangeVar")) {
    query.table = table(node_fields(node));
    return;
  }
  if (!is_node(node, "JoinExpr")) refusals_.from_entry(node);
  const Json &fields = node_fields(node);
  from_item(fields.at("larg"), query);
  refusals_.unknown_join(fields);
  if (query.joins.size() == most_joins)
    throw QueryError(fmt::format("more than {} joins in one query", most_joins), node_position(fields.at("rarg")));
  Join join;
  join.table = table(node_fields(fields.at("rarg")));
  join.outer = fields.at("jointype") == "JOIN_LEFT";
  const Json &condition = fields.at("quals");
  join.position = node_position(node_fields(condition));
  const std::string expected = "ON takes an equality of two columns here, one of them the joined table's";
  if (!is_node(condition, "A_Expr")) throw QueryError(expected, join.position);
  const Json &equality = node_fields(condition);
  if (equality.at("kind") != "AEXPR_OP" || string_of(equality.at("name").back()) != "=" ||
      !is_node(equality.at("lexpr"), "ColumnRef") || !is_node(equality.at("rexpr"), "ColumnRef"))
    throw QueryError(expected, join.position);
  join.sides[0] = expressions_.column(equality.at("lexpr"));
  join.sides[1] = expressions_.column(equality.at("rexpr"));
  query.joins.push_back(std::move(join));
}

TableName Parser::table(const Json &fields) const {
  const std::size_t position = node_position(fields);
  if (fields.contains("schemaname")) refusals_.unquoted_path(position);
  if (!fields.contains("inh")) throw QueryError("ONLY is not supported", tokens_.find_keyword("only"));
  SqlRefusals::unknown_fields(fields, {"relname", "inh", "relpersistence", "alias", "location"}, "this form of FROM");

  TableName table;
  table.name = tokens_.name_at(position, fields.at("relname").get<std::string>());
  table.quoted = tokens_.is_quoted_at(position);
  table.position = position;
  if (fields.contains("alias")) {
    const Json &names = fields.at("alias");
    if (names.contains("colnames")) throw QueryError("new column names in FROM are not supported yet", position);
    table.alias = alias(names.at("aliasname").get<std::string>(), position);
  }
  return table;
}

Condition Parser::condition(const Json &node, SqlConditions::Clause clause, int depth) const {
  const auto inner = [&](const Json &fields) {
    if (depth == deepest_query) throw QueryError("queries are nested too deeply", node_position(fields));
    return select(fields, depth + 1);
  };
  return SqlConditions(clause, tokens_, expressions_, refusals_, inner).condition(node);
}

std::variant<OutputPosition, Expression> Parser::grouped_or_ordered(const Json &node, std::string_view clause) const {
  Expression value = expressions_.expression(node);
  const auto *constant = std::get_if<Constant>(&value.node);
  if (constant == nullptr) return value;
  const auto number = whole_number(*constant);
  if (!number || *number == 0 || !is_node(node, "A_Const")) {
    throw QueryError(fmt::format("a constant in {} is the number of an output column, from 1", clause), value.position);
  }
  return OutputPosition{*number, value.position};
}

OrderItem Parser::order_item(const Json &node) const {
  const Json &fields = node.at("SortBy");
  SqlRefusals::unknown_fields(fields, {"node", "sortby_dir", "sortby_nulls", "useOp", "location"},
                              "this form of ORDER BY");
  OrderItem item{grouped_or_ordered(fields.at("node"), "ORDER BY"), false, std::nullopt};
  const std::string &direction = fields.at("sortby_dir").get_ref<const std::string &>();
  if (direction == "SORTBY_USING") {
    const std::size_t position = node_position(fields.at("node"));
    throw QueryError("USING in ORDER BY is not supported yet",
                     tokens_.find_keyword("using", position).value_or(position));
  }
  item.descending = direction == "SORTBY_DESC";
  const std::string &nulls = fields.at("sortby_nulls").get_ref<const std::string &>();
  if (nulls != "SORTBY_NULLS_DEFAULT") item.nulls_first = nulls == "SORTBY_NULLS_FIRST";
  return item;
}

// Of LIMIT and OFFSET; nothing for NULL, and for ALL, which is the same.
std::optional<std::uint64_t> Parser::row_limit(const Json &select, const char *field, std::string_view clause) const {
  if (!select.contains(field)) return std::nullopt;
  const Json &count = select.at(field);
  const std::size_t position = node_position(node_fields(count));
  if (!is_node(count, "A_Const")) {
    throw QueryError(fmt::format("{} takes a whole number: expressions there are not supported yet", clause), position);
  }
  const Constant constant = expressions_.constant(count);
  if (constant.kind == Constant::Kind::null) return std::nullopt;
  if (constant.kind == Constant::Kind::number && constant.text.front() == '-') {
    throw QueryError(fmt::format("{} must not be negative", clause), position);
  }
  const auto rows = whole_number(constant);
  if (!rows) throw QueryError(fmt::format("{} takes a whole number", clause), position);
  return rows;
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
