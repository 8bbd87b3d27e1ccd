#include "engine/run/group.h"

#include <algorithm>
#include <numeric>

#include "engine/plan/group_key_layout.h"
#include "engine/run/extremes.h"
#include "engine/run/group_keys.h"
#include "engine/run/group_sums.h"
#include "engine/run/parallel.h"
#include "engine/run/row_ranges.h"

namespace mipo::engine {
namespace {

// Rows of a chunk: group numbers, codes and words of so many rows stay in the second-level cache. A column of runs is
// walked from its beginning by each call for group keys: there a chunk is as long as memory allows.
constexpr ub4 chunk_rows = 1 << 14, chunk_rows_of_runs = 1 << 22;

// With more groups than these, the threads' own sums would not fit a cache: one thread adds then.
constexpr ub8 most_groups_of_threads = 1 << 18;

// Whether an argument's count is the number of rows.
bool counts_rows(const AggregateInput &input) {
  return input.adds() && !input.nullable && input.form == AggregateInput::Form::together;
}

// The arguments of the plan's aggregates, each once, and which one each aggregate has.
std::vector<AggregateInput> inputs_of(const Plan &plan, const KnownExtremes &known, ub8 rows,
                                      std::vector<std::size_t> &input_of) {
  std::vector<AggregateInput> inputs;
  for (std::size_t i = 0; i < plan.aggregates.size(); ++i) {
    const PlannedAggregate &planned = plan.aggregates[i];
    input_of.push_back(0);
    if (!planned.argument || known.contains(i)) continue;
    auto found = std::find_if(inputs.begin(), inputs.end(),
                              [&](const AggregateInput &input) { return *input.argument == *planned.argument; });
    if (found == inputs.end()) {
      found = inputs.insert(found, AggregateInput(*planned.argument, rows));
      found->text = planned.text.substr(planned.text.find('('));
    }
    input_of.back() = static_cast<std::size_t>(found - inputs.begin());
    found->wants_least |= planned.function == AggregateFunction::minimum;
    found->wants_greatest |= planned.function == AggregateFunction::maximum;
    found->wants_count |= planned.function == AggregateFunction::count;
    found->wants_sum |= planned.function == AggregateFunction::sum || planned.function == AggregateFunction::average;
  }
  return inputs;
}

struct Work {
  const host::Library &library;
  const GroupKeyLayout &keys;
  const IndexTables &index_tables;
  const std::vector<AggregateInput> &inputs;
  const TableRows &rows;
  ub4 chunk;
  bool counts_rows; // rows of groups are counted by themselves, not beside an argument
};

// What one thread adds up.
class Worker {
public:
  explicit Worker(const Work &work)
      : chunk_(work.chunk),
        rows_(work.library, work.rows.selected, work.rows.table_rows),
        codes_(work.library, rows_, work.chunk),
        count_(work.library, "count(*)"),
        buffers_(work.chunk),
        ones_(work.chunk, 1) {
    if (work.keys.components() != 0)
      keys_.emplace(work.library, work.keys, work.index_tables, rows_, work.chunk, codes_);
    if (work.counts_rows) row_counts_.resize(work.keys.size());
    for (const AggregateInput &input : work.inputs)
      sums_.emplace_back(work.library, input, work.keys.size(), work.chunk, codes_, buffers_);
  }
  Worker(const Worker &) = delete;
  Worker &operator=(const Worker &) = delete;

  // Rows `first` up to `end`, multiples of 64 or the last row.
  void run(ub4 first, ub4 end) {
    for (ub4 begin = first; begin < end;) {
      const ub4 stop = end - begin < chunk_ ? end : begin + chunk_;
      take_chunk(begin, stop);
      begin = stop;
    }
  }

  void merge(const Worker &other) {
    for (std::size_t i = 0; i < row_counts_.size(); ++i) row_counts_[i] += other.row_counts_[i];
    for (std::size_t i = 0; i < sums_.size(); ++i) sums_[i].totals().merge(other.sums_[i].totals());
  }

  std::vector<InputTotals> take_totals() {
    std::vector<InputTotals> totals;
    for (InputSums &sums : sums_) totals.push_back(std::move(sums.totals()));
    return totals;
  }
  std::vector<sb8> &row_counts() { return row_counts_; }

  std::vector<KernelProfile> profile() const {
    std::vector<KernelProfile> calls;
    codes_.profile(calls);
    if (keys_) keys_->profile(calls);
    calls.push_back(count_.profile());
    for (const InputSums &sums : sums_) sums.profile(calls);
    return calls;
  }

private:
  void take_chunk(ub4 begin, ub4 end) {
    rows_.go_to(begin, end);
    if (rows_.count() == 0) return;
    if (keys_) keys_->read();
    const ub4 *groups = keys_ ? keys_->data() : nullptr;
    if (!row_counts_.empty()) count_.add(row_counts_, ones_.data(), 8, rows_.count(), groups);
    for (InputSums &sums : sums_) sums.take(rows_, groups);
  }

  ub4 chunk_;
  ChunkRows rows_;
  ChunkCodes codes_;
  std::optional<GroupKeys> keys_; // none if all rows are one group
  GroupSum count_;
  InputBuffers buffers_;
  std::vector<InputSums> sums_;
  std::vector<sb8> row_counts_;
  std::vector<ub1> ones_;
};

// The groups' keys and aggregates.
class GroupValues final : public ValueSource {
public:
  GroupValues(const Plan &plan, ub8 rows, KnownExtremes known)
      : keys_(plan.keys), plan_(plan), known_(std::move(known)), inputs_(inputs_of(plan, known_, rows, input_of_)) {}

  const GroupKeyLayout &keys() const { return keys_; }
  const std::vector<AggregateInput> &inputs() const { return inputs_; }
  // Whether no argument's count serves.
  bool counts_rows_apart() const {
    return keys_.components() != 0 && std::none_of(inputs_.begin(), inputs_.end(), counts_rows);
  }

  // `all_rows`: of the one group that there is without keys. Returns the numbers of the groups that have rows.
  std::vector<ub4> take(std::vector<InputTotals> totals, std::vector<sb8> row_counts, ub8 all_rows) {
    totals_ = std::move(totals);
    row_counts_ = std::move(row_counts);
    if (keys_.components() == 0) {
      row_counts_ = {static_cast<sb8>(all_rows)};
      return {0};
    }
    if (row_counts_.empty()) {
      const auto counted =
          std::find_if(totals_.begin(), totals_.end(), [](const InputTotals &of) { return counts_rows(*of.input); });
      row_counts_.resize(keys_.size());
      for (std::size_t i = 0; i < row_counts_.size(); ++i) row_counts_[i] = counted->count(i);
    }
    std::vector<ub4> numbers;
    for (std::size_t i = 0; i < row_counts_.size(); ++i)
      if (row_counts_[i] != 0) numbers.push_back(static_cast<ub4>(i));
    return numbers;
  }

private:
  Value read(const BoundExpression &expression, ub4 number) const override {
    if (expression.kind == BoundExpression::Kind::column) return keys_.value(number, expression.index);
    const AggregateFunction function = plan_.aggregates[expression.index].function;
    if (function == AggregateFunction::row_count) return ExactNumber{row_counts_[number], 0};
    if (const auto known = known_.find(expression.index); known != known_.end()) return known->second;
    return totals_[input_of_[expression.index]].value(function, number);
  }

  GroupKeyLayout keys_;
  const Plan &plan_;
  KnownExtremes known_;
  std::vector<std::size_t> input_of_; // by aggregate
  std::vector<AggregateInput> inputs_;
  std::vector<InputTotals> totals_;
  std::vector<sb8> row_counts_;
};

// For the values that keys and arguments are read from.
void decompress_columns(RunContext &context, const Plan &plan) {
  const auto decompress = [&](const BoundColumn &column) { column.stored().data.decompress(context.decompressor); };
  for (const BoundColumn *key : plan.keys) decompress(*key);
  for (const PlannedAggregate &planned : plan.aggregates)
    if (planned.argument) each_column(*planned.argument, decompress);
}

} // namespace

std::optional<Batch> Group::next() {
  if (groups_) return std::nullopt;
  const std::optional<Batch> batch = input().next();
  const TableRows &rows = batch->tables.front();
  KnownExtremes known;
  if (plan_.keys.empty()) known = extremes_of_columns(context_, plan_, rows, calls_);
  decompress_columns(context_, plan_);
  auto made = std::make_unique<GroupValues>(plan_, rows.table_rows, std::move(known));
  GroupValues &groups = *made;
  groups_ = std::move(made);
  std::vector<ub4> numbers;
  if (plan_.keys.empty() && groups.inputs().empty()) {
    numbers = groups.take({}, {}, rows.count());
  } else {
    const bool runs_in_keys = std::any_of(plan_.keys.begin(), plan_.keys.end(),
                                          [](const BoundColumn *column) { return column->stored().data.has_runs(); });
    const ub8 all_in_words = (ub8{rows.table_rows} / 64 + 1) * 64;
    const ub4 chunk = static_cast<ub4>(std::min<ub8>(runs_in_keys ? chunk_rows_of_runs : chunk_rows, all_in_words));
    const IndexTables index_tables(context_.library, groups.keys(), calls_);
    const Work work{context_.library,          groups.keys(), index_tables, groups.inputs(), rows, chunk,
                    groups.counts_rows_apart()};
    const unsigned wanted = groups.keys().size() > most_groups_of_threads ? 1 : context_.threads;
    const unsigned threads = std::max(1u, std::min<unsigned>(wanted, rows.table_rows / chunk + 1));

    std::deque<Worker> workers;
    for (unsigned i = 0; i < threads; ++i) workers.emplace_back(work);
    const std::vector<ub4> bounds = bounds_of_ranges(rows.table_rows, threads);
    in_parallel(threads, [&](unsigned i) { workers[i].run(bounds[i], bounds[i + 1]); });
    std::vector<KernelProfile> calls = workers.front().profile();
    for (unsigned i = 1; i < threads; ++i) {
      workers.front().merge(workers[i]);
      const std::vector<KernelProfile> of_thread = workers[i].profile();
      for (std::size_t c = 0; c < calls.size(); ++c) calls[c].add(of_thread[c]);
    }
    for (KernelProfile &call : calls) {
      if (call.rows_in == 0) continue;
      call.seconds /= threads;
      call.rows_out = call.rows_in;
      calls_.push_back(std::move(call));
    }
    numbers = groups.take(workers.front().take_totals(), std::move(workers.front().row_counts()), rows.count());
  }
  return Batch{{TableRows{static_cast<ub4>(groups.keys().size()), nullptr, std::move(numbers)}}, groups_.get()};
}

} // namespace mipo::engine
