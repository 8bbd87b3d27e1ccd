#include "engine/run/parallel.h"

#include <exception>
#include <thread>
#include <vector>

namespace mipo::engine {

void in_parallel(unsigned threads, const std::function<void(unsigned)> &work) {
  std::vector<std::exception_ptr> failures(threads);
  const auto guarded = [&](unsigned number) {
    try {
      work(number);
    } catch (...) {
      failures[number] = std::current_exception();
    }
  };
  {
    std::vector<std::jthread> others;
    for (unsigned i = 1; i < threads; ++i) others.emplace_back(guarded, i);
    if (threads != 0) guarded(0);
  }
  for (const std::exception_ptr &failure : failures)
    if (failure) std::rethrow_exception(failure);
}

} // namespace mipo::engine
