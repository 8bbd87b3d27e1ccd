#include "built_kernels.h"

#include <fnmatch.h>

#include <cstdlib>

#include "frame/kernel_lists.h"

namespace mipo::check {
namespace {

struct Row {
  const char *name;
  Shape shape;
  ub4 operation, family, width_field, variant;
};

#define MIPO_KERNEL_ROW(shape, name, operation, family, width_field, variant) \
  {#name, Shape::shape, operation, family, width_field, variant},
constexpr Row rows[] = {FOR_EACH_KERNEL(MIPO_KERNEL_ROW)};
#undef MIPO_KERNEL_ROW

} // namespace

const std::vector<ListedKernel> &all_kernels() {
  static const std::vector<ListedKernel> kernels = [] {
    std::vector<ListedKernel> listed;
    for (const Row &row : rows)
      listed.push_back({row.name, row.shape, row.operation, row.family, row.width_field, row.variant});
    return listed;
  }();
  return kernels;
}

const std::vector<ListedKernel> &kernels_under_test() {
  static const std::vector<ListedKernel> kernels = [] {
    const char *pattern = std::getenv("MIPO_TEST_KERNEL");
    if (pattern == nullptr || *pattern == 0) return all_kernels();
    std::vector<ListedKernel> matching;
    for (const ListedKernel &kernel : all_kernels())
      if (fnmatch(pattern, kernel.name.c_str(), 0) == 0) matching.push_back(kernel);
    return matching;
  }();
  return kernels;
}

} // namespace mipo::check
