// Decompression on demand: what every kernel asks of the host before it reads a compressed column.
#ifndef MIPO_TESTS_REFERENCE_DECOMPRESSION_MODEL_H
#define MIPO_TESTS_REFERENCE_DECOMPRESSION_MODEL_H

#include <string>
#include <vector>

#include "mipo/integers.h"

namespace mipo::reference {

struct Compression {
  bool compressed = false, already_decompressed = false, decode_fails = false;
  ub4 decomp_size = 0;
  ub8 decomp_hint = 0, host_flags = 0;

  /// The callbacks of a kernel that calls itself `kernel`, as the test host writes them.
  std::vector<std::string> calls(const std::string &kernel) const;
};

} // namespace mipo::reference

#endif
