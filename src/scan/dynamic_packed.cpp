// mipo_<operation>_dynp_<16, 32, 64>bit[_tz]. A `_tz` kernel compares pairs of value and length field: of two values
// with equal lanes, the one that is stored in fewer bytes is less.
#include "scan/dynamic_packed.h"

#include "scan/define_predicate.h"
#include "scan/paired.h"

namespace mipo::scan {
namespace {

template <unsigned field_bits>
class LengthFields {
public:
  static constexpr size_t block_bytes = DynamicPackedValues<16 * field_bits>::controls_per_block;

  explicit LengthFields(const mipo_vec *src) : controls_(static_cast<const ub1 *>(src->lens)) {}

  [[gnu::always_inline]] ub4 at(ub8 row) const {
    using Control = ControlByte<2 * field_bits>;
    return Control::field(controls_[row / Control::values], row % Control::values);
  }
  [[gnu::always_inline]] const ub1 *of_block(ub8 block) const { return controls_ + block * block_bytes; }

private:
  const ub1 *controls_;
};

template <unsigned bits, mipo_variant variant>
struct DynamicPacked {
  using Values = DynamicPackedValues<bits>;

  static ub4 run(const PredicateCall &call) {
    const mipo_vec *src = call.src;
    if constexpr (variant == MIPO_VARIANT_TZ) {
      constexpr unsigned field_bits = Values::Control::field_bits;
      return evaluate_pairs(call, [src](const void *base) {
        return paired<Values, field_bits>(Values(base, src), LengthFields<field_bits>(src));
      });
    } else {
      return evaluate(call, [src](const void *base) { return Values(base, src); });
    }
  }
};

} // namespace
} // namespace mipo::scan

extern "C" {
DYNP_PREDICATES(MIPO_DEFINE_PREDICATE, mipo::scan::DynamicPacked)
}
