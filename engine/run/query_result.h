// From a parsed query to its answer: finds the tables, answers the queries within it first, plans and runs it.
#ifndef MIPO_ENGINE_RUN_QUERY_RESULT_H
#define MIPO_ENGINE_RUN_QUERY_RESULT_H

#include <functional>
#include <memory>

#include "engine/plan/plan.h"
#include "engine/run/executor.h"
#include "engine/sql/ast.h"
#include "mipo/host/library.h"

namespace mipo::engine {

/// The table that a name in FROM stands for. Throws QueryError if there is none; tables must outlive the answer.
using TableFinder = std::function<const host::Table &(const TableName &)>;

struct QueryResult {
  std::unique_ptr<const Plan> plan; ///< in one place: the answer refers to it
  Answer answer;                    ///< its steps begin with those of the queries within the query
};

/// Answers on so many threads. Throws QueryError for what cannot be answered, host::Error for what kernels report.
QueryResult answer_query(const host::Library &library, const Query &query, const TableFinder &find_table,
                         unsigned threads = 1);

} // namespace mipo::engine

#endif
