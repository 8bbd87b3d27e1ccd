#include "mipo/host/input_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "host/input/decompressing_reader.h"
#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

constexpr std::size_t piece_bytes = 256 * 1024;
constexpr std::size_t head_bytes = 16; // what tells kinds of files apart

[[noreturn]] void fail(const char *what) {
  throw Error(std::string(what) + ": " + std::strerror(errno));
}

class Descriptor {
public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor &) = delete;
  Descriptor &operator=(const Descriptor &) = delete;
  ~Descriptor() {
    if (number_ >= 0) ::close(number_);
  }
  int number() const noexcept { return number_; }

private:
  int number_;
};

int open_input(const std::filesystem::path &path) {
  if (InputFile::is_standard_input(path)) return ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
  return ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
}

// Takes the place of a buffer's memory: unmapped when the last one that refers to it is gone.
struct Mapping {
  void *bytes;
  std::size_t size;
  Mapping(void *of_bytes, std::size_t of_size) : bytes(of_bytes), size(of_size) {}
  Mapping(const Mapping &) = delete;
  Mapping &operator=(const Mapping &) = delete;
  ~Mapping() { ::munmap(bytes, size); }
};

} // namespace

struct InputFile::State {
  explicit State(const std::filesystem::path &path) : descriptor(open_input(path)) {
    struct stat status {};
    if (descriptor.number() < 0 || ::fstat(descriptor.number(), &status) != 0) fail("cannot be opened");
    if (S_ISDIR(status.st_mode)) throw Error("is a directory");
    is_regular = S_ISREG(status.st_mode);
    if (is_regular) bytes_total = static_cast<ub8>(status.st_size);
    // A pipe gives as much as its writer wrote at once.
    while (head_size < head_bytes) {
      const std::size_t bytes = read_some(std::span(piece).subspan(head_size));
      if (bytes == 0) break;
      head_size += bytes;
    }
  }

  std::size_t read_some(std::span<char> into) {
    ssize_t bytes = 0;
    do bytes = ::read(descriptor.number(), into.data(), into.size());
    while (bytes < 0 && errno == EINTR);
    if (bytes < 0) fail("cannot be read");
    bytes_done += static_cast<ub8>(bytes);
    return static_cast<std::size_t>(bytes);
  }

  std::string_view head() const { return {piece.data(), head_size}; }

  std::span<const char> next_piece() {
    if (!std::exchange(head_taken, true) && head_size != 0) return std::span(piece).first(head_size);
    return std::span(piece).first(read_some(piece));
  }

  std::string name;
  Descriptor descriptor;
  bool is_regular = false;
  ub8 bytes_done = 0;
  ub8 bytes_total = 0;
  std::vector<char> piece = std::vector<char>(piece_bytes); // what the file holds
  std::size_t head_size = 0;                                // of its first bytes, which are looked at first
  bool head_taken = false;
  std::unique_ptr<DecompressingReader> reader; // null: the file is not compressed
  std::vector<char> text;                      // what it decompresses to
};

bool InputFile::is_standard_input(const std::filesystem::path &path) {
  for (const char *name : {"-", "/dev/stdin", "/dev/fd/0", "/proc/self/fd/0"})
    if (path == name) return true;
  return false;
}

InputFile::InputFile(const std::filesystem::path &path) : state_(std::make_unique<State>(path)) {
  State &state = *state_;
  state.name = is_standard_input(path) ? standard_input_name : path.string();
  state.reader = reader_for(state.head(), [&state] { return state.next_piece(); });
  if (state.reader) state.text.resize(piece_bytes);
  for (const char *extension : {".zst", ".gz"})
    if (!state.reader && state.head_size != 0 && path.extension() == extension)
      throw CompressionError(std::string("is named ") + extension + ", and is not compressed");
}

InputFile::InputFile(InputFile &&) noexcept = default;
InputFile::~InputFile() = default;

const std::string &InputFile::name() const noexcept {
  return state_->name;
}

bool InputFile::begins_with(std::string_view bytes) const noexcept {
  return state_->head().starts_with(bytes);
}

std::span<const char> InputFile::next() {
  State &state = *state_;
  if (!state.reader) return state.next_piece();
  return std::span(state.text).first(state.reader->read(state.text));
}

ub8 InputFile::bytes_done() const noexcept {
  return state_->bytes_done;
}

ub8 InputFile::bytes_total() const noexcept {
  return state_->bytes_total;
}

AlignedBuffer InputFile::contents() {
  State &state = *state_;
  if (state.is_regular && state.bytes_total != 0) {
    const std::size_t size = state.bytes_total;
    void *bytes = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, state.descriptor.number(), 0);
    if (bytes == MAP_FAILED) fail("cannot be mapped into memory");
    return {std::span(static_cast<const std::byte *>(bytes), size), std::make_shared<const Mapping>(bytes, size)};
  }
  std::vector<char> bytes;
  for (auto piece = state.next_piece(); !piece.empty(); piece = state.next_piece())
    bytes.insert(bytes.end(), piece.begin(), piece.end());
  AlignedBuffer buffer(bytes.size());
  if (!bytes.empty()) std::memcpy(buffer.data(), bytes.data(), bytes.size());
  return buffer;
}

} // namespace mipo::host
