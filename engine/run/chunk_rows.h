// The selected rows of a chunk of a table.
#ifndef MIPO_ENGINE_RUN_CHUNK_ROWS_H
#define MIPO_ENGINE_RUN_CHUNK_ROWS_H

#include <vector>

#include "mipo/host/column.h"
#include "mipo/host/context.h"
#include "mipo/host/library.h"
#include "mipo/host/resumable.h"

namespace mipo::engine {

class ChunkRows {
public:
  /// Room that buffers for codes have beyond a chunk: kernels store whole blocks where there is room for them.
  static constexpr ub4 spare = 64;

  /// `within` is null for all of `table_rows` rows.
  ChunkRows(const host::Library &library, const host::Result *within, ub4 table_rows);

  void go_to(ub4 begin, ub4 end);
  ub4 begin() const { return begin_; }
  ub4 end() const { return end_; }
  /// Selected rows among them.
  ub4 count() const { return count_; }

  /// For cursors over the rows of all chunks.
  host::RowSelection selection() const { return selection_; }
  host::CallContext &context() { return context_; }
  /// The numbers of the selected rows.
  const std::vector<ub4> &numbers();

private:
  // Calls take(row, word) for each 64 rows of the chunk: the first row, and which of them are selected.
  void each_word(auto take) const {
    const ub8 *words = within_ != nullptr ? within_->bits().words() : nullptr;
    for (ub4 row = begin_; row < end_; row += 64) {
      const ub8 word = words != nullptr ? words[row / 64] : ~ub8{0};
      take(row, end_ - row < 64 ? word & ((ub8{1} << (end_ - row)) - 1) : word);
    }
  }

  const host::Result *within_;
  host::RowSelection selection_;
  host::CallContext context_;
  std::vector<ub4> numbers_;
  ub4 begin_ = 0, end_ = 0, count_ = 0;
  bool numbers_known_ = false;
};

} // namespace mipo::engine

#endif
