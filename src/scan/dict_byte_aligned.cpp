// mipo_<operation>_dict_<8, 16, 32, 64>bit[_null]
#include "column/byte_aligned_codes.h"
#include "scan/define_predicate.h"

namespace mipo::scan {
namespace {

template <unsigned bits, mipo_variant>
struct ByteAligned {
  static ub4 run(const PredicateCall &call) {
    return evaluate(call, ColumnAt<column::ByteAlignedCodes<simd::Unsigned<bits>>>());
  }
};

} // namespace
} // namespace mipo::scan

extern "C" {
DICT_BYTE_ALIGNED_PREDICATES(MIPO_DEFINE_PREDICATE, mipo::scan::ByteAligned)
DICT_BYTE_ALIGNED_NULL_PREDICATES(MIPO_DEFINE_PREDICATE, mipo::scan::ByteAligned)
}
