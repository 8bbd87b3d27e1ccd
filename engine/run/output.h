// The root of a tree of operators: the rows of a result and their values.
#ifndef MIPO_ENGINE_RUN_OUTPUT_H
#define MIPO_ENGINE_RUN_OUTPUT_H

#include <cstddef>
#include <memory>
#include <vector>

#include "engine/run/operator.h"

namespace mipo::engine {

class InnerQueries;

class Output {
public:
  Output(const Plan &plan, std::unique_ptr<InnerQueries> inner, std::unique_ptr<Operator> input);
  ~Output();

  /// Pulls all rows; the second time nothing. Throws QueryError for what cannot be answered, and host::Error for
  /// kernels that this build of the library does not have, and for what they report.
  void run();

  // After run():
  std::size_t rows() const { return numbers_.size(); }
  /// Of the rows of the result, in its order: of the first table, or of groups.
  const std::vector<ub4> &numbers() const { return numbers_; }
  /// Of a row in the result's order, and an output column of the plan.
  Value value(std::size_t row, std::size_t column) const;
  /// The calls of kernels: those of queries within the query first.
  std::vector<KernelProfile> profile() const;

private:
  const Plan &plan_;
  std::unique_ptr<InnerQueries> inner_;
  std::unique_ptr<Operator> input_;
  std::vector<ub4> numbers_;
  const ValueSource *values_ = nullptr;
  bool done_ = false;
};

} // namespace mipo::engine

#endif
