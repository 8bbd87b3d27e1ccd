#include "xlate/cumulative_lengths.h"

#include "mipo/assertion.h"
#include "simd/simd.h"

namespace {

template <class Length>
void build(ub4 *res, const Length *src, ub4 src_len) {
  ub4 sum = 0;
  *res = 0;
  for (ub4 i = 0; i < src_len; ++i) {
    sum += mipo::simd::read_big_endian<Length>(src + i);
    res[i + 1] = __builtin_bswap32(sum);
  }
}

} // namespace

// The report names the function that was called, so that each of the two makes its own check.
#define CHECK_ROOM(res_len, src_len) \
  if (res_len <= src_len) MIPO_ASSERTION_FAILED("res_len >= (src_len + 1)")

extern "C" void mipo_build_cla_1_ub1(ub4 *res, ub4 res_len, const ub1 *src, ub4 src_len) {
  CHECK_ROOM(res_len, src_len);
  build(res, src, src_len);
}

extern "C" void mipo_build_cla_1_ub2(ub4 *res, ub4 res_len, const ub2 *src, ub4 src_len) {
  CHECK_ROOM(res_len, src_len);
  build(res, src, src_len);
}

#undef CHECK_ROOM
