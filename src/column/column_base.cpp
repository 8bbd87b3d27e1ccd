#include "column/column_base.h"

namespace mipo::column {

void report_to_host(const mipo_call_ctx *ctx, const char *message) {
  void *env = ctx->host->env;
  hostierr(env, static_cast<void *const *>(env)[MIPO_ENV_ERROR_FRAME_WORD], message, 0);
}

const void *decompressed_base(const mipo_vec *src, const mipo_call_ctx *ctx, const DecompressionLabels &labels) {
  void **slot = src->decomp_slot;
  if (*slot != nullptr) return *slot;

  const mipo_host_ctx *host = ctx->host;
  void *memory = host->alloc(host->env, host->heap, src->decomp_size, labels.allocation, 8, 16, src->decomp_hint);
  *slot = memory;

  ub4 out_length = 0;
  mipo_decode_args args{};
  args.env = host->env;
  args.heap = host->heap;
  args.temp_alloc = host->temp_alloc;
  args.temp_free = host->temp_free;
  args.async_ok = (host->host_flags & MIPO_HOST_ASYNC_FLAGS) != 0;
  if (host->decode(&args, src->data, memory, &out_length, src->decomp_size) != 0) report_to_host(ctx, labels.failure);
  return memory;
}

} // namespace mipo::column
