#include "decompression_model.h"

#include <cstdio>

namespace mipo::reference {

std::vector<std::string> Compression::calls(const std::string &kernel) const {
  if (!compressed || already_decompressed) return {};
  const std::string size = std::to_string(decomp_size);
  char hint[32];
  std::snprintf(hint, sizeof hint, "0x%llx", static_cast<unsigned long long>(decomp_hint));
  const std::string async_ok = (host_flags & 0x30) != 0 ? "1" : "0";
  std::vector<std::string> expected = {"alloc(env, heap, " + size + ", \"" + kernel + ": vec1_decomp\", 8, 16, " +
                                           hint + ")",
                                       "decode({env, heap, temp_alloc, temp_free, async_ok " + async_ok +
                                           "}, stream, slot's memory, length 0, " + size + ")"};
  if (decode_fails) expected.push_back("hostierr(env, frame, \"" + kernel + ": mipo_brep_decode failed\", 0)");
  return expected;
}

} // namespace mipo::reference
