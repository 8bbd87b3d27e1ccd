// mipo_<operation>_fixed_<8, 16, 32, 64>bit
#include "scan/fixed.h"

#include "scan/define_predicate.h"

namespace mipo::scan {
namespace {

template <unsigned bits, mipo_variant>
struct Fixed {
  template <class Sides>
  [[gnu::always_inline]] static ub4 run(const PredicateLabels &labels, mipo_vec *res, const mipo_vec *src,
                                        mipo_call_ctx *ctx, const auto *...constants) {
    // The constants tell the width, not the column.
    const unsigned bytes = value_bytes<bits>(constants...);
    return with_values_of<simd::Unsigned<bits>>(
        bytes, [&]<class Values>() __attribute__((always_inline)) {
          const auto column = [bytes](const void *base) { return Values(base, bytes); };
          return evaluate<Sides>(column, labels, res, src, ctx, constants...);
        });
  }
};

} // namespace
} // namespace mipo::scan

extern "C" {
FIXED_PREDICATES(MIPO_DEFINE_PREDICATE, mipo::scan::Fixed)
}
