// The conditions of WHERE and HAVING, from the syntax tree.
#ifndef MIPO_TOOLS_SQL_CONDITIONS_H
#define MIPO_TOOLS_SQL_CONDITIONS_H

#include <functional>
#include <vector>

#include "query.h"
#include "sql_expressions.h"
#include "sql_refusals.h"
#include "sql_tree.h"

namespace mipo::tools {

class SqlConditions {
public:
  enum class Clause {
    where, ///< compares columns, and upper() or lower() of one, with constants
    having ///< compares aggregates and calculations too
  };

  /// Parses a SELECT within the condition, of which it is given the fields.
  using Select = std::function<Query(const nlohmann::json &fields)>;

  /// `tokens`, `expressions` and `refusals` must outlive it.
  SqlConditions(Clause clause, const SqlTokens &tokens, const SqlExpressions &expressions, const SqlRefusals &refusals,
                Select select)
      : clause_(clause), tokens_(tokens), expressions_(expressions), refusals_(refusals), select_(std::move(select)) {}

  /// Throws QueryError for what cannot be answered. `depth` counts the conditions around it.
  Condition condition(const nlohmann::json &node, int depth = 0) const;

private:
  Condition operator_expression(const nlohmann::json &node, int depth) const;
  Condition comparison(const nlohmann::json &fields, ComparisonOperator op, int depth) const;
  Condition like(const nlohmann::json &fields, bool negated, int depth) const;
  Condition in_query(const nlohmann::json &node, int depth) const;
  Operand side(const nlohmann::json &node, int depth) const;
  Operand operand(const nlohmann::json &node, int depth) const;
  std::vector<Constant> constants(const nlohmann::json &list) const;

  Clause clause_;
  const SqlTokens &tokens_;
  const SqlExpressions &expressions_;
  const SqlRefusals &refusals_;
  Select select_;
};

} // namespace mipo::tools

#endif
