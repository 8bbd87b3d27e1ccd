// Splitting rows among threads.
#ifndef MIPO_ENGINE_RUN_ROW_RANGES_H
#define MIPO_ENGINE_RUN_ROW_RANGES_H

#include <vector>

#include "mipo/host/column.h"

namespace mipo::engine {

/// `ranges` + 1 bounds of ranges about equally long, from 0 to `rows`: multiples of 64, but for the last.
std::vector<ub4> bounds_of_ranges(ub4 rows, unsigned ranges);

/// Whether a part of the rows is a column of its own: each row is stored, uncompressed, at a place that its number
/// tells.
bool can_be_sliced(const host::EncodedColumn &column);

/// The rows from `first` (a multiple of 64) on. The column must be one that can_be_sliced(), and outlive the vector.
mipo_vec slice(const host::EncodedColumn &column, ub4 first, ub4 rows);

} // namespace mipo::engine

#endif
