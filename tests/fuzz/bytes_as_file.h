// Bytes that a fuzzer made up, as a file that has a path and no place on a disk.
#ifndef MIPO_TESTS_FUZZ_BYTES_AS_FILE_H
#define MIPO_TESTS_FUZZ_BYTES_AS_FILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace mipo::fuzz {

class BytesAsFile {
public:
  BytesAsFile() : descriptor_(memfd_create("fuzzed", 0)), path_("/proc/self/fd/" + std::to_string(descriptor_)) {
    if (descriptor_ < 0) std::abort();
  }
  BytesAsFile(const BytesAsFile &) = delete;
  ~BytesAsFile() { close(descriptor_); }

  const std::filesystem::path &holding(const std::uint8_t *bytes, std::size_t size) {
    if (ftruncate(descriptor_, 0) != 0 || pwrite(descriptor_, bytes, size, 0) != static_cast<ssize_t>(size))
      std::abort();
    return path_;
  }

private:
  int descriptor_;
  std::filesystem::path path_;
};

} // namespace mipo::fuzz

#endif
