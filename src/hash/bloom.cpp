// mipo_bloom_dydi and the eight members that it chooses from.
#include "hash/bloom.h"

#include <type_traits>

namespace mipo::hash {
namespace {

template <unsigned hash_bits, bool selective, class Filter>
ub4 probe(mipo_vec *res, const mipo_vec *hashes, const mipo_vec *filter, mipo_call_ctx *ctx) {
  using Hashes = MaskedHashes<hash_bits>;
  const Hashes masked(hashes, filter);
  const Filter bits(filter);
  if constexpr (selective) {
    return probe_selected(res, masked, bits, ctx, hashes->nrows);
  } else {
    if constexpr (simd::has_gather && std::is_same_v<Filter, PlainFilter>) {
      // A filter of whole words has nothing after it that a gather would read.
      if ((MIPO_VEC_ENC_CTX(filter)->bloom_mask & 31) == 31)
        return probe_rows(res, masked, bits, Gathered<Hashes>{masked, bits.words()}, ctx->first_row, hashes->nrows);
    }
    return probe_rows(res, masked, bits, RowByRow<Hashes, Filter>{masked, bits}, ctx->first_row, hashes->nrows);
  }
}

template <unsigned hash_bits, bool selective>
ub4 probe(mipo_vec *res, const mipo_vec *hashes, const mipo_vec *filter, mipo_call_ctx *ctx) {
  if (!MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(hashes), MIPO_HASHED)) return MIPO_NO_KERNEL;
  if (MIPO_VEC_ENC_CTX(filter)->bloom_two_level != 0)
    return probe<hash_bits, selective, SegmentedFilter>(res, hashes, filter, ctx);
  return probe<hash_bits, selective, PlainFilter>(res, hashes, filter, ctx);
}

} // namespace
} // namespace mipo::hash

// Filters of the second kind are tested as those of the first: hosts set all that tells them apart when they build
// them.
#define FOR_EACH_BLOOM_MEMBER(MEMBER)                \
  MEMBER(mipo_bloom_hash32, 32, false)               \
  MEMBER(mipo_bloom_hash32_selective, 32, true)      \
  MEMBER(mipo_bloom_hash64, 64, false)               \
  MEMBER(mipo_bloom_hash64_selective, 64, true)      \
  MEMBER(mipo_2bit_bloom_hash32, 32, false)          \
  MEMBER(mipo_2bit_bloom_hash32_selective, 32, true) \
  MEMBER(mipo_2bit_bloom_hash64, 64, false)          \
  MEMBER(mipo_2bit_bloom_hash64_selective, 64, true)

extern "C" {

#define DEFINE_MEMBER(name, hash_bits, selective)                                               \
  ub4 name(mipo_vec *res, const mipo_vec *hashes, const mipo_vec *filter, mipo_call_ctx *ctx) { \
    return mipo::hash::probe<hash_bits, selective>(res, hashes, filter, ctx);                   \
  }
FOR_EACH_BLOOM_MEMBER(DEFINE_MEMBER)
#undef DEFINE_MEMBER

ub4 mipo_bloom_dydi(mipo_vec *res, const mipo_vec *hashes, const mipo_vec *filter, mipo_call_ctx *ctx, ub4 kind) {
  constexpr ub1 one_bit = 1;
  static constexpr decltype(&mipo_bloom_hash32) members[2][2][2] = {
      // by kind, hash width, selection
      {{mipo_bloom_hash32, mipo_bloom_hash32_selective}, {mipo_bloom_hash64, mipo_bloom_hash64_selective}},
      {{mipo_2bit_bloom_hash32, mipo_2bit_bloom_hash32_selective},
       {mipo_2bit_bloom_hash64, mipo_2bit_bloom_hash64_selective}}};
  const bool wide = static_cast<ub1>(MIPO_VEC_ENC_CTX(hashes)->bits) != 32;
  return members[static_cast<ub1>(kind) != one_bit][wide][ctx->ones_vec != nullptr](res, hashes, filter, ctx);
}
}
