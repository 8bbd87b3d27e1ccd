// The selected rows of a chunk of a table.
#ifndef MIPO_ENGINE_RUN_CHUNK_ROWS_H
#define MIPO_ENGINE_RUN_CHUNK_ROWS_H

#include <vector>

#include "mipo/host/column.h"
#include "mipo/host/context.h"
#include "mipo/host/library.h"

namespace mipo::engine {

class ChunkRows {
public:
  /// Kernels unpack up to this many codes after the ones that are wanted: so they always see room left.
  static constexpr ub4 spare = 64;

  /// `within` is null for all of `table_rows` rows.
  ChunkRows(const host::Library &library, const host::Result *within, ub4 table_rows);

  void go_to(ub4 begin, ub4 end);
  ub4 begin() const { return begin_; }
  ub4 end() const { return end_; }
  /// Selected rows among them.
  ub4 count() const { return count_; }

  /// A call that takes the selected rows from begin() on.
  mipo_call_ctx call() const;
  /// Throws what a call has reported.
  void throw_if_reported() { context_.throw_if_reported(); }
  /// The numbers of the selected rows.
  const std::vector<ub4> &numbers();

private:
  const host::Result *within_;
  host::CallContext context_;
  std::vector<ub4> numbers_;
  ub4 begin_ = 0, end_ = 0, count_ = 0;
  bool numbers_known_ = false;
};

} // namespace mipo::engine

#endif
