// Names of columns, as a query writes them, to columns of the tables in FROM.
#ifndef MIPO_ENGINE_BIND_COLUMN_BINDER_H
#define MIPO_ENGINE_BIND_COLUMN_BINDER_H

#include <vector>

#include "engine/bind/bound_conditions.h"
#include "engine/plan/plan.h"
#include "engine/sql/ast.h"
#include "mipo/host/table.h"

namespace mipo::engine {

/// Everything throws QueryError for what the tables do not have, and host::ColumnFileError for a column whose
/// dictionary is damaged: it is looked at when the column is first named.
class ColumnBinder {
public:
  /// `tables` are those of FROM and of the joins, in that order. Joins are added to the plan, and columns as they are
  /// named. Query, tables and plan must outlive the binder.
  ColumnBinder(const Query &query, const std::vector<const host::Table *> &tables, Plan &plan);

  /// Two names of one column give one and the same object.
  const BoundColumn &column(const ColumnName &wanted) const;
  /// The same, where nothing but a column is allowed.
  const BoundColumn &column(const Expression &expression) const;
  /// Whether some table has a column that may be meant by the name.
  bool has(const ColumnName &wanted) const;
  TestedColumn tested(const Operand &operand) const;
  /// The columns of all tables, or of the one that is named, with their own names.
  std::vector<const BoundColumn *> all_columns(const AllColumns &wanted) const;

private:
  struct InScope {
    const TableName *name;
    const host::Table *table;
    UniqueJoin *join = nullptr; // of all but the first
  };

  void join(const Join &join, const host::Table &table);
  static const host::Column *find(const InScope &scope, const ColumnName &wanted);
  const BoundColumn &row_column(const InScope &scope, const host::Column &column) const;
  const InScope &qualified(const std::string &qualifier, std::size_t position) const;
  std::string names(bool with_columns) const;

  std::vector<InScope> scopes_;
  Plan &plan_;
  bool several_;
};

/// Throws QueryError, at `position`, if upper() or lower() stands about something that is not text.
void check_letters(const BoundColumn &column, LetterCase letter_case, std::size_t position);

} // namespace mipo::engine

#endif
