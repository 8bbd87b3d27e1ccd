#include "engine/bind/result_binder.h"

#include <algorithm>

#include <fmt/format.h>

#include "engine/plan/overloaded.h"
#include "engine/sql/characters.h"
#include "engine/sql/query_error.h"

namespace mipo::engine {
namespace {

bool binds_tighter(ArithmeticOperator op) {
  return op == ArithmeticOperator::multiply;
}

bool has_aggregate(const Expression &expression) {
  return std::visit(Overloaded{[](const ColumnName &) { return false; }, [](const Constant &) { return false; },
                               [](const Expression::Aggregate &) { return true; },
                               [](const Expression::Arithmetic &calculation) {
                                 return std::any_of(calculation.operands.begin(), calculation.operands.end(),
                                                    has_aggregate);
                               }},
                    expression.node);
}

class ResultBinder {
public:
  ResultBinder(const Query &query, const ColumnBinder &columns, const InnerQuery &inner, Plan &plan)
      : query_(query), columns_(columns), inner_(inner), plan_(plan) {}

  void bind();

private:
  void bind_groups();
  void bind_output();
  void bind_distinct();
  void bind_order();
  void add_key(const BoundColumn &column);
  const Expression &output_expression(const OutputPosition &wanted) const;
  const Expression *output_named(const ColumnName &name) const;
  const Expression &resolve_alias(const Expression &written) const;
  BoundExpression expression(const Expression &expression);
  BoundExpression column(const BoundColumn &column, std::size_t position);
  BoundExpression aggregate(const Expression &written, const Expression::Aggregate &call);
  BoundExpression row_value(const Expression &expression);
  std::string text(const BoundExpression &expression) const;
  std::string operand_text(const BoundExpression &operand, ArithmeticOperator outer, bool right) const;
  ResultCondition condition(const Condition &condition);
  ResultCondition test(const Operand &operand, auto coded, auto number);
  const BoundColumn *coded_column(const BoundExpression &value) const;
  ResultCondition comparison(const BoundExpression &value, ComparisonOperator op, const Constant &constant);

  const Query &query_;
  const ColumnBinder &columns_;
  const InnerQuery &inner_;
  Plan &plan_;
  bool in_aggregate_ = false;
};

void ResultBinder::bind() {
  plan_.grouped = !query_.group_by.empty() || query_.having ||
                  std::any_of(query_.output.begin(), query_.output.end(),
                              [](const OutputItem &item) {
                                const auto *value = std::get_if<Expression>(&item.value);
                                return value != nullptr && has_aggregate(*value);
                              }) ||
                  std::any_of(query_.order_by.begin(), query_.order_by.end(), [](const OrderItem &item) {
                    const auto *value = std::get_if<Expression>(&item.value);
                    return value != nullptr && has_aggregate(*value);
                  });
  plan_.limit = query_.limit;
  plan_.offset = query_.offset;
  bind_groups();
  bind_output();
  if (query_.having) plan_.having = condition(*query_.having);
  bind_order();
  if (query_.distinct) bind_distinct();
}

void ResultBinder::add_key(const BoundColumn &column) {
  if (std::find(plan_.keys.begin(), plan_.keys.end(), &column) == plan_.keys.end()) plan_.keys.push_back(&column);
}

void ResultBinder::bind_groups() {
  for (const GroupItem &item : query_.group_by) {
    const Expression *value = std::get_if<Expression>(&item);
    if (value == nullptr) value = &output_expression(std::get<OutputPosition>(item));
    value = &resolve_alias(*value);
    const auto *name = std::get_if<ColumnName>(&value->node);
    if (has_aggregate(*value)) throw QueryError("GROUP BY cannot take an aggregate", value->position);
    if (name == nullptr) {
      throw QueryError("GROUP BY takes columns: calculations are not supported there yet", value->position);
    }
    add_key(columns_.column(*name));
  }
}

// A position counts the output's columns as they are written: with * there are more.
const Expression &ResultBinder::output_expression(const OutputPosition &wanted) const {
  if (wanted.number == 0 || wanted.number > query_.output.size()) {
    throw QueryError(fmt::format("there is no output column {}: the query has {}", wanted.number, query_.output.size()),
                     wanted.position);
  }
  for (std::size_t i = 0; i < wanted.number; ++i) {
    if (std::holds_alternative<AllColumns>(query_.output[i].value)) {
      throw QueryError("an output column after * has no number: write its name", wanted.position);
    }
  }
  return std::get<Expression>(query_.output[wanted.number - 1].value);
}

const Expression *ResultBinder::output_named(const ColumnName &name) const {
  for (const OutputItem &item : query_.output) {
    const auto *value = std::get_if<Expression>(&item.value);
    if (value == nullptr || !item.name) continue;
    if (name.quoted ? *item.name == name.name : equal_without_case(*item.name, name.name)) return value;
  }
  return nullptr;
}

// What the name of an output column stands for, where the table has no column of that name; else what is written.
const Expression &ResultBinder::resolve_alias(const Expression &written) const {
  const auto *name = std::get_if<ColumnName>(&written.node);
  if (name == nullptr || !name->qualifier.empty() || columns_.has(*name)) return written;
  const Expression *named = output_named(*name);
  return named != nullptr ? *named : written;
}

void ResultBinder::bind_output() {
  for (const OutputItem &item : query_.output) {
    if (const auto *all = std::get_if<AllColumns>(&item.value)) {
      for (const BoundColumn *each : columns_.all_columns(*all))
        plan_.output.push_back({each->values->name, column(*each, all->position)});
      continue;
    }
    const auto &written = std::get<Expression>(item.value);
    BoundExpression value = expression(written);
    const bool counts = value.kind == BoundExpression::Kind::aggregate &&
                        plan_.aggregates[value.index].function == AggregateFunction::row_count;
    const bool is_column = value.kind == BoundExpression::Kind::column;
    std::string name = item.name ? *item.name : counts ? "count" : is_column ? value.column->values->name : text(value);
    plan_.output.push_back({std::move(name), std::move(value)});
  }
}

// Rows without duplicates are groups, as long as they are made of columns.
void ResultBinder::bind_distinct() {
  for (const SortKey &key : plan_.order) {
    const bool selected = std::any_of(plan_.output.begin(), plan_.output.end(),
                                      [&](const PlannedColumn &planned) { return planned.value == key.value; });
    if (!selected) throw QueryError("with DISTINCT, ORDER BY takes what stands after SELECT");
  }
  const bool columns_alone = std::all_of(plan_.output.begin(), plan_.output.end(), [](const PlannedColumn &planned) {
    return planned.value.kind == BoundExpression::Kind::column;
  });
  if (plan_.grouped || !columns_alone) {
    plan_.distinct = true;
    return;
  }
  plan_.grouped = true;
  for (const PlannedColumn &planned : plan_.output) add_key(*planned.value.column);
  const auto number_key = [&](BoundExpression &value) {
    value.index =
        static_cast<std::size_t>(std::find(plan_.keys.begin(), plan_.keys.end(), value.column) - plan_.keys.begin());
  };
  for (PlannedColumn &planned : plan_.output) number_key(planned.value);
  for (SortKey &key : plan_.order) number_key(key.value);
}

void ResultBinder::bind_order() {
  for (const OrderItem &item : query_.order_by) {
    SortKey key;
    if (const auto *position = std::get_if<OutputPosition>(&item.value)) {
      if (position->number == 0 || position->number > plan_.output.size()) {
        throw QueryError(
            fmt::format("there is no output column {}: the query has {}", position->number, plan_.output.size()),
            position->position);
      }
      key.value = plan_.output[position->number - 1].value;
    } else {
      const auto &written = std::get<Expression>(item.value);
      const auto *name = std::get_if<ColumnName>(&written.node);
      const Expression *named = name != nullptr && name->qualifier.empty() ? output_named(*name) : nullptr;
      key.value = expression(named != nullptr ? *named : written);
    }
    key.descending = item.descending;
    key.nulls_first = item.nulls_first.value_or(!item.descending);
    plan_.order.push_back(std::move(key));
  }
}

BoundExpression ResultBinder::expression(const Expression &written) {
  return std::visit(Overloaded{
                        [&](const ColumnName &name) { return column(columns_.column(name), name.position); },
                        [&](const Constant &constant) {
                          BoundExpression bound;
                          bound.kind = BoundExpression::Kind::constant;
                          if (constant.kind != Constant::Kind::null) bound.constant = number_value(constant);
                          return bound;
                        },
                        [&](const Expression::Arithmetic &calculation) {
                          BoundExpression bound;
                          bound.kind = BoundExpression::Kind::arithmetic;
                          bound.op = calculation.op;
                          for (const Expression &operand : calculation.operands) {
                            bound.operands.push_back(expression(operand));
                            if (is_number(bound.operands.back(), plan_)) continue;
                            const BoundExpression &other = bound.operands.back();
                            throw QueryError(fmt::format("{} is not a number: it cannot be calculated with{}",
                                                         text(other),
                                                         number_hint(*source_column(other, plan_)->values)),
                                             operand.position);
                          }
                          return bound;
                        },
                        [&](const Expression::Aggregate &call) { return aggregate(written, call); },
                    },
                    written.node);
}

BoundExpression ResultBinder::column(const BoundColumn &column, std::size_t position) {
  BoundExpression bound;
  bound.column = &column;
  if (!plan_.grouped || in_aggregate_) return bound;
  const auto key = std::find(plan_.keys.begin(), plan_.keys.end(), bound.column);
  if (key == plan_.keys.end()) {
    throw QueryError(fmt::format("column {} must stand in GROUP BY or in an aggregate", bound.column->name), position);
  }
  bound.index = static_cast<std::size_t>(key - plan_.keys.begin());
  return bound;
}

BoundExpression ResultBinder::row_value(const Expression &written) {
  in_aggregate_ = true;
  BoundExpression value = expression(written);
  in_aggregate_ = false;
  return value;
}

BoundExpression ResultBinder::aggregate(const Expression &written, const Expression::Aggregate &call) {
  PlannedAggregate planned;
  planned.function = call.function;
  if (!call.argument.empty()) planned.argument = row_value(call.argument.front());
  const bool adds = call.function == AggregateFunction::sum || call.function == AggregateFunction::average;
  if (adds && !is_number(*planned.argument, plan_)) {
    const host::Column &column = *planned.argument->column->values;
    throw QueryError(fmt::format("{} needs numbers: {} is {}{}", sql_text(call.function), text(*planned.argument),
                                 host::type_name(column.type()), number_hint(column)),
                     written.position);
  }
  planned.text = fmt::format("{}({})", sql_text(call.function), planned.argument ? text(*planned.argument) : "*");
  BoundExpression bound;
  bound.kind = BoundExpression::Kind::aggregate;
  const auto same = std::find(plan_.aggregates.begin(), plan_.aggregates.end(), planned);
  bound.index = static_cast<std::size_t>(same - plan_.aggregates.begin());
  if (same == plan_.aggregates.end()) plan_.aggregates.push_back(std::move(planned));
  return bound;
}

// Names a column of the output, and stands in explanations and messages.
std::string ResultBinder::text(const BoundExpression &value) const {
  switch (value.kind) {
  case BoundExpression::Kind::column:
    return value.column->name;
  case BoundExpression::Kind::aggregate:
    return plan_.aggregates[value.index].text;
  case BoundExpression::Kind::constant: {
    std::string number;
    value.constant.append_to(number);
    return value.constant.is_null() ? "NULL" : number;
  }
  case BoundExpression::Kind::arithmetic:
    break;
  }
  return fmt::format("{} {} {}", operand_text(value.operands[0], value.op, false), sql_text(value.op),
                     operand_text(value.operands[1], value.op, true));
}

// Operators of one rank are taken from the left: the right operand keeps its parentheses.
std::string ResultBinder::operand_text(const BoundExpression &operand, ArithmeticOperator outer, bool right) const {
  const bool parentheses =
      operand.kind == BoundExpression::Kind::arithmetic &&
      (right ? !binds_tighter(operand.op) || binds_tighter(outer) : !binds_tighter(operand.op) && binds_tighter(outer));
  return parentheses ? fmt::format("({})", text(operand)) : text(operand);
}

// The column whose values a value is one of, if any.
const BoundColumn *ResultBinder::coded_column(const BoundExpression &value) const {
  return source_column(value, plan_);
}

ResultCondition ResultBinder::comparison(const BoundExpression &value, ComparisonOperator op,
                                         const Constant &constant) {
  if (constant.kind == Constant::Kind::string) {
    throw QueryError(fmt::format("{} is a number: it cannot be compared with a string", text(value)),
                     constant.position);
  }
  ResultCondition bound;
  bound.kind = ResultCondition::Kind::comparison;
  bound.value = value;
  bound.op = op;
  if (constant.kind == Constant::Kind::number) bound.number = number_value(constant);
  return bound;
}

// A test by codes where the value is a column's, else one of numbers.
ResultCondition ResultBinder::test(const Operand &operand, auto coded, auto number) {
  const BoundExpression value = expression(resolve_alias(operand.value));
  if (const BoundColumn *source = coded_column(value)) {
    check_letters(*source, operand.letter_case, operand.value.position);
    ResultCondition bound;
    bound.value = value;
    bound.test = coded(TestedColumn{source, operand.letter_case});
    return bound;
  }
  if (operand.letter_case != LetterCase::as_is) {
    throw QueryError(fmt::format("{} has no letters: it is a number", text(value)), operand.value.position);
  }
  return number(value);
}

ResultCondition junction_of(ResultCondition::Kind kind, std::vector<ResultCondition> operands) {
  ResultCondition bound;
  bound.kind = kind;
  bound.operands = std::move(operands);
  return bound;
}

ResultCondition negated_if(bool negated, ResultCondition condition) {
  if (!negated) return condition;
  std::vector<ResultCondition> operand;
  operand.push_back(std::move(condition));
  return junction_of(ResultCondition::Kind::negation, std::move(operand));
}

ResultCondition ResultBinder::condition(const Condition &written) {
  using Kind = ResultCondition::Kind;
  return std::visit(
      Overloaded{
          [&](const Comparison &leaf) {
            return test(
                leaf.operand,
                [&](const TestedColumn &tested) { return test_comparison(tested, leaf.op, leaf.constant); },
                [&](const BoundExpression &value) { return comparison(value, leaf.op, leaf.constant); });
          },
          [&](const Between &leaf) {
            return test(
                leaf.operand, [&](const TestedColumn &tested) { return test_between(tested, leaf); },
                [&](const BoundExpression &value) {
                  std::vector<ResultCondition> ends;
                  ends.push_back(comparison(value, ComparisonOperator::greater_equal, leaf.low));
                  ends.push_back(comparison(value, ComparisonOperator::less_equal, leaf.high));
                  return negated_if(leaf.negated, junction_of(Kind::all_of, std::move(ends)));
                });
          },
          [&](const InList &leaf) {
            return test(
                leaf.operand, [&](const TestedColumn &tested) { return test_in_list(tested, leaf); },
                [&](const BoundExpression &value) {
                  std::vector<ResultCondition> members;
                  for (const Constant &member : leaf.members)
                    members.push_back(comparison(value, ComparisonOperator::equal, member));
                  return negated_if(leaf.negated, junction_of(Kind::any_of, std::move(members)));
                });
          },
          [&](const InQuery &leaf) {
            return test(
                leaf.operand, [&](const TestedColumn &tested) { return inner_(tested, leaf); },
                [&](const BoundExpression &value) -> ResultCondition {
                  throw QueryError(fmt::format("{} is calculated: IN with a sub-select takes a column", text(value)),
                                   leaf.operand.value.position);
                });
          },
          [&](const Like &leaf) {
            return test(
                leaf.operand, [&](const TestedColumn &tested) { return test_like(tested, leaf); },
                [&](const BoundExpression &value) -> ResultCondition {
                  throw QueryError(fmt::format("LIKE needs text: {} is a number", text(value)),
                                   leaf.operand.value.position);
                });
          },
          [&](const NullTest &leaf) {
            ResultCondition bound;
            bound.kind = Kind::null_test;
            bound.value = expression(resolve_alias(leaf.value));
            return negated_if(leaf.negated, std::move(bound));
          },
          [&](const Junction &node) {
            std::vector<ResultCondition> operands;
            for (const Condition &operand : node.operands) operands.push_back(condition(operand));
            return junction_of(node.kind == Junction::Kind::conjunction ? Kind::all_of : Kind::any_of,
                               std::move(operands));
          },
          [&](const Negation &node) { return negated_if(true, condition(node.operand.front())); },
      },
      written.node);
}

} // namespace

void bind_result(const Query &query, const ColumnBinder &columns, const InnerQuery &inner, Plan &plan) {
  ResultBinder(query, columns, inner, plan).bind();
}

} // namespace mipo::engine
