// The same work on several threads at once.
#ifndef MIPO_ENGINE_RUN_PARALLEL_H
#define MIPO_ENGINE_RUN_PARALLEL_H

#include <functional>

namespace mipo::engine {

/// Calls work(0) to work(threads - 1), each on a thread of its own, and comes back when all have ended. If some of them
/// throw, the exception of the first in number is thrown.
void in_parallel(unsigned threads, const std::function<void(unsigned)> &work);

} // namespace mipo::engine

#endif
