// How the dictionary codes of a row's columns are combined into one number. A packing says three things of a column:
// the constant that its step takes, how many keys there can be once it is added, and the step itself, which makes room
// for its codes.
#ifndef MIPO_GROUPBY_GROUP_KEY_H
#define MIPO_GROUPBY_GROUP_KEY_H

#include "column/ub4_sweeps.h"
#include "mipo/vec.h"

namespace mipo::groupby {

// Keys are ub4, and so is their number.
inline constexpr ub8 greatest_key_count = 0xffffffff;

// Side by side: each column has its bits.
struct ShiftedKeys {
  static ub4 step_constant(const mipo_enc_ctx *column) { return column->bits; }
  // The greatest key of the columns ahead, shifted, with all codes of this one after it.
  static ub8 key_count(ub8 ahead, const mipo_enc_ctx *column) {
    return column->sym_count + ((ahead - 1) << column->bits);
  }
  static void make_room(ub4 *keys, ub4 bits, ub4 count) {
    // Codes of 32 bits fit after keys that are all 0, and only there.
    if (bits < 32) mipo_shl_ub4_const(keys, bits, count);
  }
};

// As digits, each of them below its column's code count: no number in between is left unused.
struct MultipliedKeys {
  static ub4 step_constant(const mipo_enc_ctx *column) { return column->sym_count; }
  static ub8 key_count(ub8 ahead, const mipo_enc_ctx *column) { return ahead * column->sym_count; }
  static void make_room(ub4 *keys, ub4 code_count, ub4 count) { mipo_mul_ub4_const(keys, code_count, count); }
};

} // namespace mipo::groupby

#endif
