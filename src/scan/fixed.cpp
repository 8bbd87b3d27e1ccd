// mipo_<operation>_fixed_<8, 16, 32, 64>bit
#include "scan/fixed.h"

#include "scan/define_predicate.h"

namespace mipo::scan {
namespace {

template <unsigned bits, mipo_variant>
struct Fixed {
  static ub4 run(const PredicateCall &call) {
    const unsigned bytes = value_bytes<bits>(call.low); // the constants tell the width, not the column
    return with_values_of<simd::Unsigned<bits>>(bytes, [&]<class Values>() {
      return evaluate(call, [bytes](const void *base) { return Values(base, bytes); });
    });
  }
};

} // namespace
} // namespace mipo::scan

extern "C" {
FIXED_PREDICATES(MIPO_DEFINE_PREDICATE, mipo::scan::Fixed)
}
