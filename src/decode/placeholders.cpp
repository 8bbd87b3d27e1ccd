// mipo_sum_dict_<N>bit, mipo_distinct_dict_<N>bit, mipo_sum_fixed_<N>bit: slots of the dispatch table that hosts fill
// their plans with but whose work they do by other means. They take any arguments and write nothing.
#include "decode/kernels.h"

extern "C" {
#define DEFINE_PLACEHOLDER(shape, name, operation, family, width_field, variant) \
  [[gnu::alias("mipo_placeholder")]] mipo::interface::Pointee<decltype(mipo_kernel::shape)>::type name;

ub4 mipo_placeholder(ub8, ub8, ub8, ub8);
ub4 mipo_placeholder(ub8, ub8, ub8, ub8) {
  return 0;
}
SUM_AND_DISTINCT_KERNELS(DEFINE_PLACEHOLDER)
#undef DEFINE_PLACEHOLDER
}
