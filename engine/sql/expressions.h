// Columns, constants, aggregates and calculations with them, from the syntax tree.
#ifndef MIPO_ENGINE_SQL_EXPRESSIONS_H
#define MIPO_ENGINE_SQL_EXPRESSIONS_H

#include <optional>
#include <string>
#include <string_view>

#include "engine/sql/ast.h"
#include "engine/sql/refusals.h"
#include "engine/sql/tokens.h"
#include "engine/sql/tree.h"

namespace mipo::engine {

/// Refuses what is nested deeper than `depth` may get: the steps after the parser walk it recursively. `what` names
/// it.
void check_nesting(int depth, std::string_view what, std::size_t position);

/// Whether the node is * or table.*
bool is_star(SyntaxNode node);

/// Everything throws QueryError for nodes of other kinds.
class SqlExpressions {
public:
  /// Both must outlive it.
  SqlExpressions(const SqlTokens &tokens, const SqlRefusals &refusals) : tokens_(tokens), refusals_(refusals) {}

  ColumnName column(SyntaxNode node) const;
  AllColumns all_columns(SyntaxNode node) const;

  /// With or without a sign.
  Constant constant(SyntaxNode node) const;

  /// `depth` counts what the expression is nested in.
  Expression expression(SyntaxNode node, int depth = 0) const;
  /// The same, or a string constant, which can be compared with but nothing else.
  Expression expression_or_string(SyntaxNode node, int depth = 0) const;

  /// The one argument of a call that takes no more than that: `what` names what it takes.
  SyntaxNode only_argument(SyntaxNode call, std::string_view what) const;

private:
  struct Surroundings {
    int depth;
    std::optional<AggregateFunction> aggregate; // that it is an argument of
  };
  Expression value(SyntaxNode node, const Surroundings &surroundings) const;
  Expression any(SyntaxNode node, const Surroundings &surroundings) const;
  Expression calculation(SyntaxNode node, const Surroundings &surroundings) const;
  Expression aggregate(AggregateFunction function, SyntaxNode call, const Surroundings &surroundings) const;
  Constant written_constant(SyntaxNode fields) const;
  std::string integer(SyntaxNode fields) const;
  std::string qualifier(SyntaxNode names, std::size_t position) const;

  const SqlTokens &tokens_;
  const SqlRefusals &refusals_;
};

} // namespace mipo::engine

#endif
