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
  while (std::optional<Batch> batch = input_->next()) {
    values_ = batch->values;
    if (numbers_.empty())
      numbers_ = std::move(batch->numbers());
    else
      numbers_.insert(numbers_.end(), batch->numbers().begin(), batch->numbers().end());
  }
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
