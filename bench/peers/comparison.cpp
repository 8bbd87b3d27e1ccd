#include "comparison.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <optional>

namespace mipo::bench {
namespace {

double median(std::vector<double> values) {
  if (values.empty()) return std::numeric_limits<double>::quiet_NaN();
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  if (values.size() % 2 != 0) return *middle;
  return (*middle + *std::max_element(values.begin(), middle)) / 2;
}

class QueryRuns {
public:
  explicit QueryRuns(const PeerQuery &query) { result_.query = &query; }

  // The three ask for the processor one after another, and begin with another one each time. One that fails is not
  // asked again.
  void run(const Peers &peers, std::size_t first, bool counted) {
    const std::array<Peer *, 3> order{peers.mipo.get(), peers.duckdb.get(), peers.sqlite.get()};
    std::array<Answer, 3> answers;
    for (std::size_t i = 0; i < order.size(); ++i) {
      const std::size_t peer = (first + i) % order.size();
      if (failed_[peer]) continue;
      try {
        answers[peer] = order[peer]->run(result_.query->sql);
      } catch (const std::exception &error) {
        failed_[peer] = true;
        result_.complaints.push_back(order[peer]->name() + ": " + error.what());
        continue;
      }
      if (!counted) continue;
      wall_[peer].push_back(answers[peer].wall_seconds);
      if (answers[peer].kernel_seconds) kernels_.push_back(*answers[peer].kernel_seconds);
    }
    // Against the oldest of the three.
    for (std::size_t peer = 0; peer < sqlite && result_.complaints.empty(); ++peer)
      if (const auto difference = first_difference(answers[sqlite].rows, answers[peer].rows))
        result_.complaints.push_back(order[peer]->name() + " differs from " + order[sqlite]->name() + ": " +
                                     *difference);
    if (!failed_[sqlite]) result_.rows = answers[sqlite].rows.size();
  }

  QueryComparison finish() {
    result_.mipo_kernels = median(kernels_);
    result_.mipo_wall = median(wall_[0]);
    result_.duckdb_wall = median(wall_[1]);
    result_.sqlite_wall = median(wall_[sqlite]);
    return result_;
  }

private:
  static constexpr std::size_t sqlite = 2;

  QueryComparison result_;
  std::vector<double> kernels_;
  std::array<std::vector<double>, 3> wall_;
  std::array<bool, 3> failed_{};
};

} // namespace

bool Comparison::failed() const {
  return std::any_of(queries.begin(), queries.end(),
                     [](const QueryComparison &query) { return !query.complaints.empty(); });
}

double Comparison::geometric_mean(double (QueryComparison::*ratio)() const) const {
  double logarithms = 0, count = 0;
  for (const QueryComparison &query : queries)
    if (query.complaints.empty()) logarithms += std::log((query.*ratio)()), ++count;
  return count == 0 ? 1 : std::exp(logarithms / count);
}

std::size_t Comparison::reached_by_kernels() const {
  return static_cast<std::size_t>(std::count_if(queries.begin(), queries.end(), [](const QueryComparison &query) {
    return query.complaints.empty() && query.duckdb_to_kernels() > query.query->wanted;
  }));
}

bool Comparison::limits_reached() const {
  return !failed() && reached_by_kernels() == queries.size() &&
         geometric_mean(&QueryComparison::duckdb_to_wall) >= wanted_wall_ratio;
}

Comparison compare(const Peers &peers, std::uint64_t table_rows, int repetitions) {
  Comparison comparison{peers.mipo->name(), peers.duckdb->name(), peers.sqlite->name(), table_rows, repetitions, {}};
  std::vector<QueryRuns> runs;
  for (const PeerQuery &query : peer_queries) runs.emplace_back(query);
  for (int round = 0; round <= repetitions; ++round)
    for (QueryRuns &query : runs) query.run(peers, static_cast<std::size_t>(round), round > 0);
  for (QueryRuns &query : runs) comparison.queries.push_back(query.finish());
  return comparison;
}

} // namespace mipo::bench
