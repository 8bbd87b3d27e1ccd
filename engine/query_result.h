// From a parsed query to its answer.
#ifndef MIPO_ENGINE_QUERY_RESULT_H
#define MIPO_ENGINE_QUERY_RESULT_H

#include <memory>

#include "engine/bind/plan_query.h"
#include "engine/plan/plan.h"
#include "engine/run/output.h"
#include "engine/run/run_context.h"
#include "engine/sql/ast.h"
#include "mipo/host/library.h"

namespace mipo::engine {

/// An answered query. The tables must outlive it.
class QueryResult {
public:
  /// Plans the query and runs it on so many threads; the answer does not depend on how many. Throws QueryError for what
  /// cannot be answered, host::Error for what kernels report.
  QueryResult(const host::Library &library, const Query &query, const TableFinder &find_table, unsigned threads = 1);

  const Plan &plan() const { return *plan_; }
  const Output &output() const { return *output_; }

private:
  std::unique_ptr<const Plan> plan_; // in one place: the operators refer to it, and to the context
  std::unique_ptr<RunContext> context_;
  std::unique_ptr<Output> output_;
};

} // namespace mipo::engine

#endif
