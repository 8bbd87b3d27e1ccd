#include "executor.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <limits>

#include <fmt/format.h>

#include "mipo/host/context.h"

namespace mipo::tools {
namespace {

// When a call looks at the selected rows alone: one of them takes as long as this many bytes of codes in the block
// path. Measured at the level avx2 with codes of 8, 16 and 32 bits, 300 thousand and 3 million of them; the selective
// call then wins below one row in 512, 256 and 128.
constexpr ub8 bytes_per_selected_row = 512;

class Stopwatch {
public:
  double seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_ = Clock::now();
};

bool is_two_sided(mipo_operation operation) {
  return operation >= MIPO_OP_GT_LT && operation <= MIPO_OP_GE_LE;
}

Step entry_step(const char *name, std::size_t byte_in_record, const std::string &condition) {
  Step step;
  step.name = name;
  step.key = static_cast<ub4>(byte_in_record / sizeof(void *));
  step.is_entry = true;
  step.condition = condition;
  return step;
}

class Executor {
public:
  Executor(const host::Library &library, const host::Table &table)
      : library_(library), rows_(table.row_count), context_(library) {}

  /// The rows of `node` among those of `within` (null: all rows).
  host::Result run(const PlanNode &node, const host::Result *within);
  /// The numbers of the first `limit` rows of `result`.
  void read_rows(const host::Result &result, Answer &answer, ub8 limit);
  std::vector<Step> take_steps() { return std::move(steps_); }

private:
  host::Result test_column(const PlanNode &node, const host::Result *within);
  host::Result call(const host::Column &column, const KernelCall &call, const host::Result *within);
  void unite(host::Result &result, const host::Result &other, const std::string &condition);

  const host::Library &library_;
  ub4 rows_;
  host::CallContext context_;
  std::vector<Step> steps_;
};

host::Result Executor::run(const PlanNode &node, const host::Result *within) {
  switch (node.kind) {
  case PlanNode::Kind::column_test:
    return test_column(node, within);
  case PlanNode::Kind::all_of: {
    host::Result result = run(node.operands.front(), within);
    for (std::size_t i = 1; i < node.operands.size(); ++i) result = run(node.operands[i], &result);
    return result;
  }
  case PlanNode::Kind::any_of:
    break;
  }
  host::Result result = run(node.operands.front(), within);
  for (std::size_t i = 1; i < node.operands.size(); ++i) unite(result, run(node.operands[i], within), node.text);
  return result;
}

host::Result Executor::test_column(const PlanNode &node, const host::Result *within) {
  host::Result result = call(*node.column, node.calls.front(), within);
  for (std::size_t i = 1; i < node.calls.size(); ++i) {
    unite(result, call(*node.column, node.calls[i], within), node.text);
  }
  return result;
}

host::Result Executor::call(const host::Column &column, const KernelCall &call, const host::Result *within) {
  Step step;
  step.key = column.data.key(call.operation);
  step.name = host::kernel_name(step.key);
  step.condition = call.text;
  step.rows_in = within != nullptr ? within->count() : rows_;
  const ub8 code_bytes = ub8{rows_} * static_cast<ub8>(column.data.bits()) / 8;
  step.selective = within != nullptr && step.rows_in * bytes_per_selected_row < code_bytes;
  step.rows_read = step.selective ? step.rows_in : rows_;
  if (within != nullptr)
    context_.select(within->bits(), step.selective);
  else
    context_.select_all();

  host::Result result(rows_);
  const host::Constant lo(call.lo), hi(call.hi);
  const mipo_vec *const source = &column.data.vec();
  ub4 code = 0;
  if (is_two_sided(call.operation)) {
    const auto kernel = library_.two_sided(step.key);
    const Stopwatch stopwatch;
    code = kernel(result.vec(), source, &lo.vec(), &hi.vec(), context_.record());
    step.seconds = stopwatch.seconds();
  } else {
    const auto kernel = library_.one_sided(step.key);
    const Stopwatch stopwatch;
    code = kernel(result.vec(), source, &lo.vec(), context_.record());
    step.seconds = stopwatch.seconds();
  }
  context_.throw_if_reported();
  if (code != MIPO_DONE && code != MIPO_EMPTY) {
    throw host::Error(fmt::format("{} answered {}: {}", step.name, host::code_name(code), host::code_text(code)));
  }
  step.rows_out = result.count();
  steps_.push_back(std::move(step));
  return result;
}

void Executor::unite(host::Result &result, const host::Result &other, const std::string &condition) {
  Step step = entry_step("mipo_lbiwvor_dydi", offsetof(mipo_specialized_ctx, mipo_lbiwvor_dydi), condition);
  step.rows_in = ub8{result.count()} + other.count();
  step.rows_read = rows_;
  const auto bits_or = host::entry(library_, &mipo_specialized_ctx::mipo_lbiwvor_dydi);
  const Stopwatch stopwatch;
  bits_or(result.vec()->bv, &result.vec()->nset, result.vec()->bv, other.bits().words(), rows_);
  step.seconds = stopwatch.seconds();
  step.rows_out = result.count();
  steps_.push_back(std::move(step));
}

void Executor::read_rows(const host::Result &result, Answer &answer, ub8 limit) {
  Step step = entry_step("mipo_lbiwvones_dydi", offsetof(mipo_specialized_ctx, mipo_lbiwvones_dydi), "row numbers");
  step.rows_in = result.count();
  const ub8 wanted = std::min<ub8>(result.count(), limit);
  answer.rows.reserve(wanted);
  host::RowReader reader(library_, result.bits());
  while (answer.rows.size() < wanted) {
    const Stopwatch stopwatch;
    const auto batch = reader.next();
    step.seconds += stopwatch.seconds();
    if (batch.empty()) break;
    const std::size_t taken = std::min<std::size_t>(batch.size(), wanted - answer.rows.size());
    answer.rows.insert(answer.rows.end(), batch.begin(), batch.begin() + static_cast<std::ptrdiff_t>(taken));
  }
  step.rows_out = answer.rows.size();
  step.rows_read = answer.rows.empty() ? 0 : ub8{answer.rows.back()} + 1;
  steps_.push_back(std::move(step));
}

} // namespace

double Answer::kernel_seconds() const {
  double seconds = 0;
  for (const Step &step : steps) seconds += step.seconds;
  return seconds;
}

Answer execute(const host::Library &library, const Plan &plan) {
  Executor executor(library, *plan.table);
  const ub4 rows = plan.table->row_count;
  Answer answer;
  if (!plan.where && plan.counts_rows()) {
    answer.row_count = rows;
    return answer;
  }
  host::Result result(rows);
  if (plan.where) {
    result = executor.run(*plan.where, nullptr);
  } else {
    result.bits().fill(true);
    result.vec()->nset = rows;
  }
  answer.row_count = result.count();
  if (!plan.counts_rows()) {
    executor.read_rows(result, answer, plan.limit.value_or(std::numeric_limits<ub8>::max()));
  }
  answer.steps = executor.take_steps();
  return answer;
}

} // namespace mipo::tools
