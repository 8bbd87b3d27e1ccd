#include "engine/run/aggregation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>

#include "engine/plan/aggregate_input.h"
#include "engine/run/chunk_values.h"
#include "engine/run/column_codes.h"
#include "engine/run/group_keys.h"
#include "engine/run/parallel.h"
#include "engine/run/row_ranges.h"
#include "mipo/host/context.h"

namespace mipo::engine {
namespace {

// Rows of a chunk: group numbers, codes and words of so many rows stay in the second-level cache. A column of runs is
// walked from its beginning by each call for group keys: there a chunk is as long as memory allows.
constexpr ub4 chunk_rows = 1 << 14, chunk_rows_of_runs = 1 << 22;

// With more groups than these, the threads' own sums would not fit a cache: one thread adds then.
constexpr ub8 most_groups_of_threads = 1 << 18;

// What each group has of a measure.
struct Sums {
  std::vector<sb8> words, counts; // counts: where the words have none
  std::vector<WideInteger> wide;
  std::vector<ub8> least, greatest; // codes, or digits above the measure's least; of the greatest one more, 0 for none
};

// The steps of one aggregation, by what they are: threads fill in rows and time, each in an own copy.
struct StepNumbers {
  std::size_t keys; // of its indices of the group numbers, in front of all others
  std::size_t rows;
  struct OfMeasure {
    std::size_t read, words, sum, count, extremes;
  };
  std::vector<OfMeasure> measures;
};

struct Work {
  const host::Library &library;
  const Plan &plan;
  const GroupKeyLayout &keys;
  const IndexTables &index_tables;
  const std::vector<AggregateInput> &measures;
  const host::Result *within;
  ub4 chunk;
  bool counts_rows; // rows of groups are counted by themselves, not beside a measure
};

class Worker {
public:
  Worker(const Work &work, const StepNumbers &numbers, std::vector<KernelProfile> steps)
      : work_(work),
        numbers_(numbers),
        steps_(std::move(steps)),
        rows_(work.library, work.within, work.plan.table->row_count),
        codes_(work.library, work.chunk),
        keys_(work.library, work.keys, work.index_tables, work.chunk, codes_),
        add_(host::entry(work.library, &mipo_specialized_ctx::mipo_gby_sum_dydi)),
        sums_(work.measures.size()) {
    const ub8 groups = work.keys.size();
    if (work.counts_rows) row_counts_.resize(groups);
    for (std::size_t i = 0; i < sums_.size(); ++i) {
      const AggregateInput &measure = work.measures[i];
      Sums &sums = sums_[i];
      if (measure.adds()) {
        if (measure.form == AggregateInput::Form::wide)
          sums.wide.resize(groups);
        else
          sums.words.resize(groups);
        if (measure.form != AggregateInput::Form::together) sums.counts.resize(groups);
      }
      if (measure.wants_least) sums.least.assign(groups, ~ub8{0});
      if (measure.wants_greatest) sums.greatest.assign(groups, 0);
      values_.push_back(make_chunk_values(work.library, measure, work.chunk, codes_, steps_, numbers.measures[i].read,
                                          numbers.measures[i].words));
    }
    words_.resize(work.chunk);
    ordered_.resize(work.chunk);
    present_.resize(work.chunk);
    ones_.assign(work.chunk, 1);
  }

  // Rows `first` up to `end`, multiples of 64 or the last row.
  void run(ub4 first, ub4 end) {
    for (ub4 begin = first; begin < end;) {
      const ub4 stop = end - begin < work_.chunk ? end : begin + work_.chunk;
      take_chunk(begin, stop);
      begin = stop;
    }
  }

  void merge(const Worker &other) {
    for (std::size_t i = 0; i < row_counts_.size(); ++i) row_counts_[i] += other.row_counts_[i];
    const auto merge_all = [](auto &into, const auto &from, auto combine) {
      for (std::size_t i = 0; i < into.size(); ++i) into[i] = combine(into[i], from[i]);
    };
    const auto add = [](auto a, auto b) { return a + b; };
    for (std::size_t m = 0; m < sums_.size(); ++m) {
      merge_all(sums_[m].words, other.sums_[m].words, add);
      merge_all(sums_[m].counts, other.sums_[m].counts, add);
      merge_all(sums_[m].wide, other.sums_[m].wide, add);
      merge_all(sums_[m].least, other.sums_[m].least, [](ub8 a, ub8 b) { return std::min(a, b); });
      merge_all(sums_[m].greatest, other.sums_[m].greatest, [](ub8 a, ub8 b) { return std::max(a, b); });
    }
    for (std::size_t i = 0; i < steps_.size(); ++i) steps_[i].add(other.steps_[i]);
  }

  std::vector<Sums> &sums() { return sums_; }
  std::vector<sb8> &row_counts() { return row_counts_; }
  std::vector<KernelProfile> &steps() { return steps_; }

private:
  void take_chunk(ub4 begin, ub4 end) {
    const bool grouped = !work_.plan.keys.empty();
    rows_.go_to(begin, end);
    if (rows_.count() == 0) return;
    if (grouped) keys_.read(rows_, std::span(steps_).first(numbers_.keys));
    const ub4 *keys = grouped ? keys_.data() : nullptr;
    if (work_.counts_rows) add(numbers_.rows, row_counts_.data(), ones_.data(), 8, keys);
    for (std::size_t i = 0; i < sums_.size(); ++i) take_measure(i, keys);
  }

  void take_measure(std::size_t i, const ub4 *keys) {
    const AggregateInput &measure = work_.measures[i];
    const StepNumbers::OfMeasure &numbers = numbers_.measures[i];
    Sums &sums = sums_[i];
    ChunkValues &values = *values_[i];
    values.read(rows_);
    if (measure.adds()) {
      const bool needs_presence = measure.form != AggregateInput::Form::together;
      values.words(rows_, words_.data(), needs_presence ? present_.data() : nullptr);
      if (measure.form == AggregateInput::Form::wide)
        add_wide(numbers.sum, sums.wide, keys);
      else
        add(numbers.sum, sums.words.data(), words_.data(), 64, keys);
      if (needs_presence) add(numbers.count, sums.counts.data(), present_.data(), 8, keys);
    }
    if (measure.has_extremes()) {
      values.ordered(rows_, ordered_.data());
      take_extremes(steps_[numbers.extremes], measure, sums, keys);
    }
  }

  // By the kernel for group sums, from an array of signed integers.
  void add(std::size_t step, sb8 *totals, const void *integers, ub4 bits, const ub4 *keys) {
    mipo_enc_ctx enc_ctx{};
    enc_ctx.num_type = MIPO_NUM_INTEGER;
    enc_ctx.flags = MIPO_NATIVE;
    enc_ctx.bits = bits;
    mipo_vec values{}, acc{};
    values.data = const_cast<void *>(integers);
    values.nrows = rows_.count();
    values.enc_ctx = &enc_ctx;
    acc.data = totals;
    const mipo_group_sum_options options{};
    const Stopwatch stopwatch;
    add_(&acc, &values, keys != nullptr ? &keys : nullptr, &options, nullptr);
    finish(step, stopwatch);
  }

  void add_wide(std::size_t step, std::vector<WideInteger> &totals, const ub4 *keys) {
    const Stopwatch stopwatch;
    for (ub4 i = 0; i < rows_.count(); ++i) totals[keys != nullptr ? keys[i] : 0] += words_[i];
    finish(step, stopwatch);
  }

  void take_extremes(KernelProfile &step, const AggregateInput &measure, Sums &sums, const ub4 *keys) {
    const Stopwatch stopwatch;
    for (ub4 i = 0; i < rows_.count(); ++i) {
      const ub8 code = ordered_[i];
      if (code == ColumnCodes::no_value) continue;
      const ub4 group = keys != nullptr ? keys[i] : 0;
      if (measure.wants_least) sums.least[group] = std::min(sums.least[group], code);
      if (measure.wants_greatest) sums.greatest[group] = std::max(sums.greatest[group], code + 1);
    }
    step.add(stopwatch, rows_.count(), rows_.count());
  }

  void finish(std::size_t step, const Stopwatch &stopwatch) {
    steps_[step].add(stopwatch, rows_.count(), rows_.count());
  }

  const Work &work_;
  const StepNumbers &numbers_;
  std::vector<KernelProfile> steps_;
  ChunkRows rows_;
  ChunkCodes codes_;
  GroupKeys keys_;
  decltype(mipo_specialized_ctx::mipo_gby_sum_dydi) add_;
  std::vector<std::unique_ptr<ChunkValues>> values_;
  std::vector<Sums> sums_;
  std::vector<sb8> row_counts_;
  std::vector<sb8> words_;
  std::vector<ub8> ordered_;
  std::vector<ub1> present_, ones_;
};

class SummedGroups final : public Groups {
public:
  SummedGroups(const Plan &plan, GroupKeyLayout keys, std::vector<AggregateInput> measures,
               std::vector<std::size_t> measure_of, KnownExtremes known)
      : plan_(plan),
        keys_(std::move(keys)),
        measures_(std::move(measures)),
        measure_of_(std::move(measure_of)),
        known_(std::move(known)) {}

  // `all_rows`: of the one group that there is without keys.
  void take(std::vector<Sums> sums, std::vector<sb8> row_counts, ub8 all_rows) {
    sums_ = std::move(sums);
    row_counts_ = std::move(row_counts);
    if (plan_.keys.empty()) {
      numbers_ = {0};
      row_counts_ = {static_cast<sb8>(all_rows)};
      return;
    }
    if (row_counts_.empty()) {
      const auto counted = std::find_if(measures_.begin(), measures_.end(), counts_rows);
      const std::size_t m = static_cast<std::size_t>(counted - measures_.begin());
      row_counts_.resize(keys_.size());
      for (std::size_t i = 0; i < row_counts_.size(); ++i) row_counts_[i] = values_in(m, i);
    }
    for (std::size_t i = 0; i < row_counts_.size(); ++i)
      if (row_counts_[i] != 0) numbers_.push_back(static_cast<ub4>(i));
  }

  // Whether a measure's count is the number of rows.
  static bool counts_rows(const AggregateInput &measure) {
    return measure.adds() && !measure.nullable && measure.form == AggregateInput::Form::together;
  }

  std::size_t count() const override { return numbers_.size(); }
  Value key(std::size_t group, std::size_t place) const override { return keys_.value(numbers_[group], place); }

  Value aggregate(std::size_t group, std::size_t index) const override {
    const ub4 number = numbers_[group];
    const PlannedAggregate &planned = plan_.aggregates[index];
    if (planned.function == AggregateFunction::row_count) return ExactNumber{row_counts_[number], 0};
    if (const auto known = known_.find(index); known != known_.end()) return known->second;
    const std::size_t m = measure_of_[index];
    const AggregateInput &measure = measures_[m];
    const Sums &sums = sums_[m];
    switch (planned.function) {
    case AggregateFunction::count:
      return ExactNumber{values_in(m, number), 0};
    case AggregateFunction::sum:
      if (values_in(m, number) == 0) return {};
      return ExactNumber{sum(m, number), measure.bounds.scale};
    case AggregateFunction::average:
      if (values_in(m, number) == 0) return {};
      return static_cast<double>(sum(m, number)) / static_cast<double>(values_in(m, number)) /
             std::pow(10.0, measure.bounds.scale);
    case AggregateFunction::minimum:
      return extreme(measure, sums.least[number], sums.least[number] != ~ub8{0});
    default:
      return extreme(measure, sums.greatest[number] - 1, sums.greatest[number] != 0);
    }
  }

private:
  sb8 values_in(std::size_t m, std::size_t group) const {
    const AggregateInput &measure = measures_[m];
    return measure.form == AggregateInput::Form::together ? sums_[m].words[group] >> measure.count_shift
                                                          : sums_[m].counts[group];
  }

  WideInteger sum(std::size_t m, std::size_t group) const {
    const AggregateInput &measure = measures_[m];
    WideInteger above_least;
    if (measure.form == AggregateInput::Form::wide)
      above_least = sums_[m].wide[group];
    else if (measure.form == AggregateInput::Form::apart)
      above_least = sums_[m].words[group];
    else
      above_least = sums_[m].words[group] & ((sb8{1} << measure.count_shift) - 1);
    return above_least + measure.bounds.low * values_in(m, group);
  }

  Value extreme(const AggregateInput &measure, ub8 ordered, bool exists) const {
    if (!exists) return {};
    if (measure.column != nullptr) return CodedValue{&measure.column->domain(), ordered};
    return ExactNumber{measure.bounds.low + ordered, measure.bounds.scale};
  }

  const Plan &plan_;
  GroupKeyLayout keys_;
  std::vector<AggregateInput> measures_;
  std::vector<std::size_t> measure_of_; // by aggregate
  KnownExtremes known_;
  std::vector<Sums> sums_;
  std::vector<sb8> row_counts_;
  std::vector<ub4> numbers_; // of the groups that have rows
};

// The arguments of the plan's aggregates, each once, and which one each aggregate has.
std::vector<AggregateInput> measures_of(const Plan &plan, const KnownExtremes &known, ub8 rows,
                                        std::vector<std::size_t> &measure_of) {
  std::vector<AggregateInput> measures;
  for (std::size_t i = 0; i < plan.aggregates.size(); ++i) {
    const PlannedAggregate &planned = plan.aggregates[i];
    measure_of.push_back(0);
    if (!planned.argument || known.contains(i)) continue;
    auto found = std::find_if(measures.begin(), measures.end(),
                              [&](const AggregateInput &measure) { return *measure.argument == *planned.argument; });
    if (found == measures.end()) {
      found = measures.insert(found, AggregateInput(*planned.argument, rows));
      found->text = planned.text.substr(planned.text.find('('));
    }
    measure_of.back() = static_cast<std::size_t>(found - measures.begin());
    found->wants_least |= planned.function == AggregateFunction::minimum;
    found->wants_greatest |= planned.function == AggregateFunction::maximum;
    found->wants_count |= planned.function == AggregateFunction::count;
    found->wants_sum |= planned.function == AggregateFunction::sum || planned.function == AggregateFunction::average;
  }
  return measures;
}

KernelProfile sum_step(const std::string &condition) {
  return entry_step("mipo_gby_sum_dydi", offsetof(mipo_specialized_ctx, mipo_gby_sum_dydi), condition);
}

std::vector<KernelProfile> steps_of(const GroupKeyLayout &keys, const IndexTables &index_tables,
                                    const std::vector<AggregateInput> &measures, StepNumbers &numbers) {
  std::vector<KernelProfile> steps;
  const auto add = [&](KernelProfile step) {
    steps.push_back(std::move(step));
    return steps.size() - 1;
  };
  if (keys.components() != 0) steps = GroupKeys::blank_steps(keys, index_tables);
  numbers.keys = steps.size();
  numbers.rows = add(sum_step("count(*)"));
  for (const AggregateInput &measure : measures) {
    StepNumbers::OfMeasure of;
    of.read = add(measure.column != nullptr ? codes_step(*measure.column, measure.text)
                                            : row_step("calculate", measure.text));
    of.words = add(row_step("values of codes", measure.text));
    of.sum = add(sum_step((measure.wants_sum ? "sum" : "count") + measure.text));
    of.count = add(sum_step("count" + measure.text));
    of.extremes = add(row_step("extremes", measure.text));
    numbers.measures.push_back(of);
  }
  return steps;
}

} // namespace

std::unique_ptr<Groups> aggregate(const host::Library &library, const Plan &plan, const host::Result *within,
                                  unsigned threads, KnownExtremes known, std::vector<KernelProfile> &steps) {
  const ub4 rows = plan.table->row_count;
  const GroupKeyLayout keys(plan.keys);
  std::vector<std::size_t> measure_of;
  const std::vector<AggregateInput> measures = measures_of(plan, known, rows, measure_of);
  auto groups = std::make_unique<SummedGroups>(plan, keys, measures, measure_of, std::move(known));
  const ub8 all_rows = within != nullptr ? within->count() : rows;
  if (plan.keys.empty() && measures.empty()) {
    groups->take({}, {}, all_rows);
    return groups;
  }
  const bool counts_rows =
      !plan.keys.empty() && std::none_of(measures.begin(), measures.end(), SummedGroups::counts_rows);
  const bool runs_in_keys = std::any_of(plan.keys.begin(), plan.keys.end(),
                                        [](const BoundColumn *column) { return column->stored().data.has_runs(); });
  const ub4 chunk =
      static_cast<ub4>(std::min<ub8>(runs_in_keys ? chunk_rows_of_runs : chunk_rows, (ub8{rows} / 64 + 1) * 64));
  const IndexTables index_tables(library, keys, steps);
  const Work work{library, plan, keys, index_tables, measures, within, chunk, counts_rows};
  StepNumbers numbers;
  const std::vector<KernelProfile> blank_steps = steps_of(keys, index_tables, measures, numbers);
  if (keys.size() > most_groups_of_threads) threads = 1;
  threads = std::max(1u, std::min<unsigned>(threads, rows / work.chunk + 1));

  std::vector<std::unique_ptr<Worker>> workers;
  for (unsigned i = 0; i < threads; ++i) workers.push_back(std::make_unique<Worker>(work, numbers, blank_steps));
  const std::vector<ub4> bounds = bounds_of_ranges(rows, threads);
  in_parallel(threads, [&](unsigned i) { workers[i]->run(bounds[i], bounds[i + 1]); });
  for (unsigned i = 1; i < threads; ++i) workers[0]->merge(*workers[i]);
  for (KernelProfile &step : workers[0]->steps()) {
    if (step.rows_in == 0) continue;
    step.seconds /= threads;
    step.rows_out = step.rows_in;
    steps.push_back(std::move(step));
  }
  groups->take(std::move(workers[0]->sums()), std::move(workers[0]->row_counts()), all_rows);
  return groups;
}

} // namespace mipo::engine
