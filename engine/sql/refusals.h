// What of SQL is refused, by name and place. The syntax tree is walked strictly: a field that nobody expects is
// refused too, so that no clause of a query is ever passed over in silence.
#ifndef MIPO_ENGINE_SQL_REFUSALS_H
#define MIPO_ENGINE_SQL_REFUSALS_H

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

#include "engine/sql/tokens.h"
#include "engine/sql/tree.h"

namespace mipo::engine {

class SqlRefusals {
public:
  SqlRefusals(std::string_view query, const SqlTokens &tokens) : query_(query), tokens_(tokens) {}

  /// The parser's own error; `cursor` counts characters from 1.
  [[noreturn]] void syntax_error(std::string_view message, int cursor) const;

  /// A statement that is not SELECT.
  [[noreturn]] void statement(const std::string &type) const;

  /// Refuses the first clause, in the order of the text, of a SELECT or of a call (`what`) that is not in `known`.
  /// `start` is the position that the clauses stand after.
  void unknown_clauses(SyntaxNode fields, std::initializer_list<std::string_view> known, std::string_view what,
                       std::size_t start = 0) const;

  /// Refuses an entry of FROM that is not a table's name.
  [[noreturn]] void from_entry(SyntaxNode node) const;

  /// Refuses what a join has beside two tables and a condition, and joins that keep rows of the second table.
  void unknown_join(SyntaxNode fields) const;

  /// An unquoted file name in FROM, which the parser takes for a schema and a table.
  [[noreturn]] void unquoted_path(std::size_t position) const;

  /// Refuses an expression, by what kind of expression it is.
  [[noreturn]] void expression(SyntaxNode node) const;

  /// Refuses any field of `fields` that is not in `known`, saying that `what` is not supported with it.
  static void unknown_fields(SyntaxNode fields, std::initializer_list<std::string_view> known, std::string_view what);

private:
  std::string unquoted_path_hint(std::size_t position) const;

  std::string_view query_;
  const SqlTokens &tokens_;
};

} // namespace mipo::engine

#endif
