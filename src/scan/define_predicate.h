// Gives each member of a list of predicates (kernels.inc) its own named function of one line:
//
//   DICT_BYTE_ALIGNED_PREDICATES(MIPO_DEFINE_PREDICATE, ByteAligned)
//
// where ByteAligned<width, variant>::run(call) is the body, which all operations of a width and most variants share.
#ifndef MIPO_SCAN_DEFINE_PREDICATE_H
#define MIPO_SCAN_DEFINE_PREDICATE_H

#include "scan/kernels.h"
#include "scan/predicate.h"

namespace mipo::scan {

// The column of a width, made from its address alone.
template <class Column>
struct ColumnAt {
  Column operator()(const void *base) const { return Column(base); }
};

} // namespace mipo::scan

#define MIPO_one_sided_CONSTANTS const mipo_vec *konst
#define MIPO_one_sided_ARGUMENTS konst, nullptr
#define MIPO_two_sided_CONSTANTS const mipo_vec *lo, const mipo_vec *hi
#define MIPO_two_sided_ARGUMENTS lo, hi

#define MIPO_DEFINE_PREDICATE(operation, OPERATION, arity, selective_label, family, FAMILY, width, suffix, VARIANT,    \
                              Body)                                                                                    \
  ub4 mipo_##operation##_##family##_##width##bit##suffix(mipo_vec *res, const mipo_vec *src, MIPO_##arity##_CONSTANTS, \
                                                         mipo_call_ctx *ctx) {                                         \
    static constexpr mipo::scan::PredicateLabels labels = {                                                            \
        MIPO_DECOMPRESSION_LABELS("mipo_" #operation "_" #family "_" #width "bit" #suffix),                            \
        MIPO_DECOMPRESSION_LABELS("mipo_" #selective_label "_" #family "_" #width "bit" #suffix)};                     \
    /* The other families' second variant has the same number. */                                                      \
    constexpr bool null_aware =                                                                                        \
        MIPO_FAMILY_##FAMILY == MIPO_FAMILY_DICT && MIPO_VARIANT_##VARIANT == MIPO_VARIANT_NULL_AWARE;                 \
    return Body<width, MIPO_VARIANT_##VARIANT>::run(                                                                   \
        {mipo::scan::Operation::operation, null_aware, labels, res, src, MIPO_##arity##_ARGUMENTS, ctx});              \
  }

#endif
