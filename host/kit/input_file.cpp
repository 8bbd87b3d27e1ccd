#include "input_file.h"

#include <zstd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

constexpr std::size_t piece_bytes = 256 * 1024;

struct CloseFile {
  void operator()(std::FILE *file) const noexcept { std::fclose(file); }
};
struct FreeStream {
  void operator()(ZSTD_DStream *stream) const noexcept { ZSTD_freeDStream(stream); }
};

} // namespace

struct InputFile::State {
  std::unique_ptr<std::FILE, CloseFile> file;
  ub8 bytes_done = 0;
  ub8 bytes_total = 0;
  std::vector<char> piece = std::vector<char>(piece_bytes); // what the file holds
  std::unique_ptr<ZSTD_DStream, FreeStream> stream;         // null: the file is not compressed
  std::vector<char> text;                                   // what it decompresses to
  ZSTD_inBuffer input{};
  bool frame_open = false;

  std::size_t read_piece() {
    const std::size_t bytes = std::fread(piece.data(), 1, piece.size(), file.get());
    if (bytes == 0 && std::ferror(file.get()) != 0) throw Error(std::string("cannot be read: ") + std::strerror(errno));
    bytes_done += bytes;
    return bytes;
  }

  // Fills `text` as far as the file goes.
  std::size_t decompress() {
    ZSTD_outBuffer output{text.data(), text.size(), 0};
    while (output.pos < output.size) {
      if (input.pos == input.size) {
        input = {piece.data(), read_piece(), 0};
        if (input.size == 0) {
          // The decoder may hold bytes back for which there was no room.
          if (frame_open && !step(output)) throw CompressionError("ends in the middle of a compressed frame");
          if (!frame_open || output.pos == output.size) break;
          continue;
        }
      }
      step(output);
    }
    return output.pos;
  }

  // One step of the decoder; whether it got any further.
  bool step(ZSTD_outBuffer &output) {
    const std::size_t before = output.pos + input.pos;
    const std::size_t left = ZSTD_decompressStream(stream.get(), &output, &input);
    if (ZSTD_isError(left) != 0)
      throw CompressionError(std::string("is not a sound zstd file: ") + ZSTD_getErrorName(left));
    frame_open = left != 0;
    return output.pos + input.pos != before;
  }
};

InputFile::InputFile(const std::filesystem::path &path) : state_(std::make_unique<State>()) {
  State &state = *state_;
  state.file.reset(std::fopen(path.c_str(), "rb"));
  if (!state.file) throw Error(std::string("cannot be opened: ") + std::strerror(errno));
  std::error_code unknown_size;
  const auto size = std::filesystem::file_size(path, unknown_size);
  if (!unknown_size) state.bytes_total = size;
  if (path.extension() != ".zst") return;
  state.stream.reset(ZSTD_createDStream());
  if (!state.stream) throw Error("zstd has no memory for decompressing");
  state.text.resize(piece_bytes);
}

InputFile::~InputFile() = default;

std::span<const char> InputFile::next() {
  State &state = *state_;
  if (!state.stream) return {state.piece.data(), state.read_piece()};
  return {state.text.data(), state.decompress()};
}

ub8 InputFile::bytes_done() const noexcept {
  return state_->bytes_done;
}

ub8 InputFile::bytes_total() const noexcept {
  return state_->bytes_total;
}

} // namespace mipo::host
