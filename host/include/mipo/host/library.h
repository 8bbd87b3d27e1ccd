// The opened library: its record, where it came from, and its kernels by key.
#ifndef MIPO_HOST_LIBRARY_H
#define MIPO_HOST_LIBRARY_H

#include <filesystem>
#include <string_view>
#include <vector>

#include "mipo/host/errors.h"
#include "mipo/host/kernel_names.h"
#include "mipo/host/return_codes.h"
#include "mipo/mipo.h"
#include "mipo/open.h"

namespace mipo::host {

/// One of the 73 entries of the record.
struct EntryDescription {
  unsigned slot;         ///< position in the record, from 15
  std::string_view name; ///< "mipo_lbivand_dydi"
  bool present;          ///< the library at hand has it
};

/// Owns the opened library; closes it when destroyed. Nothing that came from it may be used after that. Reading is
/// safe from any number of threads.
class Library {
public:
  /// Opens the library beside libmipohost.so, at the level that MIPO_LEVEL names or the best one for this processor.
  /// Throws OpenError.
  static Library open();
  /// Opens the library in this file, whatever MIPO_LEVEL says. Throws OpenError.
  static Library open_path(const std::filesystem::path &path);

  Library(Library &&other) noexcept;
  Library &operator=(Library &&other) noexcept;
  ~Library();

  const mipo_specialized_ctx &record() const noexcept { return *library_.record; }
  /// Instruction set that the library was built for: "plain", "sse42", "avx2" or "neon".
  std::string_view level() const noexcept { return library_.level; }
  /// The file that was opened.
  std::string_view path() const noexcept { return library_.path; }
  /// Why this level was chosen.
  std::string_view message() const noexcept { return library_.message; }

  /// The kernel with this key, in the shape that its operation has. Throws MissingKernel if the library does not have
  /// it, if the key stands for no kernel, or if the kernel has another shape.
  mipo_one_sided_kernel *one_sided(ub4 key) const { return kernel(key, KernelShape::one_sided).one_sided; }
  mipo_two_sided_kernel *two_sided(ub4 key) const { return kernel(key, KernelShape::two_sided).two_sided; }
  mipo_decode_kernel *decode(ub4 key) const { return kernel(key, KernelShape::decode).decode; }
  mipo_set_kernel *set(ub4 key) const { return kernel(key, KernelShape::set).set; }
  mipo_minmax_kernel *minmax(ub4 key) const { return kernel(key, KernelShape::minmax).minmax; }
  mipo_burst_kernel *burst(ub4 key) const { return kernel(key, KernelShape::burst).burst; }
  mipo_arithmetic_kernel *arithmetic(ub4 key) const { return kernel(key, KernelShape::arithmetic).arithmetic; }
  mipo_xlate_kernel *xlate(ub4 key) const { return kernel(key, KernelShape::xlate).xlate; }

  /// Whether the slot of this key holds a kernel. Any number is allowed.
  bool has_kernel(ub4 key) const noexcept;
  /// Column kernels that the library has, of the 925 that keys stand for.
  unsigned kernel_count() const noexcept;
  /// The entries of the record in order of their slots, with their presence.
  std::vector<EntryDescription> entries() const;
  /// Entries that the library has, of the 73 in the record.
  unsigned entry_count() const noexcept;

private:
  explicit Library(const mipo_library &library) noexcept : library_(library) {}
  mipo_kernel kernel(ub4 key, KernelShape shape) const;

  mipo_library library_;
};

[[noreturn]] void throw_missing_entry(const Library &library, const void *field_in_record);

/// An entry of the record, checked: `entry(library, &mipo_specialized_ctx::mipo_hash_dydi)(...)`. Throws MissingKernel
/// if the library does not have it.
template <class Entry>
Entry entry(const Library &library, Entry mipo_specialized_ctx::*member) {
  const Entry &field = library.record().*member;
  if (field == nullptr) throw_missing_entry(library, &field);
  return field;
}

} // namespace mipo::host

#endif
