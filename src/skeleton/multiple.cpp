// mipo_multiple_dict_<N>bit
#include "skeleton/multiple.h"

#include "skeleton/kernels.h"

extern "C" {
#define DEFINE_MULTIPLE(width)                                                                                         \
  ub4 mipo_multiple_dict_##width##bit(mipo_vec *res, const mipo_vec *src, const mipo_vec *konst, mipo_call_ctx *ctx) { \
    static constexpr mipo::column::DecompressionLabels labels =                                                        \
        MIPO_DECOMPRESSION_LABELS("mipo_multiple_dict_" #width "bit");                                                 \
    return mipo::skeleton::multiples<width>(labels, res, src, konst, ctx);                                             \
  }
DEFINE_MULTIPLE(8)
DEFINE_MULTIPLE(11)
DEFINE_MULTIPLE(16)
#undef DEFINE_MULTIPLE
}
