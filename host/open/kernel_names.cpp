#include "mipo/host/kernel_names.h"

#include <algorithm>
#include <array>

#include "frame/kernel_lists.h"

namespace mipo::host {
namespace {

// The family as people say it, from the parts of the key.
constexpr std::string_view family_name(ub4 operation, ub4 family, ub4 variant) {
  constexpr std::string_view xlate[2][4] = {
      {"xlate sim", "xlate off", "xlate ind", ""},
      {"xlate sim c2d", "xlate off c2d", "xlate ind c2d", "xlate groupkey c2d"},
  };
  constexpr std::string_view column[2][4] = {
      {"fixed", "dict", "dynp", ""},
      {"fixed tz", "dict null", "dynp tz", ""},
  };
  switch (operation) {
  case MIPO_OP_BURST_RLE:
    return "burst rle";
  case MIPO_OP_XLATE:
    return xlate[variant][family];
  case MIPO_OP_ADD:
  case MIPO_OP_SUB:
  case MIPO_OP_MUL:
    return variant == MIPO_VARIANT_SUM ? "arithmetic sum" : "arithmetic";
  default:
    return column[variant][family];
  }
}

constexpr auto make_descriptions() {
  std::array<KernelDescription, frame::kernel_count> all{};
  std::size_t count = 0;
#define DESCRIBE(shape, name, operation, family, width_field, variant)                                               \
  all[count++] = {mipo_key(operation, family, width_field, variant), #name, family_name(operation, family, variant), \
                  KernelShape::shape};
  FOR_EACH_KERNEL(DESCRIBE)
#undef DESCRIBE
  return all;
}

const std::array<KernelDescription, frame::kernel_count> &descriptions() {
  static const auto sorted = [] {
    auto all = make_descriptions();
    std::ranges::sort(all, {}, &KernelDescription::key);
    return all;
  }();
  return sorted;
}

} // namespace

std::span<const KernelDescription> all_kernels() noexcept {
  return descriptions();
}

const KernelDescription *find_kernel(ub4 key) noexcept {
  const auto found = std::ranges::lower_bound(descriptions(), key, {}, &KernelDescription::key);
  return found != descriptions().end() && found->key == key ? &*found : nullptr;
}

const KernelDescription *find_kernel(std::string_view name) noexcept {
  const auto found = std::ranges::find(descriptions(), name, &KernelDescription::name);
  return found != descriptions().end() ? &*found : nullptr;
}

std::string_view kernel_name(ub4 key) noexcept {
  const KernelDescription *kernel = find_kernel(key);
  return kernel != nullptr ? kernel->name : invalid_kernel_name;
}

} // namespace mipo::host
