// The conditions of WHERE and HAVING, from the syntax tree.
#ifndef MIPO_ENGINE_SQL_CONDITIONS_H
#define MIPO_ENGINE_SQL_CONDITIONS_H

#include <functional>
#include <vector>

#include "engine/sql/ast.h"
#include "engine/sql/expressions.h"
#include "engine/sql/refusals.h"
#include "engine/sql/tree.h"

namespace mipo::engine {

class SqlConditions {
public:
  enum class Clause {
    where, ///< compares columns, and upper() or lower() of one, with constants
    having ///< compares aggregates and calculations too
  };

  /// Parses a SELECT within the condition, of which it is given the fields.
  using Select = std::function<Query(SyntaxNode fields)>;

  /// `tokens`, `expressions` and `refusals` must outlive it.
  SqlConditions(Clause clause, const SqlTokens &tokens, const SqlExpressions &expressions, const SqlRefusals &refusals,
                Select select)
      : clause_(clause), tokens_(tokens), expressions_(expressions), refusals_(refusals), select_(std::move(select)) {}

  /// Throws QueryError for what cannot be answered. `depth` counts the conditions around it.
  Condition condition(SyntaxNode node, int depth = 0) const;

private:
  Condition operator_expression(SyntaxNode node, int depth) const;
  Condition comparison(SyntaxNode fields, ComparisonOperator op, int depth) const;
  Condition like(SyntaxNode fields, bool negated, int depth) const;
  Condition in_query(SyntaxNode node, int depth) const;
  Operand side(SyntaxNode node, int depth) const;
  Operand operand(SyntaxNode node, int depth) const;
  std::vector<Constant> constants(SyntaxNode list) const;

  Clause clause_;
  const SqlTokens &tokens_;
  const SqlExpressions &expressions_;
  const SqlRefusals &refusals_;
  Select select_;
};

} // namespace mipo::engine

#endif
