// Compression for tests: the bytes in reverse, which is enough to see whether and when a column is decompressed.
#ifndef MIPO_TESTS_HOST_REVERSAL_H
#define MIPO_TESTS_HOST_REVERSAL_H

#include <cstddef>
#include <span>
#include <vector>

#include "mipo/open.h"

namespace mipo::host {

inline std::vector<std::byte> reversed(std::span<const std::byte> bytes) {
  return {bytes.rbegin(), bytes.rend()};
}

struct ReversingDecompressor : mipo_decompressor {
  ReversingDecompressor() : mipo_decompressor{run} {}
  static ub4 run(mipo_decompressor *self, const void *source, void *destination, ub4 *out_length, ub4 size) {
    auto &counting = *static_cast<ReversingDecompressor *>(self);
    ++counting.runs;
    if (counting.fails) return 7;
    for (ub4 i = 0; i < size; ++i)
      static_cast<std::byte *>(destination)[i] = static_cast<const std::byte *>(source)[size - 1 - i];
    *out_length = size;
    return 0;
  }
  int runs = 0;
  bool fails = false;
};

} // namespace mipo::host

#endif
