#include "engine/run/row_condition.h"

#include <variant>

#include "engine/plan/overloaded.h"

namespace mipo::engine {
namespace {

// A condition whose tests are all on columns of the first table.
struct SettledJunction;
using SettledCondition = std::variant<ColumnPredicate, SettledJunction>;
struct SettledJunction {
  Junction::Kind kind;
  std::vector<SettledCondition> operands;
};

// Tests on one column become one test.
void add_operand(SettledJunction &junction, SettledCondition operand) {
  if (auto *inner = std::get_if<SettledJunction>(&operand); inner != nullptr && inner->kind == junction.kind) {
    for (SettledCondition &innermost : inner->operands) add_operand(junction, std::move(innermost));
    return;
  }
  if (const auto *test = std::get_if<ColumnPredicate>(&operand)) {
    for (SettledCondition &other : junction.operands) {
      auto *neighbour = std::get_if<ColumnPredicate>(&other);
      if (neighbour == nullptr || neighbour->column != test->column) continue;
      *neighbour = combination(junction.kind, *neighbour, *test);
      return;
    }
  }
  junction.operands.push_back(std::move(operand));
}

SettledCondition only_operand_of(SettledJunction junction) {
  if (junction.operands.size() == 1) return std::move(junction.operands.front());
  return junction;
}

SettledCondition settled(const BoundCondition &condition, const InnerQueries &inner) {
  return std::visit(Overloaded{
                        [](const ColumnPredicate &test) -> SettledCondition { return rewrite_to_key(test); },
                        [&](const InQueryTest &in) -> SettledCondition {
                          ColumnPredicate test = rewrite_to_key(inner.predicate(in));
                          return condition.negated ? negation(std::move(test)) : std::move(test);
                        },
                        [&](const BoundJunction &bound) {
                          SettledJunction junction{bound.kind, {}};
                          for (const BoundCondition &operand : bound.operands)
                            add_operand(junction, settled(operand, inner));
                          return only_operand_of(std::move(junction));
                        },
                    },
                    condition.node);
}

RowCondition in_kernel_calls(const SettledCondition &condition) {
  RowCondition made;
  if (const auto *test = std::get_if<ColumnPredicate>(&condition)) {
    made.column = test->column;
    made.calls = kernel_calls(*test);
    made.text = test->text;
    made.joined = test->joined;
    return made;
  }
  const auto &junction = std::get<SettledJunction>(condition);
  const bool conjunction = junction.kind == Junction::Kind::conjunction;
  made.kind = conjunction ? RowCondition::Kind::all_of : RowCondition::Kind::any_of;
  made.joined = junction.kind;
  for (const SettledCondition &part : junction.operands) {
    const RowCondition &operand = made.operands.emplace_back(in_kernel_calls(part));
    if (!made.text.empty()) made.text += conjunction ? " AND " : " OR ";
    made.text += text_within(junction.kind, operand.text, operand.joined);
  }
  return made;
}

} // namespace

std::optional<RowCondition> row_condition(const BoundCondition *where, std::vector<ColumnPredicate> tests,
                                          const InnerQueries &inner) {
  SettledJunction all{Junction::Kind::conjunction, {}};
  if (where != nullptr) add_operand(all, settled(*where, inner));
  for (ColumnPredicate &test : tests) add_operand(all, std::move(test));
  if (all.operands.empty()) return std::nullopt;
  return in_kernel_calls(only_operand_of(std::move(all)));
}

} // namespace mipo::engine
