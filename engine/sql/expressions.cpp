#include "engine/sql/expressions.h"

#include <fmt/format.h>

#include "engine/sql/query_error.h"

namespace mipo::engine {
namespace {

constexpr int nesting_limit = 500;

std::optional<AggregateFunction> aggregate_function(SyntaxNode node) {
  using enum AggregateFunction;
  for (const AggregateFunction function : {count, sum, average, minimum, maximum}) {
    if (node.calls(sql_text(function))) return function;
  }
  return std::nullopt;
}

std::optional<ArithmeticOperator> arithmetic_operator(SyntaxNode fields) {
  using enum ArithmeticOperator;
  if (fields.at("kind") != "AEXPR_OP" || fields.at("name").size() > 1) return std::nullopt;
  for (const ArithmeticOperator op : {add, subtract, multiply}) {
    if (fields.at("name").back().string() == sql_text(op)) return op;
  }
  return std::nullopt;
}

const Constant *number_in(const Expression &expression) {
  const auto *constant = std::get_if<Constant>(&expression.node);
  return constant != nullptr && constant->kind == Constant::Kind::number ? constant : nullptr;
}

// A negative constant, or what remains below zero by as much as the operand is above it.
Expression negative(Expression operand, std::size_t position) {
  if (const Constant *number = number_in(operand)) {
    const bool was_negative = number->text.front() == '-';
    return {Constant{number->kind, was_negative ? number->text.substr(1) : "-" + number->text, position}, position};
  }
  Expression::Arithmetic difference{ArithmeticOperator::subtract, {}};
  difference.operands.push_back({Constant{Constant::Kind::number, "0", position}, position});
  difference.operands.push_back(std::move(operand));
  return {std::move(difference), position};
}

} // namespace

void check_nesting(int depth, std::string_view what, std::size_t position) {
  if (depth > nesting_limit) throw QueryError(fmt::format("the {} is nested too deeply", what), position);
}

bool is_star(SyntaxNode node) {
  return node.is("ColumnRef") && node.fields().at("fields").back().is("A_Star");
}

std::string SqlExpressions::qualifier(SyntaxNode names, std::size_t position) const {
  if (names.size() > 2) throw QueryError("a column name with a schema is not supported", position);
  return names.size() == 2 ? tokens_.name_at(position, names[0].string()) : std::string();
}

ColumnName SqlExpressions::column(SyntaxNode node) const {
  if (!node.is("ColumnRef")) refusals_.expression(node);
  const SyntaxNode fields = node.fields();
  const SyntaxNode names = fields.at("fields");
  ColumnName column;
  column.position = fields.position();
  if (is_star(node)) throw QueryError("* in this place is not supported yet", column.position);
  column.qualifier = qualifier(names, column.position);
  std::size_t name_position = column.position;
  if (names.size() == 2) {
    const auto first = tokens_.index_at(column.position);
    if (first && *first + 2 < tokens_.size()) name_position = tokens_[*first + 2].start;
  }
  column.name = tokens_.name_at(name_position, names.back().string());
  column.quoted = tokens_.is_quoted_at(name_position);
  return column;
}

AllColumns SqlExpressions::all_columns(SyntaxNode node) const {
  const SyntaxNode fields = node.fields();
  const std::size_t position = fields.position();
  return {qualifier(fields.at("fields"), position), position};
}

Constant SqlExpressions::constant(SyntaxNode node) const {
  const Expression value = expression_or_string(node);
  if (const auto *constant = std::get_if<Constant>(&value.node)) return *constant;
  refusals_.expression(node);
}

Expression SqlExpressions::expression(SyntaxNode node, int depth) const {
  return value(node, {depth, std::nullopt});
}

Expression SqlExpressions::expression_or_string(SyntaxNode node, int depth) const {
  return any(node, {depth, std::nullopt});
}

Expression SqlExpressions::value(SyntaxNode node, const Surroundings &surroundings) const {
  Expression value = any(node, surroundings);
  const auto *constant = std::get_if<Constant>(&value.node);
  if (constant != nullptr && constant->kind == Constant::Kind::string) {
    throw QueryError("a string constant in this place is not supported yet", constant->position);
  }
  return value;
}

Expression SqlExpressions::any(SyntaxNode node, const Surroundings &surroundings) const {
  const SyntaxNode fields = node.fields();
  const std::size_t position = fields.position();
  check_nesting(surroundings.depth, "expression", position);
  if (node.is("ColumnRef")) return {column(node), position};
  if (node.is("A_Const")) return {written_constant(fields), position};
  if (node.is("A_Expr")) return calculation(node, surroundings);
  if (const auto function = aggregate_function(node)) return aggregate(*function, fields, surroundings);
  refusals_.expression(node);
}

Expression SqlExpressions::calculation(SyntaxNode node, const Surroundings &surroundings) const {
  const SyntaxNode fields = node.fields();
  const std::size_t position = fields.position();
  const auto op = arithmetic_operator(fields);
  if (!op) refusals_.expression(node);
  SqlRefusals::unknown_fields(fields, {"kind", "name", "lexpr", "rexpr", "location"}, "this form of calculation");
  const Surroundings inner{surroundings.depth + 1, surroundings.aggregate};
  if (!fields.contains("lexpr")) {
    if (*op == ArithmeticOperator::multiply) refusals_.expression(node);
    Expression operand = value(fields.at("rexpr"), inner);
    return *op == ArithmeticOperator::add ? std::move(operand) : negative(std::move(operand), position);
  }
  Expression::Arithmetic arithmetic{*op, {}};
  for (const char *side : {"lexpr", "rexpr"}) arithmetic.operands.push_back(value(fields.at(side), inner));
  return {std::move(arithmetic), position};
}

Expression SqlExpressions::aggregate(AggregateFunction function, SyntaxNode call,
                                     const Surroundings &surroundings) const {
  const std::size_t position = call.position();
  const std::string_view name = sql_text(function);
  if (surroundings.aggregate) {
    throw QueryError(
        fmt::format("{} in {}: an aggregate cannot be made of aggregates", name, sql_text(*surroundings.aggregate)),
        position);
  }
  refusals_.unknown_clauses(call, {"funcname", "args", "agg_star", "funcformat", "location"}, name, position);
  if (call.contains("agg_star")) {
    if (function != AggregateFunction::count) {
      throw QueryError(fmt::format("{}(*) has no meaning: only count takes *", name), position);
    }
    return {Expression::Aggregate{AggregateFunction::row_count, {}}, position};
  }
  const SyntaxNode argument = only_argument(call, "value");
  Expression::Aggregate aggregate{function, {}};
  aggregate.argument.push_back(value(argument, {surroundings.depth + 1, function}));
  return {std::move(aggregate), position};
}

SyntaxNode SqlExpressions::only_argument(SyntaxNode call, std::string_view what) const {
  if (!call.contains("args") || call.at("args").size() != 1) {
    throw QueryError(fmt::format("{} takes one {}", call.at("funcname").back().string(), what), call.position());
  }
  return call.at("args")[0];
}

Constant SqlExpressions::written_constant(SyntaxNode fields) const {
  Constant constant;
  constant.position = fields.position();
  if (fields.contains("ival")) {
    constant.kind = Constant::Kind::number;
    constant.text = integer(fields);
  } else if (fields.contains("fval")) {
    constant.kind = Constant::Kind::number;
    constant.text = fields.at("fval").at("fval").text();
  } else if (fields.contains("sval")) {
    constant.kind = Constant::Kind::string;
    const SyntaxNode string = fields.at("sval"); // without a field for the empty one
    if (string.contains("sval")) constant.text = string.at("sval").text();
  } else if (fields.contains("boolval")) {
    throw QueryError("TRUE and FALSE are not supported yet", constant.position);
  } else if (!fields.contains("isnull")) {
    throw QueryError("this kind of constant is not supported yet", constant.position);
  }
  return constant;
}

// The tree gives positive integers alone; 0 and negative ones are read from the text.
std::string SqlExpressions::integer(SyntaxNode fields) const {
  const SyntaxNode value = fields.at("ival");
  if (value.contains("ival")) return std::to_string(value.at("ival").number());
  const std::size_t position = fields.position();
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

} // namespace mipo::engine
