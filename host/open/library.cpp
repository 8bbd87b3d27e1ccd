#include "mipo/host/library.h"

#include <cstddef>
#include <iterator>
#include <string>
#include <utility>

namespace mipo::host {
namespace {

// The entries' names in order, from their one list.
#define NAME_OF_ENTRY(result, name, arguments) #name,
constexpr std::string_view entry_names[] = {MIPO_ENTRIES(NAME_OF_ENTRY)};
#undef NAME_OF_ENTRY
static_assert(std::size(entry_names) == MIPO_ENTRY_COUNT);

std::string_view shape_name(KernelShape shape) {
  constexpr std::string_view names[] = {"one-sided predicate", "two-sided predicate", "decoder",
                                        "set kernel",          "minmax kernel",       "run expansion",
                                        "arithmetic kernel",   "translation kernel",  "placeholder"};
  return names[static_cast<unsigned>(shape)];
}

void check_opened(int status, const mipo_library &library) {
  if (status != 0) throw OpenError("the library cannot be opened: " + std::string(library.message));
}

} // namespace

Library Library::open() {
  mipo_library library;
  check_opened(mipo_open(&library), library);
  return Library(library);
}

Library Library::open_path(const std::filesystem::path &path) {
  mipo_library library;
  check_opened(mipo_open_path(&library, path.c_str()), library);
  return Library(library);
}

Library::Library(Library &&other) noexcept : library_(other.library_) {
  other.library_.handle = nullptr;
  other.library_.record = nullptr;
}

Library &Library::operator=(Library &&other) noexcept {
  std::swap(library_, other.library_);
  return *this;
}

Library::~Library() {
  mipo_close(&library_);
}

bool Library::has_kernel(ub4 key) const noexcept {
  return key < MIPO_DISPATCH_TABLE_SLOTS && record().dispatch_table[key].any != nullptr;
}

mipo_kernel Library::kernel(ub4 key, KernelShape shape) const {
  const KernelDescription *description = find_kernel(key);
  const std::string name(description != nullptr ? description->name : invalid_kernel_name);
  const std::string subject = name + " (key " + std::to_string(key) + ")";
  if (description == nullptr) throw MissingKernel(subject + ": no kernel has this key", name, key);
  if (description->shape != shape)
    throw MissingKernel(subject + " is a " + std::string(shape_name(description->shape)) + ", not a " +
                            std::string(shape_name(shape)),
                        name, key);
  if (!has_kernel(key))
    throw MissingKernel("the library in " + std::string(path()) + " does not have the kernel " + subject, name, key);
  return record().dispatch_table[key];
}

unsigned Library::kernel_count() const noexcept {
  unsigned count = 0;
  for (ub4 key = 0; key < MIPO_DISPATCH_TABLE_SLOTS; ++key) count += has_kernel(key) ? 1 : 0;
  return count;
}

std::vector<EntryDescription> Library::entries() const {
  const mipo_specialized_ctx &ctx = record();
  std::vector<EntryDescription> all;
  all.reserve(MIPO_ENTRY_COUNT);
#define DESCRIBE_ENTRY(result, name, arguments) \
  all.push_back({static_cast<unsigned>(offsetof(mipo_specialized_ctx, name) / 8), #name, ctx.name != nullptr});
  MIPO_ENTRIES(DESCRIBE_ENTRY)
#undef DESCRIBE_ENTRY
  return all;
}

unsigned Library::entry_count() const noexcept {
  const mipo_specialized_ctx &ctx = record();
  unsigned count = 0;
#define COUNT_ENTRY(result, name, arguments) count += ctx.name != nullptr ? 1 : 0;
  MIPO_ENTRIES(COUNT_ENTRY)
#undef COUNT_ENTRY
  return count;
}

void throw_missing_entry(const Library &library, const void *field_in_record) {
  const auto offset = static_cast<const char *>(field_in_record) - reinterpret_cast<const char *>(&library.record());
  const auto slot = static_cast<ub4>(offset / 8);
  const std::string name(entry_names[slot - MIPO_FIRST_ENTRY_SLOT]);
  throw MissingKernel("the library in " + std::string(library.path()) + " does not have the entry " + name + " (slot " +
                          std::to_string(slot) + ")",
                      name, slot);
}

} // namespace mipo::host
