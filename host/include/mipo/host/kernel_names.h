// All column kernels that a key can stand for, whether or not the library at hand has them.
#ifndef MIPO_HOST_KERNEL_NAMES_H
#define MIPO_HOST_KERNEL_NAMES_H

#include <span>
#include <string_view>

#include "mipo/integers.h"
#include "mipo/keys.h"

namespace mipo::host {

/// How a kernel is called: the member of the union `mipo_kernel` that takes its address.
enum class KernelShape { one_sided, two_sided, decode, set, minmax, burst, arithmetic, xlate, placeholder };

/// One column kernel.
struct KernelDescription {
  ub4 key;                 ///< index in the dispatch table
  std::string_view name;   ///< "mipo_ge_le_dict_16bit_null"
  std::string_view family; ///< "dict", "dict null", "fixed", "fixed tz", "xlate sim c2d", "arithmetic sum" ...
  KernelShape shape;
};

/// The name table's text for a slot without a kernel.
inline constexpr std::string_view invalid_kernel_name = "mipo_invalid_dispatch";

/// All 925 kernels in ascending order of their keys. Static data.
std::span<const KernelDescription> all_kernels() noexcept;

/// The kernel with this key, or null if the key stands for none.
const KernelDescription *find_kernel(ub4 key) noexcept;

/// The kernel of this name, or null.
const KernelDescription *find_kernel(std::string_view name) noexcept;

/// Name of the kernel with this key; `invalid_kernel_name` if there is none.
std::string_view kernel_name(ub4 key) noexcept;

} // namespace mipo::host

#endif
