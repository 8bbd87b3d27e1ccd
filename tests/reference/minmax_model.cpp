#include "minmax_model.h"

#include <algorithm>
#include <numeric>

#include "run_model.h"

namespace mipo::reference {

using Selection = MinmaxCall::Selection;

ub4 MinmaxCall::rows() const {
  return run_length ? std::accumulate(run_lengths.begin(), run_lengths.end(), ub4{0}) : static_cast<ub4>(codes.size());
}

MinmaxOutcome minmax(const MinmaxCall &call) {
  MinmaxOutcome outcome;
  outcome.calls = call.compression.calls(call.kernel);
  if (call.run_length && call.selection == Selection::list && call.selected.empty())
    outcome.calls.push_back("hostierr(env, frame, \"" + call.kernel + ": [rle] ones_vec size is zero\", 0)");

  std::vector<ub4> rows = call.selected;
  if (call.selection == Selection::none) {
    rows.resize(call.rows());
    std::iota(rows.begin(), rows.end(), 0);
  }
  const std::vector<std::size_t> runs = run_of_rows(call.run_lengths);

  // The search is over when what was asked for cannot get better.
  const ub4 last_code = call.code_count - 1;
  const ub4 least_goal = call.mode == 2 ? last_code : 0, greatest_goal = call.mode == 1 ? 0 : last_code;
  ub4 least = call.code_count, greatest = 0;
  for (const ub4 row : rows) {
    if (row < call.next_row) continue;
    const ub4 code = call.codes[call.run_length ? runs[row] : row];
    if (call.null_aware && code == 0) continue;
    least = std::min(least, code);
    greatest = std::max(greatest, code);
    if (least <= least_goal && greatest >= greatest_goal) {
      outcome.ended_early = true;
      break;
    }
  }

  if (least != call.code_count) {
    outcome.code = 0;
    outcome.extremes = {least, greatest};
  }
  if (call.run_length) outcome.nset = outcome.extremes ? 2 : 0;

  // All runs are swept several at a time: what the sweep saw beyond the end of the search is not told.
  if (outcome.ended_early && call.run_length && call.selection == Selection::none) {
    outcome.least_is_told = call.mode != 2;
    outcome.greatest_is_told = call.mode != 1;
  }

  const bool ran_out = !outcome.ended_early;
  if (call.selection == Selection::none && (ran_out || !call.run_length)) outcome.next_row = call.rows();
  if (call.selection == Selection::list && ran_out && !rows.empty() && rows.back() >= call.next_row)
    outcome.next_row = rows.back() + 1;
  return outcome;
}

} // namespace mipo::reference
