#include "engine/run/output.h"

#include "engine/run/inner_queries.h"

namespace mipo::engine {

Output::Output(const Plan &plan, std::unique_ptr<InnerQueries> inner, std::unique_ptr<Operator> input)
    : plan_(plan), inner_(std::move(inner)), input_(std::move(input)) {
}

Output::~Output() = default;

void Output::run() {
  if (done_) return;
  done_ = true;
  std::optional<Batch> all = pull_all(*input_);
  if (!all) return;
  values_ = all->values;
  numbers_ = std::move(all->numbers());
}

Value Output::value(std::size_t row, std::size_t column) const {
  return values_->value(plan_.output[column].value, numbers_[row]);
}

std::vector<KernelProfile> Output::profile() const {
  std::vector<KernelProfile> calls;
  inner_->profile(calls);
  input_->profile(calls);
  return calls;
}

} // namespace mipo::engine
