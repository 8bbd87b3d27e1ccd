#include "executor.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <limits>
#include <map>

#include <fmt/format.h>

#include "mipo/host/context.h"
#include "mipo/host/zstd_decompressor.h"

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

// A set of codes as the kernel reads it: a bit for each code, and for all codes that a byte can hold.
host::BitVector members_of(const CodeSet &set, const host::EncodedColumn &column) {
  constexpr ub8 smallest = 256;
  host::BitVector members(std::max(column.domain().code_count(), smallest));
  for (const CodeRange &range : set.ranges())
    for (ub8 code = range.lower.code; code < range.upper.code; ++code) members.set(code);
  return members;
}

Step entry_step(const char *name, std::size_t byte_in_record, const std::string &condition) {
  Step step;
  step.name = name;
  step.kind = Step::Kind::entry;
  step.key = static_cast<ub4>(byte_in_record / sizeof(void *));
  step.condition = condition;
  return step;
}

class Executor {
public:
  Executor(const host::Library &library, const host::Table &table)
      : library_(library), rows_(table.row_count), context_(library, &decompressor_) {}

  /// The rows of `node` among those of `within` (null: all rows).
  host::Result run(const PlanNode &node, const host::Result *within);
  /// The numbers of the first `limit` rows of `result`.
  void read_rows(const host::Result &result, Answer &answer, ub8 limit);
  /// Codes of the least and the greatest value in the rows of `within` (null: all rows), as far as they are wanted.
  struct Extremes {
    std::optional<ub8> least, greatest;
  };
  Extremes extremes(const host::Column &column, bool least, bool greatest, const host::Result *within);
  /// For the values of a column to be read.
  void decompress(const host::Column &column) { column.data.decompress(decompressor_); }
  std::vector<Step> take_steps() { return std::move(steps_); }

private:
  host::Result test_column(const PlanNode &node, const host::Result *within);
  host::Result call(const host::Column &column, const KernelCall &call, const host::Result *within);
  host::Result call_kernel(const host::Column &column, const KernelCall &call, const host::Result *within);
  void finish(Step step, ub4 code);
  Extremes extremes_by_kernel(Step step, const host::Column &column, ub8 mode, const host::Result *within);
  Extremes extremes_row_by_row(Step step, const host::Column &column, const host::Result *within);

  // One of the entries for two bit vectors: result becomes result OP other.
  using BinaryEntry = decltype(mipo_specialized_ctx::mipo_lbiwvor_dydi) mipo_specialized_ctx::*;
  void combine(host::Result &result, const host::Result &other, const char *name, BinaryEntry member,
               std::size_t byte_in_record, const std::string &condition);
  void unite(host::Result &result, const host::Result &other, const std::string &condition);
  void intersect(host::Result &result, const host::Result &other, const std::string &condition);
  void complement(host::Result &result, const host::BitVector &of, const std::string &condition);

  const host::Library &library_;
  ub4 rows_;
  host::ZstdDecompressor decompressor_;
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

// The rows in question can be handed to a kernel unless the kernel answers for runs, or the others are meant.
host::Result Executor::call(const host::Column &column, const KernelCall &call, const host::Result *within) {
  if (!column.data.has_runs() && !call.complemented) return call_kernel(column, call, within);
  host::Result result(rows_);
  if (call.complemented && !column.data.has_runs()) {
    complement(result, *column.data.validity(), call.text); // the bits of the rows with a value are there already
  } else {
    result = call_kernel(column, call, nullptr);
    if (call.complemented) complement(result, result.bits(), call.text);
  }
  if (within != nullptr) intersect(result, *within, call.text);
  return result;
}

host::Result Executor::call_kernel(const host::Column &column, const KernelCall &call, const host::Result *within) {
  Step step;
  step.key =
      call.sees_null_code ? column.data.key(call.operation, MIPO_VARIANT_PLAIN) : column.data.key(call.operation);
  step.name = host::kernel_name(step.key);
  if (column.data.has_runs())
    step.expanded_by = host::kernel_name(host::CallContext::burst_key(*column.data.vec().enc_ctx));
  step.condition = call.text;
  step.rows_in = within != nullptr ? within->count() : rows_;
  const ub8 code_bytes = ub8{rows_} * static_cast<ub8>(column.data.bits()) / 8;
  step.selective = within != nullptr && step.rows_in * bytes_per_selected_row < code_bytes;
  step.rows_read = step.selective ? step.rows_in : column.data.stored_values();
  if (within != nullptr)
    context_.select(within->bits(), step.selective);
  else
    context_.select_all();

  host::Result result(rows_);
  const mipo_vec *const source = &column.data.vec();
  ub4 code = 0;
  if (call.operation == MIPO_OP_SET) {
    const host::BitVector members = members_of(call.set, column.data);
    mipo_vec set{};
    set.bv = const_cast<ub8 *>(members.words());
    const auto kernel = library_.set(step.key);
    const Stopwatch stopwatch;
    code = kernel(result.vec(), source, &set, context_.record());
    step.seconds = stopwatch.seconds();
  } else if (is_two_sided(call.operation)) {
    const host::Constant lo = column.data.constant(call.lo), hi = column.data.constant(call.hi);
    const auto kernel = library_.two_sided(step.key);
    const Stopwatch stopwatch;
    code = kernel(result.vec(), source, &lo.vec(), &hi.vec(), context_.record());
    step.seconds = stopwatch.seconds();
  } else {
    const host::Constant constant = column.data.constant(call.lo);
    const auto kernel = library_.one_sided(step.key);
    const Stopwatch stopwatch;
    code = kernel(result.vec(), source, &constant.vec(), context_.record());
    step.seconds = stopwatch.seconds();
  }
  step.rows_out = result.count();
  finish(std::move(step), code);
  return result;
}

void Executor::finish(Step step, ub4 code) {
  context_.throw_if_reported();
  if (code != MIPO_DONE && code != MIPO_EMPTY) {
    throw host::Error(fmt::format("{} answered {}: {}", step.name, host::code_name(code), host::code_text(code)));
  }
  steps_.push_back(std::move(step));
}

Executor::Extremes Executor::extremes(const host::Column &column, bool least, bool greatest,
                                      const host::Result *within) {
  Step step;
  step.rows_in = step.rows_read = within != nullptr ? within->count() : rows_;
  step.selective = within != nullptr;
  step.condition = least && greatest ? fmt::format("min({0}), max({0})", column.name)
                                     : fmt::format("{}({})", least ? "min" : "max", column.name);
  // Kernels for extremes exist for codes up to 32 bits.
  if (!column.data.has_dictionary() || column.data.bits() > 32) return extremes_row_by_row(step, column, within);
  constexpr ub8 minimum_only = 1, maximum_only = 2, both = 3;
  return extremes_by_kernel(step, column, least && greatest ? both : least ? minimum_only : maximum_only, within);
}

Executor::Extremes Executor::extremes_by_kernel(Step step, const host::Column &column, ub8 mode,
                                                const host::Result *within) {
  step.key = column.data.key(MIPO_OP_MINMAX);
  step.name = host::kernel_name(step.key);
  if (within != nullptr)
    context_.select(within->bits(), false);
  else
    context_.select_all();
  mipo_call_ctx &ctx = *context_.record();
  ctx.next_row = ctx.run_index = ctx.run_end = 0;

  ub4 codes[2] = {};
  mipo_vec result{};
  result.data = codes;
  const auto kernel = library_.minmax(step.key);
  const Stopwatch stopwatch;
  const ub4 code = kernel(&result, &column.data.vec(), &ctx, mode);
  step.seconds = stopwatch.seconds();
  step.rows_out = code == MIPO_DONE ? 1 : 0;
  finish(std::move(step), code);
  if (code != MIPO_DONE) return {};
  return {codes[0], codes[1]};
}

Executor::Extremes Executor::extremes_row_by_row(Step step, const host::Column &column, const host::Result *within) {
  step.kind = Step::Kind::row_by_row;
  step.name = "row by row";
  decompress(column);
  Extremes found;
  const auto take = [&](ub4 row) {
    if (!column.data.has_value(row)) return;
    const ub8 code = column.data.code(row);
    if (!found.least || code < *found.least) found.least = code;
    if (!found.greatest || code > *found.greatest) found.greatest = code;
  };
  const Stopwatch stopwatch;
  if (within == nullptr) {
    for (ub4 row = 0; row < rows_; ++row) take(row);
  } else {
    host::RowReader reader(library_, within->bits());
    for (auto batch = reader.next(); !batch.empty(); batch = reader.next())
      std::for_each(batch.begin(), batch.end(), take);
  }
  step.seconds = stopwatch.seconds();
  step.rows_out = found.least ? 1 : 0;
  steps_.push_back(std::move(step));
  return found;
}

void Executor::combine(host::Result &result, const host::Result &other, const char *name, BinaryEntry member,
                       std::size_t byte_in_record, const std::string &condition) {
  Step step = entry_step(name, byte_in_record, condition);
  step.rows_in = ub8{result.count()} + other.count();
  step.rows_read = rows_;
  const auto operation = host::entry(library_, member);
  const Stopwatch stopwatch;
  operation(result.vec()->bv, &result.vec()->nset, result.vec()->bv, other.bits().words(), rows_);
  step.seconds = stopwatch.seconds();
  step.rows_out = result.count();
  steps_.push_back(std::move(step));
}

void Executor::unite(host::Result &result, const host::Result &other, const std::string &condition) {
  combine(result, other, "mipo_lbiwvor_dydi", &mipo_specialized_ctx::mipo_lbiwvor_dydi,
          offsetof(mipo_specialized_ctx, mipo_lbiwvor_dydi), condition);
}

void Executor::intersect(host::Result &result, const host::Result &other, const std::string &condition) {
  combine(result, other, "mipo_lbiwvand_dydi", &mipo_specialized_ctx::mipo_lbiwvand_dydi,
          offsetof(mipo_specialized_ctx, mipo_lbiwvand_dydi), condition);
}

void Executor::complement(host::Result &result, const host::BitVector &of, const std::string &condition) {
  Step step = entry_step("mipo_lbiwvnot_dydi", offsetof(mipo_specialized_ctx, mipo_lbiwvnot_dydi), condition);
  step.rows_in = step.rows_read = rows_;
  const auto bits_not = host::entry(library_, &mipo_specialized_ctx::mipo_lbiwvnot_dydi);
  const Stopwatch stopwatch;
  bits_not(result.vec()->bv, &result.vec()->nset, of.words(), rows_);
  step.seconds = stopwatch.seconds();
  result.bits().clear_spare_bits();
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

namespace {

// Each column's extremes are looked for once, whichever output columns want them.
std::vector<std::optional<ub8>> aggregates(Executor &executor, const Plan &plan, const host::Result *within) {
  using enum OutputItem::Kind;
  std::map<const host::Column *, Executor::Extremes> found;
  const auto wanted = [&](const host::Column *column, OutputItem::Kind kind) {
    return std::any_of(plan.output.begin(), plan.output.end(),
                       [&](const PlannedColumn &planned) { return planned.column == column && planned.kind == kind; });
  };
  std::vector<std::optional<ub8>> codes;
  for (const PlannedColumn &planned : plan.output) {
    if (planned.kind == row_count) {
      codes.emplace_back();
      continue;
    }
    if (!found.contains(planned.column)) {
      found[planned.column] =
          executor.extremes(*planned.column, wanted(planned.column, minimum), wanted(planned.column, maximum), within);
    }
    const Executor::Extremes &extremes = found[planned.column];
    codes.push_back(planned.kind == minimum ? extremes.least : extremes.greatest);
  }
  return codes;
}

} // namespace

Answer execute(const host::Library &library, const Plan &plan) {
  Executor executor(library, *plan.table);
  const ub4 rows = plan.table->row_count;
  Answer answer;
  if (plan.aggregates()) {
    std::optional<host::Result> result;
    if (plan.where) result = executor.run(*plan.where, nullptr);
    answer.row_count = result ? result->count() : rows;
    answer.aggregates = aggregates(executor, plan, result ? &*result : nullptr);
    answer.steps = executor.take_steps();
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
  executor.read_rows(result, answer, plan.limit.value_or(std::numeric_limits<ub8>::max()));
  for (const PlannedColumn &planned : plan.output) executor.decompress(*planned.column);
  answer.steps = executor.take_steps();
  return answer;
}

} // namespace mipo::tools
