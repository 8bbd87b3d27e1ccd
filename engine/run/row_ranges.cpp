#include "engine/run/row_ranges.h"

#include <algorithm>

namespace mipo::engine {

std::vector<ub4> bounds_of_ranges(ub4 rows, unsigned ranges) {
  std::vector<ub4> bounds;
  const ub8 words = (ub8{rows} + 63) / 64;
  for (unsigned i = 0; i <= ranges; ++i)
    bounds.push_back(static_cast<ub4>(std::min<ub8>(words * i / ranges * 64, rows)));
  return bounds;
}

bool can_be_sliced(const host::EncodedColumn &column) {
  const bool placed_by_row =
      column.encoding().form == host::ValueForm::dictionary || column.encoding().form == host::ValueForm::fixed;
  return placed_by_row && !column.has_runs() && !column.is_compressed();
}

mipo_vec slice(const host::EncodedColumn &column, ub4 first, ub4 rows) {
  mipo_vec vec = column.vec();
  vec.data = static_cast<char *>(vec.data) + ub8{first} * static_cast<ub8>(column.bits()) / 8;
  vec.nrows = rows;
  if (vec.filter_bv != nullptr) vec.filter_bv += first / 64;
  return vec;
}

} // namespace mipo::engine
