#include "engine/query_result.h"

#include "engine/run/operator_tree.h"

namespace mipo::engine {

QueryResult::QueryResult(const host::Library &library, const Query &query, const TableFinder &find_table,
                         unsigned threads)
    : plan_(std::make_unique<const Plan>(plan_query(query, find_table))),
      context_(new RunContext{library, threads}),
      output_(operator_tree(*context_, *plan_)) {
  output_->run();
}

} // namespace mipo::engine
