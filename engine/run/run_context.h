// What all operators of a query share.
#ifndef MIPO_ENGINE_RUN_RUN_CONTEXT_H
#define MIPO_ENGINE_RUN_RUN_CONTEXT_H

#include <algorithm>

#include "mipo/host/library.h"
#include "mipo/host/zstd_decompressor.h"

namespace mipo::engine {

struct RunContext {
  const host::Library &library;
  unsigned threads = 1; ///< at most; no result depends on it
  host::ZstdDecompressor decompressor{};

  /// Starting a thread takes longer than a kernel takes for so many rows.
  unsigned threads_for(ub8 rows) const {
    constexpr ub8 rows_worth_a_thread = 1 << 20;
    return static_cast<unsigned>(std::clamp<ub8>(rows / rows_worth_a_thread, 1, threads));
  }
};

} // namespace mipo::engine

#endif
