#include "report.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

namespace mipo::bench {
namespace {

struct Ratio {
  const char *name;
  double (QueryComparison::*value)() const;
};

constexpr Ratio ratios[] = {{"duckdb_to_mipo_kernels", &QueryComparison::duckdb_to_kernels},
                            {"duckdb_to_mipo_wall", &QueryComparison::duckdb_to_wall},
                            {"sqlite_to_mipo_wall", &QueryComparison::sqlite_to_wall}};

const char *verdict(bool reached) {
  return reached ? "reached" : "missed";
}

std::string figure(double value, int digits) {
  return std::isnan(value) ? fmt::format("{:>11}", "-") : fmt::format("{:>11.{}f}", value, digits);
}

} // namespace

std::string table_report(const Comparison &comparison) {
  std::string text = fmt::format("{}, {} and {} over {} rows in memory, one thread each\n"
                                 "Medians of {} runs in turns, in milliseconds; / is how many times as long\n\n",
                                 comparison.mipo_name, comparison.duckdb_name, comparison.sqlite_name,
                                 comparison.table_rows, comparison.repetitions);
  text += fmt::format("{:<26}{:>6}{:>11}{:>11}{:>11}{:>11}{:>11}{:>11}{:>11}{:>9}\n", "", "", "mipo", "mipo", "DuckDB",
                      "SQLite", "DuckDB /", "DuckDB /", "SQLite /", "wanted /");
  text += fmt::format("{:<26}{:>6}{:>11}{:>11}{:>11}{:>11}{:>11}{:>11}{:>11}{:>9}\n", "query", "rows", "kernels",
                      "wall", "wall", "wall", "kernels", "wall", "wall", "kernels");
  for (const QueryComparison &query : comparison.queries) {
    text += fmt::format("{:<26}{:>6}", query.query->name, query.rows);
    for (const double seconds : {query.mipo_kernels, query.mipo_wall, query.duckdb_wall, query.sqlite_wall})
      text += figure(seconds * 1e3, 3);
    for (const Ratio &ratio : ratios) text += figure((query.*ratio.value)(), 2);
    text += fmt::format("{:>9.0f}", query.query->wanted);
    text += query.complaints.empty() ? "\n" : "  FAILED\n";
  }
  text += fmt::format("{:<26}{:>50}", "geometric mean", "");
  for (const Ratio &ratio : ratios) text += fmt::format("{:>11.2f}", comparison.geometric_mean(ratio.value));

  const std::size_t reached = comparison.reached_by_kernels(), all = comparison.queries.size();
  const double wall = comparison.geometric_mean(&QueryComparison::duckdb_to_wall);
  text += fmt::format("\n\nDuckDB's wall time to that of kernels, as wanted: {} of {} queries  {}\n", reached, all,
                      verdict(reached == all));
  text += fmt::format("DuckDB's wall time to mipo's, geometric mean: {:.2f}, wanted {:.2f}  {}\n", wall,
                      wanted_wall_ratio, verdict(!comparison.failed() && wall >= wanted_wall_ratio));
  if (!comparison.failed()) text += "All answers are equal.\n";
  for (const QueryComparison &query : comparison.queries)
    for (const std::string &complaint : query.complaints)
      text += fmt::format("\n{}\n  {}\n  {}\n", query.query->name, query.query->sql, complaint);
  return text;
}

std::string json_report(const Comparison &comparison) {
  nlohmann::ordered_json report{{"peers", {comparison.mipo_name, comparison.duckdb_name, comparison.sqlite_name}},
                                {"table_rows", comparison.table_rows},
                                {"repetitions", comparison.repetitions},
                                {"queries", nlohmann::ordered_json::array()}};
  for (const QueryComparison &query : comparison.queries) {
    nlohmann::ordered_json entry{{"name", query.query->name},
                                 {"sql", query.query->sql},
                                 {"rows", query.rows},
                                 {"mipo_kernel_seconds", query.mipo_kernels},
                                 {"mipo_wall_seconds", query.mipo_wall},
                                 {"duckdb_wall_seconds", query.duckdb_wall},
                                 {"sqlite_wall_seconds", query.sqlite_wall}};
    for (const Ratio &ratio : ratios) entry[ratio.name] = (query.*ratio.value)();
    entry["wanted_duckdb_to_mipo_kernels"] = query.query->wanted;
    entry["complaints"] = query.complaints;
    report["queries"].push_back(std::move(entry));
  }
  for (const Ratio &ratio : ratios) report["geometric_means"][ratio.name] = comparison.geometric_mean(ratio.value);
  report["reached_by_kernels"] = comparison.reached_by_kernels();
  report["answers_equal"] = !comparison.failed();
  report["limits_reached"] = comparison.limits_reached();
  return report.dump(2) + "\n";
}

} // namespace mipo::bench
