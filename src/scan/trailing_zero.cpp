// mipo_<operation>_fixed_<8, 16, 32, 64>bit_tz: values whose trailing zero bytes were cut away and counted.
//
//   lens    two bits a row, the first row in a byte's top bits; or one byte for all rows
//
// Of two values with the same bytes left the one with fewer zeros cut away is less.
#include "scan/define_predicate.h"
#include "scan/fixed.h"
#include "scan/paired.h"

namespace mipo::scan {
namespace {

constexpr unsigned count_bits = 2;

// A count for each row. One count for all is sixteen bytes of it, read over and over.
class ZeroCounts {
public:
  static constexpr size_t block_bytes = 16; // of 64 rows

  explicit ZeroCounts(const mipo_vec *src) : counts_(static_cast<const ub1 *>(src->lens)) {}
  explicit ZeroCounts(const ub1 (&repeated)[block_bytes]) : counts_(repeated), row_mask_(3), step_(0) {}

  [[gnu::always_inline]] ub4 at(ub8 row) const { return counts_[(row & row_mask_) / 4] >> 2 * (3 - row % 4) & 3; }
  [[gnu::always_inline]] const ub1 *of_block(ub8 block) const { return counts_ + block * step_; }

private:
  const ub1 *counts_;
  ub8 row_mask_ = ~ub8{0};
  ub8 step_ = block_bytes;
};

template <unsigned bits, mipo_variant>
struct TrailingZero {
  static ub4 run(const PredicateCall &call) {
    using Lane = simd::Unsigned<bits>;
    const unsigned bytes = value_bytes<bits>(call.src);
    return with_values_of<Lane>(bytes, [&]<class Values>() {
      // Nothing can be cut from a single byte, and its count is not looked at.
      if constexpr (sizeof(Lane) == 1) {
        return evaluate(call, [](const void *base) { return Values(base, 1); });
      } else {
        ub1 repeated[ZeroCounts::block_bytes];
        const mipo_vec *src = call.src;
        const bool one_count = MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(src), MIPO_TZ_CONST);
        if (one_count) memset(repeated, (*static_cast<const ub1 *>(src->lens) & 3) * 0x55, sizeof repeated);
        const ZeroCounts counts = one_count ? ZeroCounts(repeated) : ZeroCounts(src);
        return evaluate_pairs(
            call, [=](const void *base) { return paired<Values, count_bits>(Values(base, bytes), counts); });
      }
    });
  }
};

} // namespace
} // namespace mipo::scan

extern "C" {
TRAILING_ZERO_PREDICATES(MIPO_DEFINE_PREDICATE, mipo::scan::TrailingZero)
}
