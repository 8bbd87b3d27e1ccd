// mipo_<operation>_dict_<8, 16, 32, 64>bit[_null]
#include "scan/byte_aligned.h"
#include "scan/define_predicate.h"

namespace mipo::scan {
namespace {

template <unsigned bits, mipo_variant variant>
struct ByteAligned {
  using Column = ByteAlignedCodes<simd::Unsigned<bits>, variant == MIPO_VARIANT_NULL_AWARE>;

  template <class Sides>
  [[gnu::always_inline]] static ub4 run(const auto &...arguments) {
    return evaluate<Sides>([](const void *base) { return Column(base); }, arguments...);
  }
};

} // namespace
} // namespace mipo::scan

extern "C" {
DICT_BYTE_ALIGNED_PREDICATES(MIPO_DEFINE_PREDICATE, mipo::scan::ByteAligned)
DICT_BYTE_ALIGNED_NULL_PREDICATES(MIPO_DEFINE_PREDICATE, mipo::scan::ByteAligned)
}
