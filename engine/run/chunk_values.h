// The values of arguments of aggregates for the selected rows of a chunk: what aggregation works on.
#ifndef MIPO_ENGINE_RUN_CHUNK_VALUES_H
#define MIPO_ENGINE_RUN_CHUNK_VALUES_H

#include <memory>
#include <vector>

#include "engine/plan/aggregate_input.h"
#include "engine/run/chunk_rows.h"
#include "engine/run/column_codes.h"
#include "engine/run/kernel_profile.h"
#include "mipo/host/library.h"

namespace mipo::engine {

/// The values of an argument of aggregates in a chunk, one for each selected row.
class ChunkValues {
public:
  virtual ~ChunkValues() = default;
  virtual void read(ChunkRows &rows) = 0;
  /// What each row adds to the word of its group, and (unless null) whether it has a value.
  virtual void words(const ChunkRows &rows, sb8 *words, ub1 *present) = 0;
  /// Codes, or digits above the input's least: numbers in the order of the values.
  virtual void ordered(const ChunkRows &rows, ub8 *numbers) = 0;
  /// Adds the calls of kernels and loops, but for the reading of codes; always as many.
  virtual void profile(std::vector<KernelProfile> &calls) const = 0;
};

/// Library, input and codes must outlive the values.
std::unique_ptr<ChunkValues> make_chunk_values(const host::Library &library, const AggregateInput &input, ub4 chunk,
                                               ChunkCodes &codes);

} // namespace mipo::engine

#endif
