// The built kernels of the dispatch table as data, from the library's own list: what a test walks over.
#ifndef MIPO_TESTS_CHECK_BUILT_KERNELS_H
#define MIPO_TESTS_CHECK_BUILT_KERNELS_H

#include <string>
#include <vector>

#include "frame/kernel_lists.h"
#include "mipo/entries.h"

namespace mipo::check {

enum class Shape { one_sided, two_sided, decode, set, minmax, burst, any };

struct ListedKernel {
  std::string name;
  Shape shape;
  ub4 operation, family, width_field, variant;

  ub4 key() const { return operation + 32 * family + 128 * width_field + 4096 * variant; }
  /// Of a column kernel, whose width field is a width index.
  unsigned bits() const {
    return width_field < 20 ? width_field + 1 : width_field == 20 ? 24 : width_field == 21 ? 32 : 64;
  }
};

#define MIPO_LISTED_KERNEL(shape, name, operation, family, width_field, variant) \
  {#name, Shape::shape, operation, family, width_field, variant},

inline const std::vector<ListedKernel> &built_kernels() {
  static const std::vector<ListedKernel> kernels = {FOR_EACH_BUILT_KERNEL(MIPO_LISTED_KERNEL)};
  return kernels;
}

/// With those that are still to be built.
inline const std::vector<ListedKernel> &all_kernels() {
  static const std::vector<ListedKernel> kernels = {FOR_EACH_KERNEL(MIPO_LISTED_KERNEL)};
  return kernels;
}

#undef MIPO_LISTED_KERNEL

/// Calls a predicate of either shape; a one-sided one has no use for `second`.
inline ub4 call_predicate(Shape shape, mipo_kernel kernel, mipo_vec *res, const mipo_vec *src, const mipo_vec *first,
                          const mipo_vec *second, mipo_call_ctx *ctx) {
  return shape == Shape::two_sided ? kernel.two_sided(res, src, first, second, ctx)
                                   : kernel.one_sided(res, src, first, ctx);
}

} // namespace mipo::check

#endif
