// The rows of a chunk that are selected, and their values: what aggregation works on.
#ifndef MIPO_TOOLS_CHUNK_VALUES_H
#define MIPO_TOOLS_CHUNK_VALUES_H

#include <memory>
#include <vector>

#include "key_space.h"
#include "measure.h"
#include "mipo/host/column.h"
#include "mipo/host/context.h"
#include "mipo/host/library.h"
#include "step.h"

namespace mipo::tools {

/// Selected rows of a range, and their group numbers.
class ChunkRows {
public:
  /// Kernels unpack up to this many codes behind the ones that are wanted: so they always see room left.
  static constexpr ub4 spare = 64;

  ChunkRows(const host::Library &library, const Plan &plan, const host::Result *within, ub4 chunk);

  void go_to(ub4 begin, ub4 end);
  ub4 begin() const { return begin_; }
  ub4 end() const { return end_; }
  ub4 count() const { return count_; }

  void read_keys(const KeySpace &keys, Step &step);
  const ub4 *keys() const { return keys_.data(); }

  /// A call that takes the selected rows from begin() on.
  mipo_call_ctx call() const;
  /// The numbers of the selected rows.
  const std::vector<ub4> &numbers();

private:
  void read_keys_by_kernel(const KeySpace &keys);
  void read_keys_row_by_row(const KeySpace &keys);

  const host::Library &library_;
  const host::Result *within_;
  host::CallContext context_;
  bool few_ = false;
  std::vector<mipo_vec> columns_;
  std::vector<ub4> keys_, further_codes_, numbers_;
  ub4 begin_ = 0, end_ = 0, count_ = 0;
  bool numbers_known_ = false;
};

/// The values of a measure in a chunk, one for each selected row.
class ChunkValues {
public:
  static constexpr ub8 no_value = ~ub8{0};

  virtual ~ChunkValues() = default;
  virtual void read(ChunkRows &rows) = 0;
  /// What each row adds to the word of its group, and (unless null) whether it has a value.
  virtual void words(const ChunkRows &rows, sb8 *words, ub1 *present) = 0;
  /// Codes, or digits above the measure's least: numbers in the order of the values.
  virtual void ordered(const ChunkRows &rows, ub8 *numbers) = 0;
};

/// `read_step` and `words_step` are the places of the steps that reading and words() belong to.
std::unique_ptr<ChunkValues> make_chunk_values(const host::Library &library, const Measure &measure, ub4 chunk,
                                               std::vector<Step> &steps, std::size_t read_step, std::size_t words_step);

} // namespace mipo::tools

#endif
