// mipo_<operation>_dict_<8, 16, 32, 64>bit
#include "scan/byte_aligned.h"
#include "scan/define_predicate.h"

namespace mipo::scan {
namespace {

template <unsigned bits>
using Codes = ByteAlignedCodes<simd::Unsigned<bits>>;

} // namespace
} // namespace mipo::scan

extern "C" {
DICT_BYTE_ALIGNED_PREDICATES(MIPO_DEFINE_PREDICATE, mipo::scan::Codes)
}
