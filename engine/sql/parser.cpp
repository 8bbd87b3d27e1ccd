#include "engine/sql/parser.h"

#include <charconv>
#include <memory>

#include <fmt/format.h>

extern "C" {
#include <pg_query.h>
}

#include "engine/sql/conditions.h"
#include "engine/sql/expressions.h"
#include "engine/sql/query_error.h"
#include "engine/sql/refusals.h"
#include "engine/sql/tokens.h"
#include "engine/sql/tree.h"
#include "mipo/host/values.h"

namespace mipo::engine {
namespace {

constexpr std::size_t most_joins = 64;
constexpr int deepest_query = 16;

class Parser {
public:
  explicit Parser(std::string_view text)
      : text_(text), tokens_(text), refusals_(text, tokens_), expressions_(tokens_, refusals_) {}

  Query parse() const;

private:
  SyntaxTree syntax_tree() const;
  Query select(SyntaxNode fields, int depth = 0) const;
  bool distinct(SyntaxNode select) const;
  OutputItem output_item(SyntaxNode target) const;
  void from(SyntaxNode select, Query &query) const;
  void from_item(SyntaxNode node, Query &query) const;
  TableName table(SyntaxNode fields) const;
  Condition condition(SyntaxNode node, SqlConditions::Clause clause, int depth) const;
  std::variant<OutputPosition, Expression> grouped_or_ordered(SyntaxNode node, std::string_view clause) const;
  OrderItem order_item(SyntaxNode node) const;
  std::optional<std::uint64_t> row_limit(SyntaxNode select, const char *field, std::string_view clause) const;
  std::string alias(const std::string &parsed, std::size_t position) const;

  std::string_view text_;
  SqlTokens tokens_;
  SqlRefusals refusals_;
  SqlExpressions expressions_;
};

std::optional<std::uint64_t> whole_number(const Constant &constant) {
  std::uint64_t number = 0;
  const char *const end = constant.text.data() + constant.text.size();
  const auto parsed = std::from_chars(constant.text.data(), end, number);
  if (constant.kind != Constant::Kind::number || parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
  return number;
}

SyntaxTree Parser::syntax_tree() const {
  const std::unique_ptr<PgQueryParseResult, void (*)(PgQueryParseResult *)> result(
      new PgQueryParseResult(pg_query_parse(std::string(text_).c_str())), [](PgQueryParseResult *parsed) {
        pg_query_free_parse_result(*parsed);
        delete parsed;
      });
  if (result->error != nullptr) refusals_.syntax_error(result->error->message, result->error->cursorpos);
  return SyntaxTree(result->parse_tree);
}

Query Parser::parse() const {
  if (!host::is_utf8(text_)) throw QueryError("the query is not valid UTF-8");
  const SyntaxTree tree = syntax_tree();
  const SyntaxNode statements = tree.root().at("stmts");
  if (statements.empty()) throw QueryError("the query is empty: expected SELECT ... FROM ...");
  if (statements.size() > 1) {
    const auto end = statements[1].at("stmt_location").number();
    std::size_t second = 0;
    while (second + 1 < tokens_.size() && tokens_[second].start < end) ++second;
    throw QueryError("more than one statement: a query is a single SELECT", tokens_[second].start);
  }
  const SyntaxNode statement = statements[0].at("stmt");
  if (!statement.is("SelectStmt")) refusals_.statement(statement.type());
  return select(statement.fields());
}

// `depth` counts the queries around it.
Query Parser::select(SyntaxNode fields, int depth) const {
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
  for (const SyntaxNode target : fields.at("targetList").elements()) query.output.push_back(output_item(target));
  if (fields.contains("whereClause")) {
    query.where = condition(fields.at("whereClause"), SqlConditions::Clause::where, depth);
  }
  for (const SyntaxNode item : fields.list("groupClause")) {
    query.group_by.push_back(grouped_or_ordered(item, "GROUP BY"));
  }
  if (fields.contains("havingClause")) {
    query.having = condition(fields.at("havingClause"), SqlConditions::Clause::having, depth);
  }
  for (const SyntaxNode item : fields.list("sortClause")) query.order_by.push_back(order_item(item));
  if (fields.at("limitOption") == "LIMIT_OPTION_WITH_TIES") {
    throw QueryError("WITH TIES is not supported yet", tokens_.find_keyword("ties"));
  }
  query.limit = row_limit(fields, "limitCount", "LIMIT");
  query.offset = row_limit(fields, "limitOffset", "OFFSET").value_or(0);
  return query;
}

// DISTINCT is a list of nothing, DISTINCT ON of its expressions.
bool Parser::distinct(SyntaxNode select) const {
  if (!select.contains("distinctClause")) return false;
  const SyntaxNode expressions = select.at("distinctClause");
  if (expressions.size() != 1 || !expressions[0].empty()) {
    throw QueryError("DISTINCT ON is not supported yet", tokens_.find_keyword("distinct"));
  }
  return true;
}

OutputItem Parser::output_item(SyntaxNode target) const {
  const SyntaxNode fields = target.at("ResTarget");
  SqlRefusals::unknown_fields(fields, {"name", "val", "location"}, "this form of a column");
  const SyntaxNode value = fields.at("val");
  if (is_star(value)) {
    AllColumns all = expressions_.all_columns(value);
    if (fields.contains("name")) throw QueryError("* cannot have a name of its own", all.position);
    return {std::move(all), std::nullopt};
  }
  OutputItem item{expressions_.expression(value), std::nullopt};
  if (fields.contains("name")) item.name = alias(fields.at("name").text(), fields.position());
  return item;
}

void Parser::from(SyntaxNode select, Query &query) const {
  if (!select.contains("fromClause")) throw QueryError("FROM is missing: a query reads a table", text_.size());
  const SyntaxNode entries = select.at("fromClause");
  from_item(entries[0], query);
  for (std::size_t i = 1; i < entries.size(); ++i) {
    if (!entries[i].is("RangeVar")) refusals_.from_entry(entries[i]);
    throw QueryError("tables side by side in FROM are not supported yet: write JOIN ... ON ...",
                     entries[i].fields().position());
  }
}

// A table, or joins nested on the left: ((first JOIN second) JOIN third).
void Parser::from_item(SyntaxNode node, Query &query) const {
  if (node.is("RangeVar")) {
    query.table = table(node.fields());
    return;
  }
  if (!node.is("JoinExpr")) refusals_.from_entry(node);
  const SyntaxNode fields = node.fields();
  from_item(fields.at("larg"), query);
  refusals_.unknown_join(fields);
  if (query.joins.size() == most_joins)
    throw QueryError(fmt::format("more than {} joins in one query", most_joins), fields.at("rarg").position());
  Join join;
  join.table = table(fields.at("rarg").fields());
  join.outer = fields.at("jointype") == "JOIN_LEFT";
  const SyntaxNode condition = fields.at("quals");
  join.position = condition.fields().position();
  const std::string expected = "ON takes an equality of two columns here, one of them the joined table's";
  if (!condition.is("A_Expr")) throw QueryError(expected, join.position);
  const SyntaxNode equality = condition.fields();
  if (equality.at("kind") != "AEXPR_OP" || equality.at("name").back().string() != "=" ||
      !equality.at("lexpr").is("ColumnRef") || !equality.at("rexpr").is("ColumnRef"))
    throw QueryError(expected, join.position);
  join.sides[0] = expressions_.column(equality.at("lexpr"));
  join.sides[1] = expressions_.column(equality.at("rexpr"));
  query.joins.push_back(std::move(join));
}

TableName Parser::table(SyntaxNode fields) const {
  const std::size_t position = fields.position();
  if (fields.contains("schemaname")) refusals_.unquoted_path(position);
  if (!fields.contains("inh")) throw QueryError("ONLY is not supported", tokens_.find_keyword("only"));
  SqlRefusals::unknown_fields(fields, {"relname", "inh", "relpersistence", "alias", "location"}, "this form of FROM");

  TableName table;
  table.name = tokens_.name_at(position, fields.at("relname").text());
  table.quoted = tokens_.is_quoted_at(position);
  table.position = position;
  if (fields.contains("alias")) {
    const SyntaxNode names = fields.at("alias");
    if (names.contains("colnames")) throw QueryError("new column names in FROM are not supported yet", position);
    table.alias = alias(names.at("aliasname").text(), position);
  }
  return table;
}

Condition Parser::condition(SyntaxNode node, SqlConditions::Clause clause, int depth) const {
  const auto inner = [&](SyntaxNode fields) {
    if (depth == deepest_query) throw QueryError("queries are nested too deeply", fields.position());
    return select(fields, depth + 1);
  };
  return SqlConditions(clause, tokens_, expressions_, refusals_, inner).condition(node);
}

std::variant<OutputPosition, Expression> Parser::grouped_or_ordered(SyntaxNode node, std::string_view clause) const {
  Expression value = expressions_.expression(node);
  const auto *constant = std::get_if<Constant>(&value.node);
  if (constant == nullptr) return value;
  const auto number = whole_number(*constant);
  if (!number || *number == 0 || !node.is("A_Const")) {
    throw QueryError(fmt::format("a constant in {} is the number of an output column, from 1", clause), value.position);
  }
  return OutputPosition{*number, value.position};
}

OrderItem Parser::order_item(SyntaxNode node) const {
  const SyntaxNode fields = node.at("SortBy");
  SqlRefusals::unknown_fields(fields, {"node", "sortby_dir", "sortby_nulls", "useOp", "location"},
                              "this form of ORDER BY");
  OrderItem item{grouped_or_ordered(fields.at("node"), "ORDER BY"), false, std::nullopt};
  const std::string &direction = fields.at("sortby_dir").text();
  if (direction == "SORTBY_USING") {
    const std::size_t position = fields.at("node").position();
    throw QueryError("USING in ORDER BY is not supported yet",
                     tokens_.find_keyword("using", position).value_or(position));
  }
  item.descending = direction == "SORTBY_DESC";
  const std::string &nulls = fields.at("sortby_nulls").text();
  if (nulls != "SORTBY_NULLS_DEFAULT") item.nulls_first = nulls == "SORTBY_NULLS_FIRST";
  return item;
}

// Of LIMIT and OFFSET; nothing for NULL, and for ALL, which is the same.
std::optional<std::uint64_t> Parser::row_limit(SyntaxNode select, const char *field, std::string_view clause) const {
  if (!select.contains(field)) return std::nullopt;
  const SyntaxNode count = select.at(field);
  const std::size_t position = count.fields().position();
  if (!count.is("A_Const")) {
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
    throw QueryError(fmt::format("a name after AS has at most {} bytes", sql_name_limit), position);
  }
  return parsed;
}

} // namespace

Query parse_query(std::string_view text) {
  return Parser(text).parse();
}

} // namespace mipo::engine
