// GROUP BY and aggregates, by the kernels for group keys, codes, arithmetic and group sums.
#ifndef MIPO_ENGINE_RUN_GROUP_H
#define MIPO_ENGINE_RUN_GROUP_H

#include <memory>

#include "engine/run/operator.h"
#include "engine/run/run_context.h"

namespace mipo::engine {

/// Hands on the numbers of the groups that have rows, in one batch, ascending in their keys. Takes the selected rows of
/// one table, in one batch. They go through in chunks that stay in the caches, split among threads: a chunk's group
/// numbers, then for each argument its values, added up by group. Throws QueryError for more groups, or greater
/// numbers, than there can be.
class Group final : public Operator {
public:
  Group(RunContext &context, const Plan &plan, std::unique_ptr<Operator> input)
      : Operator(std::move(input)), context_(context), plan_(plan) {}

  std::optional<Batch> next() override;

private:
  RunContext &context_;
  const Plan &plan_;
  std::unique_ptr<ValueSource> groups_; // null until all rows have been taken
};

} // namespace mipo::engine

#endif
