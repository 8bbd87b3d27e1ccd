#include "harness.h"

#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <map>
#include <vector>

#include "mipo/host/library.h"

namespace mipo::bench {
namespace {

using Clock = std::chrono::steady_clock;

struct Pair {
  Measurement measurement;
  std::vector<const Measurement *> against; // one or two
  double at_least;
  std::vector<double> seconds, limit_seconds; // of one run, a value for each repetition
};

std::vector<Pair> &pairs() {
  static std::vector<Pair> all;
  return all;
}

std::map<std::string, Measurement> &limits() {
  static std::map<std::string, Measurement> all;
  return all;
}

double median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double seconds_of(const Measurement &measurement, int runs) {
  const auto start = Clock::now();
  for (int i = 0; i < runs; ++i) {
    measurement.run();
    benchmark::ClobberMemory();
  }
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// One repetition: limit and measurement take turns, often enough in a turn for the clock not to matter.
void run_pair(Pair &pair, benchmark::State &state) {
  constexpr double turn = 1e-4;
  const int runs = 1 + static_cast<int>(turn / std::max(seconds_of(pair.measurement, 1), 1e-8));
  std::vector<int> limit_runs;
  for (const Measurement *limit : pair.against)
    limit_runs.push_back(1 + static_cast<int>(turn / std::max(seconds_of(*limit, 1), 1e-8)));
  std::vector<double> limit_seconds(pair.against.size());
  double seconds = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < limit_runs.size(); ++i)
      limit_seconds[i] += seconds_of(*pair.against[i], limit_runs[i]) / limit_runs[i];
    const double turn_seconds = seconds_of(pair.measurement, runs);
    seconds += turn_seconds / runs;
    state.SetIterationTime(turn_seconds);
  }
  pair.seconds.push_back(seconds / static_cast<double>(state.iterations()));
  pair.limit_seconds.push_back(*std::max_element(limit_seconds.begin(), limit_seconds.end()) /
                               static_cast<double>(state.iterations()));
}

// The lines are printed at the end, when all medians are known; meanwhile a sign of life.
class Progress : public benchmark::BenchmarkReporter {
public:
  bool ReportContext(const Context &) override { return true; }
  void ReportRuns(const std::vector<Run> &runs) override {
    if (isatty(STDERR_FILENO)) fmt::print(stderr, "\r{} repetitions", done_ += runs.size());
  }
  void Finalize() override {
    if (isatty(STDERR_FILENO)) fmt::print(stderr, "\r{:30}\r", "");
  }

private:
  std::size_t done_ = 0;
};

struct Summary {
  int reached = 0, missed = 0;
};

void print_line(const Pair &pair, bool csv, Summary &summary) {
  if (pair.seconds.empty()) return;
  std::vector<double> ratios(pair.seconds.size());
  std::transform(pair.seconds.begin(), pair.seconds.end(), pair.limit_seconds.begin(), ratios.begin(),
                 [](double own, double limit) { return limit / own; });
  const double ratio = median(ratios), seconds = median(pair.seconds);
  std::string wanted, verdict;
  if (pair.at_least > 0) {
    const bool reached = ratio >= pair.at_least;
    ++(reached ? summary.reached : summary.missed);
    wanted = fmt::format("{:.2f}", pair.at_least);
    verdict = reached ? "reached" : "missed";
  }
  const double grows = pair.measurement.rows / seconds / 1e9, gbytes = pair.measurement.bytes / seconds / 1e9;
  const Measurement &limit = *pair.against.front();
  const double limit_grows = limit.rows / median(pair.limit_seconds) / 1e9;
  if (csv)
    fmt::print("{},{:.4f},{:.3f},{},{:.4f},{:.3f},{},{}\n", pair.measurement.name, grows, gbytes, limit.name,
               limit_grows, ratio, wanted, verdict);
  else
    fmt::print("{:<42} {:>9.3f} {:>8.2f}  {:<34} {:>9.3f} {:>6.2f} {:>6} {}\n", pair.measurement.name, grows, gbytes,
               limit.name, limit_grows, ratio, wanted, verdict);
}

} // namespace

void declare_limit(Measurement measurement) {
  const std::string name = measurement.name;
  limits().try_emplace(name, std::move(measurement));
}

void measure(Measurement measurement, Limit limit) {
  Pair pair{std::move(measurement), {&limits().at(limit.name)}, limit.at_least, {}, {}};
  if (!limit.or_longer.empty()) pair.against.push_back(&limits().at(limit.or_longer));
  pairs().push_back(std::move(pair));
}

int run(int argc, char **argv, const std::string &title) {
  bool strict = false, csv = false;
  std::vector<char *> arguments{argv[0]};
  std::string repetitions = "--benchmark_repetitions=9", minimum = "--benchmark_min_time=0.01",
              interleaving = "--benchmark_enable_random_interleaving=true";
  for (std::string *defaults : {&repetitions, &minimum, &interleaving}) arguments.push_back(defaults->data());
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--strict")
      strict = true;
    else if (argument == "--csv")
      csv = true;
    else
      arguments.push_back(argv[i]);
  }
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  for (Pair &pair : pairs())
    benchmark::RegisterBenchmark(pair.measurement.name.c_str(), [&pair](benchmark::State &state) {
      run_pair(pair, state);
    })->UseManualTime();
  Progress progress;
  benchmark::RunSpecifiedBenchmarks(&progress);
  progress.Finalize();

  if (csv)
    fmt::print("name,grows_per_s,gbytes_per_s,limit,limit_grows_per_s,ratio,wanted,verdict\n");
  else
    fmt::print("{}\n{:<42} {:>9} {:>8}  {:<34} {:>9} {:>6} {:>6}\n", title, "", "Grows/s", "GB/s", "limit", "Grows/s",
               "ratio", "wanted");
  Summary summary;
  for (const Pair &pair : pairs()) print_line(pair, csv, summary);
  if (!csv) fmt::print("{} limits reached, {} missed\n\n", summary.reached, summary.missed);
  return strict && summary.missed > 0 ? 1 : 0;
}

const mipo_specialized_ctx &record() {
  static const host::Library library = [] {
    if (std::getenv(MIPO_LEVEL_VARIABLE) == nullptr) setenv(MIPO_LEVEL_VARIABLE, "avx2", 1);
    return host::Library::open();
  }();
  return library.record();
}

} // namespace mipo::bench
