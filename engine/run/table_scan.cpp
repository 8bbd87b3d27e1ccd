#include "engine/run/table_scan.h"

#include <algorithm>
#include <atomic>

#include "engine/run/parallel.h"

namespace mipo::engine {

std::optional<Batch> TableScan::next() {
  if (done_) return std::nullopt;
  done_ = true;
  const auto threads = static_cast<unsigned>(std::min<std::size_t>(context_.threads, columns_.size()));
  std::atomic<std::size_t> next = 0;
  in_parallel(threads, [&](unsigned) {
    for (std::size_t i = next++; i < columns_.size(); i = next++) columns_[i]->check();
  });
  return Batch{{TableRows{table_.row_count, nullptr, std::nullopt}}, nullptr};
}

} // namespace mipo::engine
