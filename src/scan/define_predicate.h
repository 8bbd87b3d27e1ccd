// Gives each member of a list of predicates (kernels.inc) its own named function of one line:
//
//   DICT_BYTE_ALIGNED_PREDICATES(MIPO_DEFINE_PREDICATE, ByteAligned)
//
// where ByteAligned<width, variant>::run<Sides>(labels, res, src, ctx, constants...) is the kernel's body.
#ifndef MIPO_SCAN_DEFINE_PREDICATE_H
#define MIPO_SCAN_DEFINE_PREDICATE_H

#include "frame/kernels.h"
#include "scan/operations.h"
#include "scan/predicate.h"

#define MIPO_one_sided_CONSTANTS const mipo_vec *konst
#define MIPO_one_sided_ARGUMENTS konst
#define MIPO_two_sided_CONSTANTS const mipo_vec *lo, const mipo_vec *hi
#define MIPO_two_sided_ARGUMENTS lo, hi

#define MIPO_DEFINE_PREDICATE(operation, OPERATION, sides, half, family, FAMILY, width, suffix, VARIANT, Body)         \
  ub4 mipo_##operation##_##family##_##width##bit##suffix(mipo_vec *res, const mipo_vec *src, MIPO_##sides##_CONSTANTS, \
                                                         mipo_call_ctx *ctx) {                                         \
    static constexpr mipo::scan::PredicateLabels labels = {                                                            \
        MIPO_DECOMPRESSION_LABELS("mipo_" #operation "_" #family "_" #width "bit" #suffix),                            \
        MIPO_DECOMPRESSION_LABELS("mipo_" #half "_" #family "_" #width "bit" #suffix)};                                \
    using Sides = mipo::scan::sides<mipo::scan::operation>;                                                            \
    return Body<width, MIPO_VARIANT_##VARIANT>::template run<Sides>(labels, res, src, ctx, MIPO_##sides##_ARGUMENTS);  \
  }

#endif
