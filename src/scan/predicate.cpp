#include "scan/predicate.h"

namespace mipo::scan {
namespace {

ub4 store_count(mipo_vec *res, ub4 count) {
  res->nset = count;
  return count == 0 ? MIPO_EMPTY : MIPO_DONE;
}

} // namespace

ub4 fill_rows(Output output, bool value) {
  const ub8 rows = output.rows, whole = rows / 64;
  memset(output.bits, value ? 0xff : 0, whole * sizeof(ub8));
  if (rows % 64 != 0) output.bits[whole] = value ? (ub8{1} << rows % 64) - 1 : 0;
  return value ? output.rows : 0;
}

ub4 finish_block_path(ResultPolicy policy, Output output, ub4 count, mipo_vec *res, const mipo_vec *src,
                      mipo_call_ctx *ctx) {
  if (policy.filters && src->filter_bv != nullptr)
    mipo_lbiwvand_dydi(output.bits, &count, output.bits, src->filter_bv, output.rows);
  if (ctx != nullptr && ctx->ones_vec != nullptr) {
    mipo_lbiwvand_dydi(output.bits, &count, output.bits, ctx->ones_vec, output.rows);
    ctx->done_flags |= policy.done_flag;
  }
  const ub4 code = store_count(res, count);
  const mipo_enc_ctx *enc_ctx = MIPO_VEC_ENC_CTX(src);
  if (!MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_RLE)) return code;

  mipo_call_ctx aux{};
  aux.ones_vec = output.bits;
  aux.ones_count = count;
  return enc_ctx->burst(ctx->host, res, src, &aux);
}

ub4 finish_selective_path(ResultPolicy policy, ub4 count, mipo_vec *res, const mipo_vec *src) {
  if (policy.filters && src->filter_bv != nullptr)
    mipo_lbiwvand_dydi(res->bv, &count, res->bv, src->filter_bv, src->nrows);
  return store_count(res, count);
}

} // namespace mipo::scan
