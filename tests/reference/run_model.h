// Run-length columns, worked out row by row: which run a row lies in, and selected runs as rows.
#ifndef MIPO_TESTS_REFERENCE_RUN_MODEL_H
#define MIPO_TESTS_REFERENCE_RUN_MODEL_H

#include <vector>

#include "mipo/integers.h"

namespace mipo::reference {

/// For each row, the number of its run.
inline std::vector<std::size_t> run_of_rows(const std::vector<ub4> &lengths) {
  std::vector<std::size_t> runs;
  for (std::size_t run = 0; run < lengths.size(); ++run) runs.insert(runs.end(), lengths[run], run);
  return runs;
}

/// The first row of each run, and the row count.
inline std::vector<ub4> run_starts(const std::vector<ub4> &lengths) {
  std::vector<ub4> starts = {0};
  for (const ub4 length : lengths) starts.push_back(starts.back() + length);
  return starts;
}

/// Selected runs as bits of rows.
inline std::vector<bool> rows_of_runs(const std::vector<ub4> &lengths, const std::vector<bool> &selected) {
  std::vector<bool> rows;
  for (const std::size_t run : run_of_rows(lengths)) rows.push_back(selected[run]);
  return rows;
}

} // namespace mipo::reference

#endif
