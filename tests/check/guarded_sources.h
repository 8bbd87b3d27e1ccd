// What the tests of all kernels lay out in memory: sources in guarded buffers, records full of noise.
#ifndef MIPO_TESTS_CHECK_GUARDED_SOURCES_H
#define MIPO_TESTS_CHECK_GUARDED_SOURCES_H

#include <cstring>
#include <memory>
#include <vector>

#include "check/guarded_buffer.h"
#include "check/random.h"

namespace mipo::check {

/// Words of a bit vector; the bits after the last row are noise.
std::vector<ub8> bit_vector_words(const std::vector<bool> &bits, Random &random);

/// Write-protected copies of sources, each against an inaccessible page.
class GuardedSources {
public:
  template <class T>
  T *keep(const std::vector<T> &elements, Edge edge = Edge::end) {
    buffers_.push_back(std::make_unique<GuardedBuffer>(sizeof(T) * elements.size(), edge));
    if (!elements.empty()) std::memcpy(buffers_.back()->data(), elements.data(), sizeof(T) * elements.size());
    buffers_.back()->protect();
    return reinterpret_cast<T *>(buffers_.back()->data());
  }
  ub8 *keep_bits(const std::vector<bool> &bits, Random &random) { return keep(bit_vector_words(bits, random)); }

private:
  std::vector<std::unique_ptr<GuardedBuffer>> buffers_;
};

/// Fields that a kernel has no business with are to hold noise.
template <class... Record>
void fill_with_noise(Random &random, Record &...records) {
  const auto fill = [&](ub1 *bytes, std::size_t size) {
    while (size-- != 0) *bytes++ = static_cast<ub1>(random.next());
  };
  (fill(reinterpret_cast<ub1 *>(&records), sizeof records), ...);
}

inline Edge some_edge(Random &random) {
  return random.chance(50) ? Edge::start : Edge::end;
}

template <class Record>
bool same(const Record &a, const Record &b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

} // namespace mipo::check

#endif
