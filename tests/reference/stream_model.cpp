#include "stream_model.h"

namespace mipo::reference {

EqualRows compare_streams(const Rows &left, const Rows &right) {
  EqualRows result;
  for (std::size_t row = 0; row < left.size(); ++row) {
    if (left[row] == right[row]) {
      ++result.nset;
      continue;
    }
    if (!result.words) result.words.emplace((left.size() + 63) / 64, ~ub8{0});
    (*result.words)[row / 64] -= ub8{1} << row % 64;
  }
  result.code = result.nset == 0;
  return result;
}

ub8 SelectiveCopy::position_of(ub4 row) const {
  ub8 position = 0;
  for (ub4 earlier = 0; earlier < row; ++earlier) position += rows[earlier].size() + bytes_beside_row;
  return position;
}

SelectiveOutcome copy_selected(const SelectiveCopy &call) {
  SelectiveOutcome outcome;
  for (std::size_t place = 0; place < call.selected.size(); ++place) {
    const ub4 row = call.selected[place];
    const ub4 position = call.is_list ? static_cast<ub4>(place) : row;
    if (position < call.next_row) continue;
    const ub8 size = call.rows[row].size() + call.bytes_beside_row;
    const bool fits = !call.byte_capacity || outcome.bytes + size <= *call.byte_capacity;
    if (outcome.copied.size() == call.row_capacity || !fits) {
      outcome.code = 23;
      outcome.next_row = position;
      outcome.data_pos = call.position_of(row);
      return outcome;
    }
    outcome.copied.push_back(row);
    outcome.bytes += size;
  }
  const auto row_count = static_cast<ub4>(call.rows.size());
  outcome.next_row = call.is_list ? static_cast<ub4>(call.selected.size()) : row_count;
  if (!call.is_list) outcome.data_pos = call.position_of(row_count);
  return outcome;
}

} // namespace mipo::reference
