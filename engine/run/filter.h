// WHERE: the rows of a scan that a condition holds for, as a bit vector.
#ifndef MIPO_ENGINE_RUN_FILTER_H
#define MIPO_ENGINE_RUN_FILTER_H

#include <vector>

#include "engine/run/inner_queries.h"
#include "engine/run/operator.h"
#include "engine/run/row_condition.h"
#include "engine/run/run_context.h"
#include "engine/run/translation_join.h"

namespace mipo::engine {

/// Narrows the rows of its input to those that WHERE holds for and that have the partners that `joins`, operators below
/// it, ask for. The condition is settled once the joins have handed on their first batch.
class Filter final : public Operator {
public:
  Filter(RunContext &context, const BoundCondition *where, std::vector<const TranslationJoin *> joins,
         const InnerQueries &inner, std::unique_ptr<Operator> input)
      : Operator(std::move(input)), context_(context), where_(where), joins_(std::move(joins)), inner_(inner) {}

  std::optional<Batch> next() override;

private:
  // All: of the rows of `within`, or of all rows if it is null.
  host::Result run(const RowCondition &condition, const host::Result *within);
  host::Result test_column(const RowCondition &test, const host::Result *within);
  host::Result select(const BoundColumn &column, const KernelCall &call, const host::Result *within);
  host::Result look_up(const BoundColumn &column, const KernelCall &call, const host::Result *within);

  RunContext &context_;
  const BoundCondition *where_; // null if there is none
  std::vector<const TranslationJoin *> joins_;
  const InnerQueries &inner_;
  std::optional<host::Result> result_;
};

} // namespace mipo::engine

#endif
