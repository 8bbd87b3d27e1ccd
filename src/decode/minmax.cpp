// mipo_minmax_dict_<N>bit[_null]
#include "decode/minmax.h"

#include "decode/kernels.h"

namespace mipo::decode {
namespace {

// Codes below a byte are unpacked in lanes that can be multiplied, all others in the narrowest that hold them.
template <unsigned bits>
using MinMaxLane = std::conditional_t<(bits > 1 && bits < 8) || bits == 16, ub2, scan::PackedLane<bits>>;

template <unsigned bits, mipo_variant variant>
ub4 minmax_of_width(const MinMaxLabels &labels, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx, ub8 mode) {
  constexpr bool null_aware = variant == MIPO_VARIANT_NULL_AWARE;
  return minmax<scan::DictionaryCodes<bits, MinMaxLane<bits>>, bits, null_aware>(labels, res, src, ctx, mode);
}

} // namespace
} // namespace mipo::decode

extern "C" {
#define DEFINE_MINMAX(width, suffix, VARIANT)                                                                   \
  ub4 mipo_minmax_dict_##width##bit##suffix(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx, ub8 mode) { \
    static constexpr mipo::decode::MinMaxLabels labels = {                                                      \
        MIPO_DECOMPRESSION_LABELS("mipo_minmax_dict_" #width "bit" #suffix),                                    \
        "mipo_minmax_dict_" #width "bit" #suffix ": [rle] ones_vec size is zero"};                              \
    return mipo::decode::minmax_of_width<width, MIPO_VARIANT_##VARIANT>(labels, res, src, ctx, mode);           \
  }
FOR_EACH_CODE_WIDTH_TO_32(DEFINE_MINMAX, , PLAIN)
FOR_EACH_CODE_WIDTH_TO_32(DEFINE_MINMAX, _null, NULL_AWARE)
#undef DEFINE_MINMAX
}
