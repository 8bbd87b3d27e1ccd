#include "bitvec/iterator.h"

#include "bitvec/ones.h"
#include "interface/entry_functions.h"

extern "C" {

constinit const mipo::simd::BitPositions mipo_unpack_sel8x32_masks = mipo::simd::make_bit_positions();

using namespace mipo::bitvec;

// There are no runs to be had: a host that asks is told so at once.
#define FORM_ENTRIES(form, Form)                                                                                  \
  void mipo_##form##_ictx_ini2_dydi(mipo_lbiv_ictx *it, const Form::Unit *bits, ub8 limit, ub4 mode, ub8 start) { \
    begin_walk<Form>(*it, bits, limit, static_cast<ub1>(mode) == MIPO_WALK_CLEAR_BITS, start);                    \
  }                                                                                                               \
  ub8 mipo_##form##iter_dydi(mipo_lbiv_ictx *it) {                                                                \
    return next_bit<Form, SetBits>(*it);                                                                          \
  }                                                                                                               \
  ub8 mipo_##form##iter_clr_dydi(mipo_lbiv_ictx *it) {                                                            \
    return next_bit<Form, ClearBits>(*it);                                                                        \
  }                                                                                                               \
  ub8 mipo_##form##ones_dydi(mipo_lbiv_ictx *it, ub4 *rows, ub8 capacity) {                                       \
    return take_ones<Form>(*it, rows, capacity);                                                                  \
  }                                                                                                               \
  ub8 mipo_##form##run_dydi(ub8, ub8) {                                                                           \
    return Form::end;                                                                                             \
  }                                                                                                               \
  ub8 mipo_##form##runs_dydi(ub8, ub8, ub8, ub8) {                                                                \
    return 0;                                                                                                     \
  }

FORM_ENTRIES(lbiv, ByteForm)
FORM_ENTRIES(lbiwv, WordForm)

#undef FORM_ENTRIES
}
