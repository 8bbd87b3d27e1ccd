#include "plan.h"

#include <algorithm>
#include <variant>

#include <fmt/format.h>

#include "characters.h"
#include "column_test.h"
#include "query_error.h"

namespace mipo::tools {
namespace {

template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

// A condition whose columns are bound: negations are pushed down to the tests, and tests on one column that stand
// beside each other are one test.
struct BoundJunction;
using BoundCondition = std::variant<ColumnTest, BoundJunction>;
struct BoundJunction {
  Junction::Kind kind;
  std::vector<BoundCondition> operands;
};

class Binder {
public:
  Binder(const TableName &name, const host::Table &table) : name_(name), table_(table) {}

  const host::Column &column(const ColumnName &wanted) const;
  TestedColumn bound(const Operand &operand) const;
  void check_qualifier(const ColumnName &wanted) const;
  BoundCondition condition(const Condition &condition, bool negated) const;

private:
  BoundCondition junction(const Junction &junction, bool negated) const;

  const TableName &name_;
  const host::Table &table_;
};

void Binder::check_qualifier(const ColumnName &wanted) const {
  if (wanted.qualifier.empty()) return;
  const std::string &name = name_.alias.empty() ? name_.name : name_.alias;
  if (wanted.qualifier != name) {
    throw QueryError(fmt::format("the table {} is not in FROM, which names {}", wanted.qualifier, name),
                     wanted.position);
  }
}

const host::Column &Binder::column(const ColumnName &wanted) const {
  check_qualifier(wanted);
  if (const host::Column *exact = table_.find(wanted.name)) return *exact;
  const host::Column *found = nullptr;
  std::string names;
  for (const host::Column &column : table_.columns) {
    names += (names.empty() ? "" : ", ") + column.name;
    if (!equal_without_case(column.name, wanted.name)) continue;
    if (wanted.quoted) {
      throw QueryError(
          fmt::format("there is no column \"{}\"; without quotes it would be {}", wanted.name, column.name),
          wanted.position);
    }
    if (found != nullptr) {
      throw QueryError(fmt::format("{} may be \"{}\" or \"{}\": write the name in double quotes", wanted.name,
                                   found->name, column.name),
                       wanted.position);
    }
    found = &column;
  }
  if (found == nullptr) {
    throw QueryError(fmt::format("there is no column {}; the columns are {}{}", wanted.name, names,
                                 wanted.quoted ? " (a string constant goes between single quotes)" : ""),
                     wanted.position);
  }
  return *found;
}

TestedColumn Binder::bound(const Operand &operand) const {
  const host::Column &tested = column(operand.column);
  if (operand.letter_case != LetterCase::as_is && tested.type().kind != host::ValueKind::text) {
    throw QueryError(fmt::format("column {} has no letters: it is {}", tested.name, host::type_name(tested.type())),
                     operand.column.position);
  }
  return {&tested, operand.letter_case};
}

BoundCondition Binder::condition(const Condition &condition, bool negated) const {
  const auto test = [&](ColumnTest bound) -> BoundCondition {
    return negated ? negation(std::move(bound)) : std::move(bound);
  };
  return std::visit(
      Overloaded{
          [&](const Comparison &leaf) { return test(test_comparison(bound(leaf.operand), leaf.op, leaf.constant)); },
          [&](const Between &leaf) { return test(test_between(bound(leaf.operand), leaf)); },
          [&](const InList &leaf) { return test(test_in_list(bound(leaf.operand), leaf)); },
          [&](const Like &leaf) { return test(test_like(bound(leaf.operand), leaf)); },
          [&](const NullTest &leaf) { return test(test_is_null(column(leaf.column), leaf)); },
          [&](const Junction &node) { return junction(node, negated); },
          [&](const Negation &node) { return this->condition(node.operand.front(), !negated); },
      },
      condition.node);
}

BoundCondition Binder::junction(const Junction &node, bool negated) const {
  const bool conjunction = (node.kind == Junction::Kind::conjunction) != negated;
  BoundJunction bound{conjunction ? Junction::Kind::conjunction : Junction::Kind::disjunction, {}};
  const auto add = [&](BoundCondition &&operand) {
    if (auto *test = std::get_if<ColumnTest>(&operand)) {
      for (BoundCondition &other : bound.operands) {
        auto *neighbour = std::get_if<ColumnTest>(&other);
        if (neighbour == nullptr || neighbour->column != test->column) continue;
        *neighbour = combination(bound.kind, *neighbour, *test);
        return;
      }
    }
    bound.operands.push_back(std::move(operand));
  };
  for (const Condition &part : node.operands) {
    BoundCondition operand = condition(part, negated);
    auto *inner = std::get_if<BoundJunction>(&operand);
    if (inner == nullptr || inner->kind != bound.kind) {
      add(std::move(operand));
    } else {
      for (BoundCondition &innermost : inner->operands) add(std::move(innermost));
    }
  }
  if (bound.operands.size() == 1) return std::move(bound.operands.front());
  return bound;
}

PlanNode plan_node(const BoundCondition &condition) {
  PlanNode node;
  if (const auto *test = std::get_if<ColumnTest>(&condition)) {
    node.column = test->column;
    node.calls = kernel_calls(*test);
    node.text = test->text;
    node.joined = test->joined;
    return node;
  }
  const auto &junction = std::get<BoundJunction>(condition);
  const bool conjunction = junction.kind == Junction::Kind::conjunction;
  node.kind = conjunction ? PlanNode::Kind::all_of : PlanNode::Kind::any_of;
  node.joined = junction.kind;
  for (const BoundCondition &part : junction.operands) {
    const PlanNode &operand = node.operands.emplace_back(plan_node(part));
    if (!node.text.empty()) node.text += conjunction ? " AND " : " OR ";
    node.text += text_within(junction.kind, operand.text, operand.joined);
  }
  return node;
}

} // namespace

Plan plan_query(const Query &query, const host::Table &table) {
  const Binder binder(query.table, table);
  Plan plan;
  plan.table = &table;
  plan.limit = query.limit;
  for (const OutputItem &item : query.output) {
    using enum OutputItem::Kind;
    switch (item.kind) {
    case row_count:
      plan.output.push_back({item.name.value_or("count"), item.kind, nullptr});
      break;
    case all_columns:
      binder.check_qualifier(item.column);
      for (const host::Column &column : table.columns)
        plan.output.push_back({column.name, OutputItem::Kind::column, &column});
      break;
    case minimum:
    case maximum: {
      const host::Column &source = binder.column(item.column);
      const char *function = item.kind == minimum ? "min" : "max";
      plan.output.push_back({item.name.value_or(fmt::format("{}({})", function, source.name)), item.kind, &source});
      break;
    }
    case column: {
      const host::Column &source = binder.column(item.column);
      plan.output.push_back({item.name.value_or(source.name), item.kind, &source});
      break;
    }
    }
  }
  if (query.where) plan.where = plan_node(binder.condition(*query.where, false));
  return plan;
}

} // namespace mipo::tools
