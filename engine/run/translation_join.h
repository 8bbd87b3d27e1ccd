// A join to a table whose join column has no value twice: what a row has there hangs on the code of its key alone, and
// is found once for each code.
#ifndef MIPO_ENGINE_RUN_TRANSLATION_JOIN_H
#define MIPO_ENGINE_RUN_TRANSLATION_JOIN_H

#include <optional>

#include "engine/plan/code_map.h"
#include "engine/plan/condition.h"
#include "engine/run/operator.h"
#include "engine/run/run_context.h"

namespace mipo::engine {

/// Hands on the rows of its input as they are, once it has read the joined table and filled in the plan's columns of
/// it. Rows without the partner that they need are left to the filter above, which drops them together with those that
/// other tests on the key drop. Throws QueryError if a value of the join column is there twice.
class TranslationJoin final : public Operator {
public:
  TranslationJoin(RunContext &context, const UniqueJoin &join, std::unique_ptr<Operator> input,
                  std::unique_ptr<Operator> joined_table)
      : Operator(std::move(input)), context_(context), join_(join), joined_table_(std::move(joined_table)) {}

  std::optional<Batch> next() override;

  /// The test, on the key, for rows that have the partner they need; nothing if all have. After the first batch.
  std::optional<ColumnPredicate> partner_test() const;

private:
  void find_rows();
  void fill_in(BoundColumn &column) const;

  RunContext &context_;
  const UniqueJoin &join_;
  std::unique_ptr<Operator> joined_table_; // null once it has been read
  CodeMap<ub4> row_by_code_;               // of the key
};

} // namespace mipo::engine

#endif
