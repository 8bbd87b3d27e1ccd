// mipo_decode_unpack_dict_<N>bit
#include "decode/kernels.h"
#include "decode/unpack.h"

extern "C" {
constinit const mipo::decode::NibbleSelectors mipo_unpack_sel4x32_masks = mipo::decode::make_nibble_selectors();
static_assert(mipo::decode::make_nibble_selectors().bytes[5][4] == 8, "entry 5 moves lane 2 after lane 0");
static_assert(mipo::decode::make_nibble_selectors().bytes[5][8] == 0x80, "and clears the others");

#define DEFINE_DECODE_UNPACK(width, ...)                                                             \
  ub4 mipo_decode_unpack_dict_##width##bit(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) { \
    static constexpr mipo::decode::UnpackLabels labels = {                                           \
        MIPO_DECOMPRESSION_LABELS("mipo_decode_unpack_dict_" #width "bit"),                          \
        "mipo_decode_unpack_dict_" #width "bit: [rle] ones_vec size is zero"};                       \
    return mipo::decode::unpack<width>(labels, res, src, ctx);                                       \
  }
FOR_EACH_CODE_WIDTH_TO_32(DEFINE_DECODE_UNPACK, )
#undef DEFINE_DECODE_UNPACK
}
