// The bit iterator: 32 bytes in the caller's frame, all the state of a walk over the set or the clear bits of a vector.
#ifndef MIPO_ITERATOR_H
#define MIPO_ITERATOR_H

#include "mipo/assertion.h"
#include "mipo/integers.h"

// Prepared by `mipo_lbiv_ictx_ini2_dydi` or `mipo_lbiwv_ictx_ini2_dydi`, then stepped by the entries of the same form.
typedef struct mipo_lbiv_ictx {
  const ub8 *next_word; // the next word to load
  ub8 bit_limit;        // the walk ends before this bit number
  ub8 word_base;        // bit number of bit 0 of `pending`, modulo 2^64: a byte vector's first word may begin before it
  ub8 pending;          // bits of the current word not yet delivered, at their own positions
} mipo_lbiv_ictx;

MIPO_FIELD_AT(mipo_lbiv_ictx, next_word, 0);
MIPO_FIELD_AT(mipo_lbiv_ictx, bit_limit, 8);
MIPO_FIELD_AT(mipo_lbiv_ictx, word_base, 16);
MIPO_FIELD_AT(mipo_lbiv_ictx, pending, 24);
MIPO_RECORD_SIZE(mipo_lbiv_ictx, 32);

// What the steps answer at the end of a walk. The two forms differ, and hosts compare with the one they use.
#define MIPO_LBIV_END UINT64_C(0xffffffff)
#define MIPO_LBIWV_END UINT64_C(0xffffffffffffffff)

// `mode` of the ini2 entries (its low 8 bits): any other value than this walks the set bits.
#define MIPO_WALK_CLEAR_BITS 1

#endif
