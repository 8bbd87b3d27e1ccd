#include "engine/run/executor.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <limits>
#include <map>
#include <numeric>

#include <fmt/format.h>

#include "engine/run/parallel.h"
#include "engine/run/result.h"
#include "engine/run/row_ranges.h"
#include "mipo/host/context.h"
#include "mipo/host/zstd_decompressor.h"

namespace mipo::engine {
namespace {

// When a call looks at the selected rows alone: one of them takes as long as this many bytes of codes in the block
// path. Measured at the level avx2 with codes of 8, 16 and 32 bits, 300 thousand and 3 million of them; the selective
// call then wins below one row in 512, 256 and 128.
constexpr ub8 bytes_per_selected_row = 512;

bool is_two_sided(mipo_operation operation) {
  return operation >= MIPO_OP_GT_LT && operation <= MIPO_OP_GE_LE;
}

// A set of codes as the kernel reads it: a bit for each code, and for all codes that a byte can hold.
host::BitVector members_of(const CodeSet &set, const host::EncodedColumn &column) {
  constexpr ub8 smallest = 256;
  host::BitVector members(std::max(column.domain().code_count(), smallest));
  set.each([&](ub8 code) { members.set(code); });
  return members;
}

// A kernel with its constants: what is left to say is which rows.
class Predicate {
public:
  Predicate(const host::Library &library, ub4 key, const KernelCall &call, const host::EncodedColumn &column)
      : operation_(call.operation), lo_(column.constant(call.lo)), hi_(column.constant(call.hi)), members_(0) {
    if (operation_ == MIPO_OP_SET) {
      members_ = members_of(call.set, column);
      kernel_.set = library.set(key);
    } else if (is_two_sided(operation_)) {
      kernel_.two_sided = library.two_sided(key);
    } else {
      kernel_.one_sided = library.one_sided(key);
    }
  }

  ub4 operator()(mipo_vec *result, const mipo_vec &source, mipo_call_ctx *ctx) const {
    if (operation_ == MIPO_OP_SET) {
      mipo_vec set{};
      set.bv = const_cast<ub8 *>(members_.words());
      return kernel_.set(result, &source, &set, ctx);
    }
    if (is_two_sided(operation_)) return kernel_.two_sided(result, &source, &lo_.vec(), &hi_.vec(), ctx);
    return kernel_.one_sided(result, &source, &lo_.vec(), ctx);
  }

private:
  mipo_operation operation_;
  host::Constant lo_, hi_;
  host::BitVector members_;
  mipo_kernel kernel_;
};

class Executor {
public:
  Executor(const host::Library &library, const host::Table &table, unsigned threads)
      : library_(library), rows_(table.row_count), threads_(threads), context_(library, &decompressor_) {}

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
  std::vector<KernelProfile> take_steps() { return std::move(steps_); }

private:
  host::Result test_column(const PlanNode &node, const host::Result *within);
  host::Result call(const BoundColumn &column, const KernelCall &call, const host::Result *within);
  host::Result look_up(const BoundColumn &column, const KernelCall &call, const host::Result *within);
  host::Result call_kernel(const host::Column &column, const KernelCall &call, const host::Result *within);
  ub4 call_on_slices(const Predicate &predicate, const host::EncodedColumn &column, bool selective, unsigned threads,
                     const host::Result *within, host::Result &result);
  // Starting a thread takes longer than a kernel takes for so many rows.
  unsigned threads_for(ub8 rows) const {
    constexpr ub8 rows_worth_a_thread = 1 << 20;
    return static_cast<unsigned>(std::clamp<ub8>(rows / rows_worth_a_thread, 1, threads_));
  }
  void finish(KernelProfile step, ub4 code);
  Extremes extremes_by_kernel(KernelProfile step, const host::Column &column, ub8 mode, const host::Result *within);
  Extremes extremes_row_by_row(KernelProfile step, const host::Column &column, const host::Result *within);

  // One of the entries for two bit vectors: result becomes result OP other.
  using BinaryEntry = decltype(mipo_specialized_ctx::mipo_lbiwvor_dydi) mipo_specialized_ctx::*;
  void combine(host::Result &result, const host::Result &other, const char *name, BinaryEntry member,
               std::size_t byte_in_record, const std::string &condition);
  void unite(host::Result &result, const host::Result &other, const std::string &condition);
  void intersect(host::Result &result, const host::Result &other, const std::string &condition);
  void complement(host::Result &result, const host::BitVector &of, const std::string &condition);

  const host::Library &library_;
  ub4 rows_;
  unsigned threads_;
  host::ZstdDecompressor decompressor_;
  host::CallContext context_;
  std::vector<KernelProfile> steps_;
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
host::Result Executor::call(const BoundColumn &tested, const KernelCall &call, const host::Result *within) {
  if (call.operation == MIPO_OP_XLATE) return look_up(tested, call, within);
  const host::Column &column = tested.stored();
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

host::Result Executor::look_up(const BoundColumn &column, const KernelCall &call, const host::Result *within) {
  CodeMap<bool> members(column.domain());
  call.set.each([&](ub8 code) { members[code] = true; });
  decompress(column.stored());
  return rows_in_table(library_, host::TranslationTable::of_members(members.by_index()), column, within,
                       threads_for(rows_), call.text, steps_);
}

host::Result Executor::call_kernel(const host::Column &column, const KernelCall &call, const host::Result *within) {
  KernelProfile step;
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

  host::Result result(rows_);
  const Predicate predicate(library_, step.key, call, column.data);
  ub4 code = MIPO_DONE;
  const unsigned threads = can_be_sliced(column.data) ? threads_for(rows_) : 1;
  const Stopwatch stopwatch;
  if (threads == 1) {
    if (within != nullptr)
      context_.select(within->bits(), step.selective);
    else
      context_.select_all();
    code = predicate(result.vec(), column.data.vec(), context_.record());
  } else {
    code = call_on_slices(predicate, column.data, step.selective, threads, within, result);
  }
  step.seconds = stopwatch.seconds();
  step.rows_out = result.count();
  finish(std::move(step), code);
  return result;
}

// Each thread has its own part of the column, of the selection and of the result, in whole words.
ub4 Executor::call_on_slices(const Predicate &predicate, const host::EncodedColumn &column, bool selective,
                             unsigned threads, const host::Result *within, host::Result &result) {
  const std::vector<ub4> bounds = bounds_of_ranges(rows_, threads);
  std::vector<ub4> codes(threads), counts(threads);
  in_parallel(threads, [&](unsigned i) {
    const ub4 first = bounds[i], rows = bounds[i + 1] - first;
    mipo_vec source = slice(column, first, rows), target = *result.vec();
    target.nrows = rows;
    target.bv += first / 64;
    host::CallContext context(library_);
    mipo_call_ctx &ctx = *context.record();
    if (within != nullptr) {
      ctx.ones_vec = within->bits().words() + first / 64;
      ctx.eval_flags = selective ? MIPO_EVAL_SELECTIVE : 0;
    }
    codes[i] = predicate(&target, source, &ctx);
    context.throw_if_reported();
    counts[i] = target.nset;
  });
  result.vec()->nset = std::accumulate(counts.begin(), counts.end(), ub4{0});
  const auto failed = std::find_if(codes.begin(), codes.end(), [](ub4 code) { return code > MIPO_EMPTY; });
  if (failed != codes.end()) return *failed;
  return result.count() == 0 ? MIPO_EMPTY : MIPO_DONE;
}

void Executor::finish(KernelProfile step, ub4 code) {
  context_.throw_if_reported();
  host::throw_unless_answered(step.name, code);
  steps_.push_back(std::move(step));
}

Executor::Extremes Executor::extremes(const host::Column &column, bool least, bool greatest,
                                      const host::Result *within) {
  KernelProfile step;
  step.rows_in = step.rows_read = within != nullptr ? within->count() : rows_;
  step.selective = within != nullptr;
  step.condition = least && greatest ? fmt::format("min({0}), max({0})", column.name)
                                     : fmt::format("{}({})", least ? "min" : "max", column.name);
  // Kernels for extremes exist for codes up to 32 bits.
  if (!column.data.has_dictionary() || column.data.bits() > 32) return extremes_row_by_row(step, column, within);
  constexpr ub8 minimum_only = 1, maximum_only = 2, both = 3;
  return extremes_by_kernel(step, column, least && greatest ? both : least ? minimum_only : maximum_only, within);
}

Executor::Extremes Executor::extremes_by_kernel(KernelProfile step, const host::Column &column, ub8 mode,
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

Executor::Extremes Executor::extremes_row_by_row(KernelProfile step, const host::Column &column,
                                                 const host::Result *within) {
  step.kind = KernelProfile::Kind::row_by_row;
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
  KernelProfile step = entry_step(name, byte_in_record, condition);
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
  KernelProfile step = entry_step("mipo_lbiwvnot_dydi", offsetof(mipo_specialized_ctx, mipo_lbiwvnot_dydi), condition);
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
  KernelProfile step =
      entry_step("mipo_lbiwvones_dydi", offsetof(mipo_specialized_ctx, mipo_lbiwvones_dydi), "row numbers");
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
  for (const KernelProfile &step : steps) seconds += step.seconds;
  return seconds;
}

namespace {

// The extremes of columns over all rows that qualify: kernels know them by the codes. Each column is looked at once,
// whichever aggregates want it.
KnownExtremes known_extremes(Executor &executor, const Plan &plan, const host::Result *within) {
  const auto column_of = [&](const PlannedAggregate &planned, AggregateFunction function) -> const host::Column * {
    const bool is_column = planned.argument && planned.argument->kind == BoundExpression::Kind::column;
    const bool known = is_column && planned.function == function && !planned.argument->column->is_joined();
    return known ? planned.argument->column->values : nullptr;
  };
  const auto wanted = [&](const host::Column *column, AggregateFunction function) {
    return std::any_of(plan.aggregates.begin(), plan.aggregates.end(),
                       [&](const PlannedAggregate &planned) { return column_of(planned, function) == column; });
  };
  KnownExtremes known;
  std::map<const host::Column *, Executor::Extremes> found;
  for (std::size_t i = 0; i < plan.aggregates.size(); ++i) {
    for (const AggregateFunction function : {AggregateFunction::minimum, AggregateFunction::maximum}) {
      const host::Column *column = column_of(plan.aggregates[i], function);
      if (column == nullptr) continue;
      if (!found.contains(column)) {
        found[column] = executor.extremes(*column, wanted(column, AggregateFunction::minimum),
                                          wanted(column, AggregateFunction::maximum), within);
      }
      const auto &code = function == AggregateFunction::minimum ? found[column].least : found[column].greatest;
      known[i] = code ? Value(CodedValue{&column->domain(), *code}) : Value();
    }
  }
  return known;
}

void each_column(const BoundExpression &expression, const auto &take) {
  if (expression.kind == BoundExpression::Kind::column) take(*expression.column);
  for (const BoundExpression &operand : expression.operands) each_column(operand, take);
}

} // namespace

namespace {

// Columns of files are looked through before any row of them is read, several at once.
void check_columns(const Plan &plan, unsigned threads) {
  std::vector<const host::EncodedColumn *> columns;
  for (const BoundColumn &column : plan.columns)
    for (const host::EncodedColumn *data : {&column.values->data, &column.stored().data})
      if (std::find(columns.begin(), columns.end(), data) == columns.end()) columns.push_back(data);
  threads = static_cast<unsigned>(std::min<std::size_t>(threads, columns.size()));
  std::atomic<std::size_t> next = 0;
  in_parallel(threads, [&](unsigned) {
    for (std::size_t i = next++; i < columns.size(); i = next++) columns[i]->check();
  });
}

} // namespace

Answer execute(const host::Library &library, const Plan &plan, unsigned threads) {
  check_columns(plan, threads);
  Executor executor(library, *plan.table, threads);
  const ub4 rows = plan.table->row_count;
  Answer answer;
  std::optional<host::Result> qualifying;
  if (plan.where) qualifying = executor.run(*plan.where, nullptr);
  const host::Result *within = qualifying ? &*qualifying : nullptr;
  answer.row_count = within != nullptr ? within->count() : rows;
  if (plan.grouped) {
    const KnownExtremes known = plan.keys.empty() ? known_extremes(executor, plan, within) : KnownExtremes();
    for (const BoundColumn *key : plan.keys) executor.decompress(key->stored());
    for (const PlannedAggregate &planned : plan.aggregates)
      if (planned.argument)
        each_column(*planned.argument, [&](const BoundColumn &column) { executor.decompress(column.stored()); });
    answer.steps = executor.take_steps();
    answer.groups = aggregate(library, plan, within, threads, known, answer.steps);
    std::vector<ub4> all(answer.groups->count());
    std::iota(all.begin(), all.end(), 0);
    answer.rows = result_rows(plan, answer.values(), std::move(all));
    return answer;
  }
  if (!qualifying) {
    qualifying.emplace(rows);
    qualifying->bits().fill(true);
    qualifying->vec()->nset = rows;
  }
  const bool in_row_order = plan.order.empty() && !plan.distinct;
  const ub8 limit = plan.limit.value_or(std::numeric_limits<ub8>::max());
  const ub8 read = limit > std::numeric_limits<ub8>::max() - plan.offset ? limit : limit + plan.offset;
  executor.read_rows(*qualifying, answer, in_row_order ? read : std::numeric_limits<ub8>::max());
  std::vector<const BoundColumn *> joined;
  const auto take = [&](const BoundColumn &column) {
    executor.decompress(column.stored());
    if (column.is_joined()) joined.push_back(&column);
  };
  for (const PlannedColumn &planned : plan.output) each_column(planned.value, take);
  for (const SortKey &key : plan.order) each_column(key.value, take);
  answer.steps = executor.take_steps();
  if (!joined.empty() && answer.rows.size() < qualifying->count()) {
    qualifying->bits().fill(false);
    for (const ub4 row : answer.rows) qualifying->bits().set(row);
    qualifying->vec()->nset = static_cast<ub4>(answer.rows.size());
  }
  answer.joined = MaterializedColumns(library, joined, *qualifying, answer.steps);
  answer.rows = result_rows(plan, answer.values(), std::move(answer.rows));
  return answer;
}

} // namespace mipo::engine
