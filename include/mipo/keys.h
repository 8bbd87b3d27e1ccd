// Keys of the dispatch table: 13 bits that say which kernel, from what the host knows about a column.
//
//   bit  12        11 ........ 7   6 .... 5   4 ........... 0
//      ┌─────────┬───────────────┬──────────┬────────────────┐
//      │ variant │  width field  │  family  │   operation    │
//      └─────────┴───────────────┴──────────┴────────────────┘
//
// The width field is a width index (mipo_convert_width) for the families `dict`, `fixed` and `dynp`; translation and
// arithmetic kernels put other selectors there.
#ifndef MIPO_KEYS_H
#define MIPO_KEYS_H

#include "mipo/assertion.h"
#include "mipo/integers.h"

#define MIPO_DISPATCH_TABLE_SLOTS 8192

#ifdef __cplusplus
extern "C" {
#define MIPO_KEY_FUNCTION constexpr
#else
#define MIPO_KEY_FUNCTION static inline
#endif

enum mipo_operation {
  MIPO_OP_EQ = 0,
  MIPO_OP_LT = 1,
  MIPO_OP_GT = 2,
  MIPO_OP_LE = 3,
  MIPO_OP_GE = 4,
  MIPO_OP_NE = 5,
  MIPO_OP_GT_LT = 6, // lo < c and c < hi
  MIPO_OP_GT_LE = 7,
  MIPO_OP_GE_LT = 8,
  MIPO_OP_GE_LE = 9,
  MIPO_OP_DECODE = 10,
  MIPO_OP_DECODE_UNPACK = 11,
  MIPO_OP_DECODE_SYMBOL = 12,
  MIPO_OP_SET = 13,
  MIPO_OP_BURST_RLE = 14,
  MIPO_OP_SUM = 15,
  MIPO_OP_DISTINCT = 16,
  MIPO_OP_XLATE = 17,
  MIPO_OP_ADD = 19,
  MIPO_OP_SUB = 20,
  MIPO_OP_MUL = 21,
  MIPO_OP_MINMAX = 23
};

enum mipo_family {
  MIPO_FAMILY_FIXED = 0, // arithmetic kernels too
  MIPO_FAMILY_DICT = 1,
  MIPO_FAMILY_DYNP = 2,
  MIPO_FAMILY_BURST_RLE = 3,
  MIPO_FAMILY_XLATE_SIM = 0,
  MIPO_FAMILY_XLATE_OFF = 1,
  MIPO_FAMILY_XLATE_IND = 2,
  MIPO_FAMILY_XLATE_GROUPKEY = 3
};

enum mipo_variant {
  MIPO_VARIANT_PLAIN = 0,
  MIPO_VARIANT_NULL_AWARE = 1, // dict: code 0 stands for NULL
  MIPO_VARIANT_TZ = 1,         // fixed, dynp: with trailing-zero counts
  MIPO_VARIANT_SUM = 1,        // arithmetic: folded into a sum
  MIPO_VARIANT_C2D = 1         // translation: entries are handed out, beside the answer which rows have one
};

// The width field of the `burst_rle` kernels, which does not follow the width index.
enum mipo_burst_rle_width {
  MIPO_BURST_RLE_8BIT = 6,
  MIPO_BURST_RLE_8BIT_CLA = 7,
  MIPO_BURST_RLE_16BIT = 14,
  MIPO_BURST_RLE_16BIT_CLA = 15
};

// The width index of a width in bits: 1 to 20 give width - 1; 24, 32 and 64 give 20, 21 and 22. Others are a bug.
MIPO_KEY_FUNCTION ub4 mipo_convert_width(int32_t bits) {
  if (bits >= 1 && bits <= 20) return (ub4)bits - 1;
  if (bits == 24) return 20;
  if (bits == 32) return 21;
  if (bits == 64) return 22;
  MIPO_ASSERTION_FAILED("0");
}

// The width field of a translation kernel. `code_width`: -1 for `bit`, -4 for `nib`, else bytes 1, 2 or 4. `form`: 0
// plain, 1 `_cla`, 2 `_const`, 3 `_sep`.
MIPO_KEY_FUNCTION ub4 mipo_xlate_convert_width(int32_t code_width, ub4 form) {
  if (code_width == -1) return 8 * form;
  if (code_width == -4) return 8 * form + 1;
  if (code_width == 1) return 8 * form + 2;
  if (code_width == 2) return 8 * form + 3;
  if (code_width == 4) return 8 * form + 4;
  MIPO_ASSERTION_FAILED("0");
}

// The family of a translation kernel. `kind`: 1 `sim`, 2 `off`, 3 `ind`.
MIPO_KEY_FUNCTION ub4 mipo_xlate_convert_type(int32_t kind) {
  if (kind >= 1 && kind <= 3) return (ub4)kind - 1;
  MIPO_ASSERTION_FAILED("0");
}

// The width field of an arithmetic kernel on numbers of `bytes` bytes, 4 (`float`) or 8 (`double`); an operand is
// native or, if told, sortable.
MIPO_KEY_FUNCTION ub4 mipo_arithmetic_convert_width(ub4 bytes, ub4 left_sortable, ub4 right_sortable) {
  if (bytes == 4 || bytes == 8) return bytes / 4 + (left_sortable ? 4 : 0) + (right_sortable ? 8 : 0);
  MIPO_ASSERTION_FAILED("0");
}

// The key of a kernel, from the fields' values as above.
MIPO_KEY_FUNCTION ub4 mipo_key(ub4 operation, ub4 family, ub4 width_field, ub4 variant) {
  return operation | family << 5 | width_field << 7 | variant << 12;
}

#ifdef __cplusplus
}

namespace mipo {

/// Key of a kernel of `family` (`dict`, `fixed` or `dynp`) on values of `bits` bits.
constexpr ub4 column_key(mipo_operation operation, mipo_family family, int bits,
                         mipo_variant variant = MIPO_VARIANT_PLAIN) {
  return mipo_key(operation, family, mipo_convert_width(bits), variant);
}

static_assert(column_key(MIPO_OP_EQ, MIPO_FAMILY_DICT, 1) == 32);
static_assert(column_key(MIPO_OP_MINMAX, MIPO_FAMILY_DICT, 1) == 55);
static_assert(column_key(MIPO_OP_EQ, MIPO_FAMILY_FIXED, 8) == 896);
static_assert(column_key(MIPO_OP_DECODE_SYMBOL, MIPO_FAMILY_DICT, 8) == 940);
static_assert(column_key(MIPO_OP_EQ, MIPO_FAMILY_DYNP, 16) == 1984);
static_assert(column_key(MIPO_OP_EQ, MIPO_FAMILY_DICT, 24) == 2592);
static_assert(column_key(MIPO_OP_EQ, MIPO_FAMILY_DICT, 64) == 2848);
static_assert(column_key(MIPO_OP_EQ, MIPO_FAMILY_DICT, 1, MIPO_VARIANT_NULL_AWARE) == 4128);
static_assert(column_key(MIPO_OP_GE_LE, MIPO_FAMILY_DYNP, 64, MIPO_VARIANT_TZ) == 6985);
static_assert(mipo_arithmetic_convert_width(8, 1, 1) == 14);
static_assert(mipo_key(MIPO_OP_BURST_RLE, MIPO_FAMILY_BURST_RLE, MIPO_BURST_RLE_8BIT, 0) == 878);
static_assert(mipo_key(MIPO_OP_XLATE, mipo_xlate_convert_type(3), mipo_xlate_convert_width(4, 3), MIPO_VARIANT_C2D) ==
              7761);
static_assert(mipo_xlate_convert_width(2, 3) == 27);

} // namespace mipo
#endif

#undef MIPO_KEY_FUNCTION

#endif
