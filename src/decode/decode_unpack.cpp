// mipo_decode_unpack_dict_<N>bit
#include "decode/kernels.h"
#include "decode/unpack.h"
#include "simd/compaction_tables.h"

namespace mipo::decode {
#define DEFINE_UNPACK_CODES(width, ...) template void unpack_codes<width>(const void *, ub4, ub4, ub4 *);
FOR_EACH_CODE_WIDTH_TO_32(DEFINE_UNPACK_CODES, )
#undef DEFINE_UNPACK_CODES
} // namespace mipo::decode

extern "C" {
constinit const mipo::simd::CompactionSelectors mipo_unpack_sel4x32_masks = mipo::simd::make_compaction_selectors();
static_assert(mipo::simd::make_compaction_selectors().bytes[5][4] == 8, "entry 5 moves lane 2 next to lane 0");
static_assert(mipo::simd::make_compaction_selectors().bytes[5][8] == 0x80, "and clears the others");

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
