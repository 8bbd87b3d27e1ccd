// All rows of a table.
#ifndef MIPO_ENGINE_RUN_TABLE_SCAN_H
#define MIPO_ENGINE_RUN_TABLE_SCAN_H

#include <vector>

#include "engine/run/operator.h"
#include "engine/run/run_context.h"
#include "mipo/host/table.h"

namespace mipo::engine {

/// Hands on the whole table as one batch. Columns of files are looked through before, several at once: throws
/// host::ColumnFileError for damaged ones.
class TableScan final : public Operator {
public:
  TableScan(const RunContext &context, const host::Table &table, std::vector<const host::EncodedColumn *> columns)
      : Operator(nullptr), context_(context), table_(table), columns_(std::move(columns)) {}

  std::optional<Batch> next() override;

private:
  const RunContext &context_;
  const host::Table &table_;
  std::vector<const host::EncodedColumn *> columns_; // that the query reads
  bool done_ = false;
};

} // namespace mipo::engine

#endif
