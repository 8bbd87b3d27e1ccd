#include "frame/dispatch_table.h"

#include "arith/kernels.h"
#include "decode/kernels.h"
#include "frame/kernel_lists.h"
#include "scan/kernels.h"
#include "xlate/kernels.h"

namespace mipo::frame {
namespace {

constexpr DispatchTable make_table() {
  DispatchTable table{};
#define FILL_SLOT(shape, name, operation, family, width_field, variant) \
  table.kernels[mipo_key(operation, family, width_field, variant)].shape = name;
  FOR_EACH_KERNEL(FILL_SLOT)
#undef FILL_SLOT
  return table;
}

constexpr DispatchNames make_names() {
  DispatchNames names{};
  for (auto &name : names.names) name = invalid_dispatch;
#define FILL_NAME(shape, name, operation, family, width_field, variant) \
  names.names[mipo_key(operation, family, width_field, variant)] = #name;
  FOR_EACH_KERNEL(FILL_NAME)
#undef FILL_NAME
  return names;
}

} // namespace
} // namespace mipo::frame

extern "C" {

constinit const mipo::frame::DispatchTable mipo_dispatch_table = mipo::frame::make_table();
constinit const mipo::frame::DispatchNames mipo_dispatch_func_names = mipo::frame::make_names();

ub4 mipo_dispatch_table_size(void) {
  return MIPO_DISPATCH_TABLE_SLOTS;
}

ub4 mipo_null(ub8, ub8, ub8, ub8) {
  return MIPO_NO_KERNEL;
}
}
