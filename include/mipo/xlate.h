// Code translation: the record that its kernels take beside the vectors.
#ifndef MIPO_XLATE_H
#define MIPO_XLATE_H

#include "mipo/vec.h"

#ifdef __cplusplus
extern "C" {
#endif

// Which codes a table has entries for; `xlate_ctx` of mipo_call_ctx points to it. Of each field only the low 32 bits
// count. A table need not exist below `min_code` and above `max_code`: kernels look nothing up there.
typedef struct mipo_xlate_ctx {
  ub1 reserved_0[112];
  ub8 min_code;
  ub8 max_code; // inclusive
  ub1 reserved_128[16];
  ub8 code_base; // `off`: the code of the first entry
} mipo_xlate_ctx;

MIPO_FIELD_AT(mipo_xlate_ctx, min_code, 112);
MIPO_FIELD_AT(mipo_xlate_ctx, max_code, 120);
MIPO_FIELD_AT(mipo_xlate_ctx, code_base, 144);
MIPO_RECORD_SIZE(mipo_xlate_ctx, 152);

#ifdef __cplusplus
}
#endif

#endif
