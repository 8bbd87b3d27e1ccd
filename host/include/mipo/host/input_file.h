// An input that is opened once and read from its beginning to its end: a file, a named pipe, or standard input. What it
// holds is found by its first bytes. Only in builds with MIPO_HOST_FILES.
#ifndef MIPO_HOST_INPUT_FILE_H
#define MIPO_HOST_INPUT_FILE_H

#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "mipo/host/aligned_buffer.h"
#include "mipo/integers.h"

namespace mipo::host {

class InputFile {
public:
  /// "-" is standard input, and so are /dev/stdin and its other names. Throws Error with the reason if the file cannot
  /// be opened or is a directory; CompressionError if it is named .zst or .gz and holds something else.
  explicit InputFile(const std::filesystem::path &path);
  InputFile(InputFile &&) noexcept;
  ~InputFile();

  /// As it was opened; standard_input_name for that.
  const std::string &name() const noexcept;
  static constexpr const char *standard_input_name = "standard input";
  static bool is_standard_input(const std::filesystem::path &path);

  /// Whether the file begins with these bytes.
  bool begins_with(std::string_view bytes) const noexcept;
  /// The next bytes, decompressed if the file is compressed by zstd or gzip; empty at the end. They live until the next
  /// call. Throws Error if the file cannot be read, and CompressionError if it is damaged or ends too early.
  std::span<const char> next();
  /// Bytes of the file itself that have been read, and its size; 0 if that is not known.
  ub8 bytes_done() const noexcept;
  ub8 bytes_total() const noexcept;

  /// All bytes of the file as they are stored, in place of next(): a regular file is mapped, anything else read to its
  /// end. Throws Error. The buffer outlives the file.
  AlignedBuffer contents();

private:
  struct State;
  std::unique_ptr<State> state_;
};

} // namespace mipo::host

#endif
