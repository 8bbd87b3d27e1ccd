#include "built_kernels.h"

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
constexpr Row built_rows[] = {FOR_EACH_KERNEL(MIPO_KERNEL_ROW)};
constexpr Row planned_rows[] = {FOR_EACH_PLANNED_KERNEL(MIPO_KERNEL_ROW)};
#undef MIPO_KERNEL_ROW

void append(std::vector<ListedKernel> &kernels, const auto &rows) {
  for (const Row &row : rows)
    kernels.push_back({row.name, row.shape, row.operation, row.family, row.width_field, row.variant});
}

} // namespace

const std::vector<ListedKernel> &built_kernels() {
  static const std::vector<ListedKernel> kernels = [] {
    std::vector<ListedKernel> listed;
    append(listed, built_rows);
    return listed;
  }();
  return kernels;
}

const std::vector<ListedKernel> &all_kernels() {
  static const std::vector<ListedKernel> kernels = [] {
    std::vector<ListedKernel> listed = built_kernels();
    append(listed, planned_rows);
    return listed;
  }();
  return kernels;
}

} // namespace mipo::check
