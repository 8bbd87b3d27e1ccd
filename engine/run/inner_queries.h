// The queries within a query: each is answered once, when a condition first asks for its values.
#ifndef MIPO_ENGINE_RUN_INNER_QUERIES_H
#define MIPO_ENGINE_RUN_INNER_QUERIES_H

#include <memory>
#include <utility>
#include <vector>

#include "engine/plan/plan.h"
#include "engine/run/output.h"

namespace mipo::engine {

class InnerQueries {
public:
  void add(const Plan &plan, std::unique_ptr<Output> output) { outputs_.emplace_back(&plan, std::move(output)); }

  /// What the test asks of the codes of its column.
  ColumnPredicate predicate(const InQueryTest &test) const;
  /// Adds the calls of kernels so far.
  void profile(std::vector<KernelProfile> &calls) const;

private:
  std::vector<std::pair<const Plan *, std::unique_ptr<Output>>> outputs_;
};

} // namespace mipo::engine

#endif
