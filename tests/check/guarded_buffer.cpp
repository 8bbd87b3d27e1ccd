#include "guarded_buffer.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <sys/mman.h>
#include <unistd.h>

// Under the address sanitizer the canaries are poisoned: it sees what a page is too coarse for.
#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#define POISON(address, size) ASAN_POISON_MEMORY_REGION(address, size)
#define UNPOISON(address, size) ASAN_UNPOISON_MEMORY_REGION(address, size)
#define SEES_POISONED __attribute__((no_sanitize("address")))
#else
#define POISON(address, size) static_cast<void>(0)
#define UNPOISON(address, size) static_cast<void>(0)
#define SEES_POISONED
#endif

namespace mipo::check {
namespace {

constexpr ub1 canary = 0xc9;

std::size_t page_size() {
  static const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return size;
}

char running_text[256] = "nothing yet";

void on_fault(int signal) {
  char message[400];
  const int length =
      std::snprintf(message, sizeof message, "\nsignal %d: access outside of a buffer in: %s\n", signal, running_text);
  if (write(STDERR_FILENO, message, static_cast<std::size_t>(length)) < 0) _exit(3);
  _exit(3);
}

} // namespace

GuardedBuffer::GuardedBuffer(std::size_t size, Edge edge, std::size_t shift, ub1 fill) : size_(size) {
  const std::size_t page = page_size();
  const std::size_t inner = (size + shift + page - 1) / page * page + (size + shift == 0 ? page : 0);
  mapping_size_ = inner + 2 * page;
  void *mapping = mmap(nullptr, mapping_size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (mapping == MAP_FAILED) {
    std::perror("mmap");
    std::abort();
  }
  mapping_ = static_cast<ub1 *>(mapping);
  if (mprotect(mapping_ + page, inner, PROT_READ | PROT_WRITE) != 0) std::abort();
  std::memset(mapping_ + page, canary, inner);
  data_ = mapping_ + page + (edge == Edge::start ? shift : inner - size - shift);
  std::memset(data_, fill, size);
  POISON(mapping_ + page, inner);
  UNPOISON(data_, size);
}

GuardedBuffer::~GuardedBuffer() {
  UNPOISON(mapping_, mapping_size_);
  munmap(mapping_, mapping_size_);
}

SEES_POISONED bool GuardedBuffer::intact() const {
  const ub1 *first = mapping_ + page_size(), *last = mapping_ + mapping_size_ - page_size();
  for (const ub1 *byte = first; byte < data_; ++byte)
    if (*byte != canary) return false;
  for (const ub1 *byte = data_ + size_; byte < last; ++byte)
    if (*byte != canary) return false;
  return true;
}

void GuardedBuffer::protect() {
  const std::size_t page = page_size();
  if (mprotect(mapping_ + page, mapping_size_ - 2 * page, PROT_READ) != 0) std::abort();
}

void report_faults() {
  for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE}) std::signal(signal, on_fault);
}

const std::string &running(const std::string &what, ub8 seed) {
  std::snprintf(running_text, sizeof running_text, "%s (seed %llu)", what.c_str(),
                static_cast<unsigned long long>(seed));
  return what;
}

} // namespace mipo::check
