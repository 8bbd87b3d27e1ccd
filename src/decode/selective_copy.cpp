// mipo_selective_dydi
#include "decode/selective_copy.h"

namespace mipo::decode {
namespace {

ub4 copy_elements(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx, auto... columns) {
  return copy_by_number(
      res, src, ctx, [=](ub4 to, const ub4 *rows, ub8 count) __attribute__((always_inline)) {
        (columns.copy(to, rows, count), ...);
      });
}

ub4 copy_fixed(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  switch (const size_t width = column::fixed_width(src); width) {
  case 1:
    return copy_elements(res, src, ctx, elements<1>(res->data, src->data));
  case 2:
    return copy_elements(res, src, ctx, elements<2>(res->data, src->data));
  case 4:
    return copy_elements(res, src, ctx, elements<4>(res->data, src->data));
  case 8:
    return copy_elements(res, src, ctx, elements<8>(res->data, src->data));
  default:
    return copy_elements(res, src, ctx, Elements<size_t>(res->data, src->data, width));
  }
}

} // namespace
} // namespace mipo::decode

extern "C" ub4 mipo_selective_dydi(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  using namespace mipo::decode;
  namespace column = mipo::column;
  switch (column::shared_shape(src, res, {MIPO_LP, MIPO_LP_SEP, MIPO_LV, MIPO_LV_SEP, MIPO_FIXED})) {
  case MIPO_LP:
    return copy_elements(res, src, ctx, elements<column::address_record_bytes>(res->data, src->data));
  case MIPO_LP_SEP:
    return copy_elements(res, src, ctx, elements<sizeof(ub8)>(res->data, src->data),
                         elements<sizeof(ub2)>(res->lens, src->lens));
  case MIPO_LV:
    return copy_by_walking<column::InlineLengthRows>(res, src, ctx);
  case MIPO_LV_SEP:
    return copy_by_walking<column::SeparateLengthRows>(res, src, ctx);
  case MIPO_FIXED:
    return copy_fixed(res, src, ctx);
  default:
    return MIPO_NO_KERNEL;
  }
}
