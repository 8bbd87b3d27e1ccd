#include "engine/sql/conditions.h"

#include <optional>
#include <string_view>

#include <fmt/format.h>

#include "engine/sql/query_error.h"

namespace mipo::engine {
namespace {

// How the parser writes PATTERN ESCAPE CHARACTER.
bool is_escaped_pattern(SyntaxNode node) {
  if (!node.is("FuncCall")) return false;
  const SyntaxNode names = node.fields().at("funcname");
  return names.size() == 2 && names.front().string() == "pg_catalog" && names.back().string() == "like_escape" &&
         node.fields().list("args").size() == 2;
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

const Constant *constant_in(const Operand &operand) {
  return std::get_if<Constant>(&operand.value.node);
}

const ColumnName *column_in(const Operand &operand) {
  return std::get_if<ColumnName>(&operand.value.node);
}

} // namespace

Condition SqlConditions::condition(SyntaxNode node, int depth) const {
  const SyntaxNode fields = node.fields();
  const std::size_t position = fields.position();
  check_nesting(depth, "condition", position);
  if (node.is("BoolExpr")) {
    SqlRefusals::unknown_fields(fields, {"boolop", "args", "location"}, "this form of condition");
    std::vector<Condition> operands;
    for (const SyntaxNode part : fields.at("args").elements()) operands.push_back(condition(part, depth + 1));
    const std::string &op = fields.at("boolop").text();
    if (op == "NOT_EXPR") return {Negation{std::move(operands)}};
    return {
        Junction{op == "AND_EXPR" ? Junction::Kind::conjunction : Junction::Kind::disjunction, std::move(operands)}};
  }
  if (node.is("NullTest")) {
    SqlRefusals::unknown_fields(fields, {"arg", "nulltesttype", "location"}, "this form of IS NULL");
    return {NullTest{operand(fields.at("arg"), depth).value, fields.at("nulltesttype") == "IS_NOT_NULL"}};
  }
  if (node.is("A_Expr")) return operator_expression(node, depth);
  if (node.is("SubLink")) return in_query(node, depth);
  if (node.is("ColumnRef") || node.is("A_Const")) {
    throw QueryError("expected a condition here, such as delay > 10", position);
  }
  refusals_.expression(node);
}

Condition SqlConditions::operator_expression(SyntaxNode node, int depth) const {
  const SyntaxNode fields = node.fields();
  SqlRefusals::unknown_fields(fields, {"kind", "name", "lexpr", "rexpr", "location"}, "this form of comparison");
  const std::string &kind = fields.at("kind").text();
  if (kind == "AEXPR_BETWEEN" || kind == "AEXPR_NOT_BETWEEN") {
    Operand tested = operand(fields.at("lexpr"), depth);
    std::vector<Constant> ends = constants(fields.at("rexpr"));
    return {Between{std::move(tested), std::move(ends.at(0)), std::move(ends.at(1)), kind == "AEXPR_NOT_BETWEEN"}};
  }
  const std::string &symbol = fields.at("name").back().string();
  if (kind == "AEXPR_IN") {
    return {InList{operand(fields.at("lexpr"), depth), constants(fields.at("rexpr")), symbol == "<>"}};
  }
  if (kind == "AEXPR_LIKE") return like(fields, symbol == "!~~", depth);

  const auto op = comparison_operator(symbol);
  if (kind != "AEXPR_OP" || !op || fields.at("name").size() > 1 || !fields.contains("lexpr")) {
    refusals_.expression(node);
  }
  return comparison(fields, *op, depth);
}

Condition SqlConditions::comparison(SyntaxNode fields, ComparisonOperator op, int depth) const {
  Operand left = side(fields.at("lexpr"), depth), right = side(fields.at("rexpr"), depth);
  const Constant *const left_constant = constant_in(left), *const right_constant = constant_in(right);
  if (left_constant != nullptr && right_constant != nullptr) {
    throw QueryError("comparing two constants is not supported yet", left_constant->position);
  }
  if (right_constant != nullptr) return {Comparison{std::move(left), op, *right_constant}};
  if (left_constant != nullptr) return {Comparison{std::move(right), turned_round(op), *left_constant}};
  const ColumnName *const column = column_in(right);
  throw QueryError(
      fmt::format("comparing two {} is not supported yet{}",
                  column != nullptr && column_in(left) != nullptr ? "columns" : "expressions",
                  column != nullptr && column->quoted ? " (a string constant goes between single quotes)" : ""),
      right.value.position);
}

Condition SqlConditions::like(SyntaxNode fields, bool negated, int depth) const {
  const SyntaxNode right = fields.at("rexpr");
  Like like{operand(fields.at("lexpr"), depth), {}, std::nullopt, negated};
  if (is_escaped_pattern(right)) {
    const SyntaxNode arguments = right.fields().at("args");
    like.pattern = expressions_.constant(arguments[0]);
    like.escape = expressions_.constant(arguments[1]);
  } else {
    like.pattern = expressions_.constant(right);
  }
  return {std::move(like)};
}

Condition SqlConditions::in_query(SyntaxNode node, int depth) const {
  const SyntaxNode fields = node.fields();
  if (fields.at("subLinkType") != "ANY_SUBLINK" || fields.contains("operName")) refusals_.expression(node);
  SqlRefusals::unknown_fields(fields, {"subLinkType", "testexpr", "subselect", "location"}, "this form of IN");
  InQuery in{operand(fields.at("testexpr"), depth), {}, {}, fields.at("location").number()};
  in.query.push_back(select_(fields.at("subselect").fields()));
  in.text = tokens_.text_in_parentheses(in.position);
  return {std::move(in)};
}

// Of a comparison: an operand, or a constant.
Operand SqlConditions::side(SyntaxNode node, int depth) const {
  for (const auto &[name, letter_case] :
       {std::pair("upper", LetterCase::upper), std::pair("lower", LetterCase::lower)}) {
    if (!node.calls(name)) continue;
    const SyntaxNode call = node.fields();
    SqlRefusals::unknown_fields(call, {"funcname", "args", "funcformat", "location"},
                                fmt::format("this form of {}", name));
    ColumnName column = expressions_.column(expressions_.only_argument(call, "column"));
    const std::size_t position = column.position;
    return {{std::move(column), position}, letter_case};
  }
  Operand operand{expressions_.expression_or_string(node, depth)};
  if (clause_ == Clause::having) return operand;
  if (const auto *call = std::get_if<Expression::Aggregate>(&operand.value.node)) {
    throw QueryError(
        fmt::format("{} belongs in HAVING: WHERE chooses rows before they are grouped", sql_text(call->function)),
        operand.value.position);
  }
  if (std::holds_alternative<Expression::Arithmetic>(operand.value.node)) {
    throw QueryError("calculations in WHERE are not supported yet: it compares columns with constants",
                     operand.value.position);
  }
  return operand;
}

Operand SqlConditions::operand(SyntaxNode node, int depth) const {
  Operand operand = side(node, depth);
  if (constant_in(operand) != nullptr) refusals_.expression(node);
  return operand;
}

std::vector<Constant> SqlConditions::constants(SyntaxNode list) const {
  std::vector<Constant> values;
  for (const SyntaxNode item : list.fields().at("items").elements()) values.push_back(expressions_.constant(item));
  return values;
}

} // namespace mipo::engine
