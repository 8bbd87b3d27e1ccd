// mipo_eq_stream_dydi
#include "decode/stream_comparison.h"

#include "interface/entry_functions.h"

namespace mipo::decode {
namespace {

ub4 compare_fixed(mipo_vec *res, const mipo_vec *left, const mipo_vec *right) {
  switch (const size_t width = column::fixed_width(left); width) {
  case 1:
    return compare(res, left->nrows, IntegerPair<ub1>(left, right));
  case 2:
    return compare(res, left->nrows, IntegerPair<ub2>(left, right));
  case 4:
    return compare(res, left->nrows, IntegerPair<ub4>(left, right));
  case 8:
    return compare(res, left->nrows, IntegerPair<ub8>(left, right));
  default:
    return compare(res, left->nrows, FixedPair(left, right, width));
  }
}

} // namespace
} // namespace mipo::decode

extern "C" ub4 mipo_eq_stream_dydi(mipo_vec *res, const mipo_vec *left, const mipo_vec *right, ub8) {
  using namespace mipo::decode;
  namespace column = mipo::column;
  const ub4 rows = left->nrows;
  switch (column::shared_shape(left, right, {MIPO_LV_SEP, MIPO_LV, MIPO_LP_SEP, MIPO_LP, MIPO_FIXED})) {
  case MIPO_LV_SEP:
    return compare(res, rows, SplitChainPair(left, right));
  case MIPO_LV:
    return compare(res, rows, ChainedPair(left, right));
  case MIPO_LP_SEP:
    return compare(res, rows, AddressPair<column::SplitAddresses>(left, right));
  case MIPO_LP:
    return compare(res, rows, AddressPair<column::AddressRows>(left, right));
  case MIPO_FIXED:
    return compare_fixed(res, left, right);
  default:
    return MIPO_NO_KERNEL;
  }
}
