// Selected rows by number, for results that have a row for each of them.
#ifndef MIPO_ENGINE_RUN_ROW_NUMBERS_H
#define MIPO_ENGINE_RUN_ROW_NUMBERS_H

#include <vector>

#include "engine/plan/bound_column.h"
#include "engine/run/operator.h"
#include "engine/run/run_context.h"
#include "engine/run/translation.h"

namespace mipo::engine {

/// Hands on the numbers of the rows that its input selects, ascending, in batches.
class RowNumbers final : public Operator {
public:
  /// `columns` are those whose values are read later: they are decompressed.
  RowNumbers(RunContext &context, std::vector<const host::EncodedColumn *> columns, std::unique_ptr<Operator> input)
      : Operator(std::move(input)), context_(context), columns_(std::move(columns)) {}
  std::optional<Batch> next() override;

private:
  void start();
  std::vector<ub4> next_numbers();

  // Values of rows by their codes; without joined columns.
  class StoredValues final : public ValueSource {
    Value read(const BoundExpression &expression, ub4 number) const override;
  };

  RunContext &context_;
  std::vector<const host::EncodedColumn *> columns_;
  StoredValues values_;
  std::optional<Batch> source_;
  std::optional<host::RowNumberCursor> numbers_;
};

/// Looks up what the rows of its input have in joined columns. Takes all of its input at once.
class JoinedValues final : public Operator {
public:
  JoinedValues(RunContext &context, std::vector<const BoundColumn *> joined, std::unique_ptr<Operator> input)
      : Operator(std::move(input)), context_(context), joined_(std::move(joined)), values_(*this) {}
  std::optional<Batch> next() override;

private:
  class Values final : public ValueSource {
  public:
    explicit Values(const JoinedValues &of) : of_(of) {}

  private:
    Value read(const BoundExpression &expression, ub4 number) const override;
    const JoinedValues &of_;
  };

  RunContext &context_;
  std::vector<const BoundColumn *> joined_;
  MaterializedColumns materialized_;
  Values values_;
};

} // namespace mipo::engine

#endif
