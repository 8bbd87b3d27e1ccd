#include "mipo/host/context.h"

#include <utility>

namespace mipo::host {

void *KernelMemory::keep(AlignedBuffer buffer) {
  return blocks_.emplace_back(std::move(buffer)).data();
}

CallContext::CallContext(const Library &library, mipo_decompressor *decompressor) : library_(library) {
  error_frame_.report = report;
  error_frame_.context = this;
  environment_[MIPO_ENV_ERROR_FRAME_WORD] = static_cast<mipo_error_frame *>(&error_frame_);
  environment_[context_word] = this;
  host_.env = environment_.data();
  host_.heap = decompressor;
  host_.alloc = allocate;
  host_.temp_alloc = allocate_scratch;
  host_.temp_free = free_scratch;
  host_.decode = library.record().mipo_brep_decode_dydi;
  call_.host = &host_;
}

void CallContext::select(const BitVector &ones, bool selective) noexcept {
  selection_rows_ = ones.size();
  call_.ones_vec = ones.words();
  call_.eval_flags = selective ? MIPO_EVAL_SELECTIVE : 0;
}

void CallContext::select_all() noexcept {
  call_.ones_vec = nullptr;
  call_.eval_flags = 0;
}

void CallContext::check_selection(ub4 rows, std::string_view what) const {
  if (call_.ones_vec != nullptr && selection_rows_ != rows)
    throw ArgumentError("the selection has " + std::to_string(selection_rows_) + " rows, and the " + std::string(what) +
                        " " + std::to_string(rows));
}

void CallContext::throw_if_reported() const {
  if (!messages_.empty()) throw Error(messages_.front());
}

CallContext &CallContext::of(void *env) noexcept {
  return *static_cast<CallContext *>(static_cast<void **>(env)[context_word]);
}

void CallContext::report(mipo_error_frame *frame, const char *message) {
  static_cast<ErrorFrame *>(frame)->context->messages_.emplace_back(message);
}

ub4 CallContext::burst_key(const mipo_enc_ctx &enc_ctx) noexcept {
  const bool short_runs = enc_ctx.run_len_bits == 8;
  const ub4 by_lengths = short_runs ? MIPO_BURST_RLE_8BIT : MIPO_BURST_RLE_16BIT;
  const ub4 by_starts = short_runs ? MIPO_BURST_RLE_8BIT_CLA : MIPO_BURST_RLE_16BIT_CLA;
  const ub4 form = enc_ctx.run_lens != nullptr ? by_lengths : by_starts;
  return mipo_key(MIPO_OP_BURST_RLE, MIPO_FAMILY_BURST_RLE, form, MIPO_VARIANT_PLAIN);
}

ub4 CallContext::burst(mipo_host_ctx *host, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *aux) {
  return of(host->env).library_.burst(burst_key(*src->enc_ctx))(res, src, aux);
}

void *CallContext::allocate(void *env, void *, ub4 size, const char *label, ub4, ub4, ub8 hint) {
  CallContext &context = of(env);
  context.labels_.emplace_back(label);
  KernelMemory *owner = hint != 0 ? reinterpret_cast<KernelMemory *>(hint) : &context.memory_;
  return owner->allocate(size);
}

void *CallContext::allocate_scratch(void *env, ub4 size, const char *label, ub4, ub4, void **cookie) {
  CallContext &context = of(env);
  context.labels_.emplace_back(label);
  AlignedBuffer buffer(size);
  void *memory = buffer.data();
  context.scratch_.emplace(memory, std::move(buffer));
  *cookie = memory;
  return memory;
}

void CallContext::free_scratch(void *env, void *, void *cookie) {
  of(env).scratch_.erase(cookie);
}

} // namespace mipo::host
