// mipo_<operation>_dict_<8, 16, 32, 64>bit
#include "frame/kernels.h"
#include "scan/byte_aligned.h"
#include "scan/operations.h"
#include "scan/predicate.h"

namespace mipo::scan {
namespace {

template <int bits>
struct CodeOfWidth;
template <>
struct CodeOfWidth<8> {
  using type = ub1;
};
template <>
struct CodeOfWidth<16> {
  using type = ub2;
};
template <>
struct CodeOfWidth<32> {
  using type = ub4;
};
template <>
struct CodeOfWidth<64> {
  using type = ub8;
};

template <int bits>
using Codes = ByteAlignedCodes<typename CodeOfWidth<bits>::type>;

template <class Operation>
struct OneSided {
  template <class Value>
  using Test = OneSidedTest<Operation, Value>;
};
template <class Operation>
struct TwoSided {
  template <class Value>
  using Test = TwoSidedTest<Operation, Value>;
};

} // namespace
} // namespace mipo::scan

extern "C" {

using namespace mipo::scan;

#define LABELS(operation, half, width)                                                                            \
  static constexpr PredicateLabels labels = {MIPO_DECOMPRESSION_LABELS("mipo_" #operation "_dict_" #width "bit"), \
                                             MIPO_DECOMPRESSION_LABELS("mipo_" #half "_dict_" #width "bit")}

#define one_sided_KERNEL(operation, half, width)                                                      \
  ub4 mipo_##operation##_dict_##width##bit(mipo_vec *res, const mipo_vec *src, const mipo_vec *konst, \
                                           mipo_call_ctx *ctx) {                                      \
    LABELS(operation, half, width);                                                                   \
    return evaluate<Codes<width>, OneSided<operation>::Test>(labels, res, src, ctx, konst);           \
  }
#define two_sided_KERNEL(operation, half, width)                                                                       \
  ub4 mipo_##operation##_dict_##width##bit(mipo_vec *res, const mipo_vec *src, const mipo_vec *lo, const mipo_vec *hi, \
                                           mipo_call_ctx *ctx) {                                                       \
    LABELS(operation, half, width);                                                                                    \
    return evaluate<Codes<width>, TwoSided<operation>::Test>(labels, res, src, ctx, lo, hi);                           \
  }
#define KERNEL(operation, OPERATION, sides, half, family, FAMILY, width, suffix, VARIANT, ...) \
  sides##_KERNEL(operation, half, width)

DICT_BYTE_ALIGNED_PREDICATES(KERNEL, )

#undef KERNEL
#undef two_sided_KERNEL
#undef one_sided_KERNEL
#undef LABELS
}
