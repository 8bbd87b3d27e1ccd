// The built kernels of the dispatch table as data, from the library's own list: what a test walks over.
#ifndef MIPO_TESTS_CHECK_BUILT_KERNELS_H
#define MIPO_TESTS_CHECK_BUILT_KERNELS_H

#include <string>
#include <vector>

#include "mipo/entries.h"

namespace mipo::check {

enum class Shape { one_sided, two_sided, decode, set, minmax, burst, arithmetic, xlate, placeholder };

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

const std::vector<ListedKernel> &all_kernels();
/// Those whose whole name matches the pattern in the environment variable MIPO_TEST_KERNEL; all, if there is none.
const std::vector<ListedKernel> &kernels_under_test();

/// Calls a predicate of any shape: a one-sided one has no use for `second`, a test for membership takes `first` as its
/// set.
inline ub4 call_predicate(Shape shape, mipo_kernel kernel, mipo_vec *res, const mipo_vec *src, const mipo_vec *first,
                          const mipo_vec *second, mipo_call_ctx *ctx) {
  return shape == Shape::two_sided ? kernel.two_sided(res, src, first, second, ctx)
         : shape == Shape::set     ? kernel.set(res, src, first, ctx)
                                   : kernel.one_sided(res, src, first, ctx);
}

} // namespace mipo::check

#endif
