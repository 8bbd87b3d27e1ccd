// Names of columns, as a query writes them, to columns of the table.
#ifndef MIPO_TOOLS_COLUMN_BINDER_H
#define MIPO_TOOLS_COLUMN_BINDER_H

#include <optional>

#include "column_test.h"
#include "mipo/host/table.h"
#include "query.h"

namespace mipo::tools {

/// Name and table must outlive it. Everything throws QueryError for what the table does not have, and
/// host::ColumnFileError for a column whose bytes are damaged: they are looked at when the column is first named.
class ColumnBinder {
public:
  ColumnBinder(const TableName &name, const host::Table &table) : name_(name), table_(table) {}

  const host::Column &column(const ColumnName &wanted) const;
  /// The same, where nothing but a column is allowed.
  const host::Column &column(const Expression &expression) const;
  /// Whether the table has a column that may be meant by the name.
  bool has(const ColumnName &wanted) const;
  TestedColumn tested(const Operand &operand) const;
  void check_qualifier(const std::string &qualifier, std::size_t position) const;
  const host::Table &table() const { return table_; }

private:
  const host::Column &find(const ColumnName &wanted) const;

  const TableName &name_;
  const host::Table &table_;
};

/// Throws QueryError, at `position`, if upper() or lower() stands about something that is not text.
void check_letters(const host::Column &column, LetterCase letter_case, std::size_t position);

} // namespace mipo::tools

#endif
