// Memory that shows a stray access: inaccessible pages on both sides of the bytes, and canaries where the bytes do not
// fill their pages.
//
//   │ no access │ canaries .... bytes │ no access │       Edge::end: the bytes end where the page does
//   │ no access │ bytes .... canaries │ no access │       Edge::start
#ifndef MIPO_TESTS_CHECK_GUARDED_BUFFER_H
#define MIPO_TESTS_CHECK_GUARDED_BUFFER_H

#include <cstddef>

#include <string>

#include "check/random.h"
#include "mipo/integers.h"

namespace mipo::check {

enum class Edge { start, end };

class GuardedBuffer {
public:
  /// `size` bytes, all `fill`, against the inaccessible page at `edge`. `shift` moves them away from that edge by so
  /// many bytes, to any address; the bytes in between are canaries.
  explicit GuardedBuffer(std::size_t size, Edge edge = Edge::end, std::size_t shift = 0, ub1 fill = 0xa5);
  GuardedBuffer(const GuardedBuffer &) = delete;
  GuardedBuffer &operator=(const GuardedBuffer &) = delete;
  ~GuardedBuffer();

  ub1 *data() const { return data_; }
  ub8 *words() const { return reinterpret_cast<ub8 *>(data_); }
  std::size_t size() const { return size_; }

  /// Nobody wrote to a byte beside the buffer's own.
  bool intact() const;
  /// Makes the bytes read-only, so that a write to a source is seen too.
  void protect();

private:
  ub1 *mapping_;
  std::size_t mapping_size_;
  ub1 *data_;
  std::size_t size_;
};

/// From now on, an access outside ends the process with a message that names what was running: the text that
/// `running(...)` was given last, and gives back.
void report_faults();
const std::string &running(const std::string &what, ub8 seed = test_seed());

} // namespace mipo::check

#endif
