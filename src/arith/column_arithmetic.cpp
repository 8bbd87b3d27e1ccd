// The 48 kernels of column arithmetic under their names.
#include "arith/column_arithmetic.h"

#include <type_traits>

#include "arith/kernels.h"

namespace mipo::arith {
namespace {

/// The kernel that the width field asks for: 1 float, 2 double; plus 4 for a sortable left, plus 8 for a sortable right
/// operand.
template <class Operation, unsigned width_field, unsigned variant>
ub4 kernel(mipo_vec *res, const mipo_vec *left, const mipo_vec *right) {
  using Float = std::conditional_t<(width_field & 3) == 1, float, double>;
  using Left = std::conditional_t<(width_field & 4) != 0, column::Sortable<Float>, column::Native<Float>>;
  using Right = std::conditional_t<(width_field & 8) != 0, column::Sortable<Float>, column::Native<Float>>;
  return evaluate_columns<Operation, Left, Right, variant == MIPO_VARIANT_SUM>(res, left, right);
}

template <unsigned operation>
using OperationOf =
    std::conditional_t<operation == MIPO_OP_ADD, add, std::conditional_t<operation == MIPO_OP_SUB, sub, mul>>;

} // namespace
} // namespace mipo::arith

#define DEFINE_KERNEL(shape, name, operation, family, width_field, variant)                          \
  extern "C" ub4 name(mipo_vec *res, const mipo_vec *left, const mipo_vec *right, mipo_call_ctx *) { \
    using namespace mipo::arith;                                                                     \
    return kernel<OperationOf<operation>, width_field, variant>(res, left, right);                   \
  }
ARITHMETIC_KERNELS(DEFINE_KERNEL)
#undef DEFINE_KERNEL
