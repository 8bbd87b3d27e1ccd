// A file read in large pieces, decompressed on the way if its name ends in ".zst".
#ifndef MIPO_HOST_INPUT_FILE_H
#define MIPO_HOST_INPUT_FILE_H

#include <filesystem>
#include <memory>
#include <span>

#include "mipo/integers.h"

namespace mipo::host {

class InputFile {
public:
  /// Throws Error with the reason if the file cannot be opened.
  explicit InputFile(const std::filesystem::path &path);
  ~InputFile();
  InputFile(const InputFile &) = delete;
  InputFile &operator=(const InputFile &) = delete;

  /// The next bytes; empty at the end. They live until the next call. Throws Error if the file cannot be read, and
  /// CompressionError if it is damaged or ends too early.
  std::span<const char> next();
  /// Bytes of the file itself that have been read, and its size; 0 if that is not known.
  ub8 bytes_done() const noexcept;
  ub8 bytes_total() const noexcept;

private:
  struct State;
  std::unique_ptr<State> state_;
};

} // namespace mipo::host

#endif
