#include "test_host.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace mipo::check {

struct HostCallbacks {
  static TestHost &host_of(void *env) {
    TestHost *host;
    std::memcpy(&host, env, sizeof host);
    return *host;
  }

  static const char *named(const void *actual, const void *expected, const char *name) {
    return actual == expected ? name : "other";
  }

  [[gnu::format(printf, 2, 3)]] static void record(TestHost &host, const char *format, ...) {
    char line[400];
    va_list values;
    va_start(values, format);
    std::vsnprintf(line, sizeof line, format, values);
    va_end(values);
    host.calls.emplace_back(line);
  }

  // Nothing with a destructor may be alive here: a jump passes over it.
  static void leave_if_told(TestHost &host, TestHost::Callback callback) {
    if (host.leaves_from != callback) return;
    if (host.leaves == TestHost::Leave::by_exception) throw TestHost::Left();
    std::longjmp(host.target, 1);
  }

  static void *alloc(void *env, void *heap, ub4 size, const char *label, ub4 eight, ub4 sixteen, ub8 hint) {
    TestHost &host = host_of(env);
    record(host, "alloc(env, %s, %" PRIu32 ", \"%s\", %" PRIu32 ", %" PRIu32 ", 0x%" PRIx64 ")",
           named(heap, host.heap(), "heap"), size, label, eight, sixteen, hint);
    leave_if_told(host, TestHost::Callback::alloc);
    host.memory_.push_back(std::make_unique<GuardedBuffer>(size));
    return host.memory_.back()->data();
  }

  static void *temp_alloc(void *env, ub4 size, const char *label, ub4 four, ub4 zero, void **cookie) {
    TestHost &host = host_of(env);
    record(host, "temp_alloc(env, %" PRIu32 ", \"%s\", %" PRIu32 ", %" PRIu32 ", cookie)", size, label, four, zero);
    host.scratch_.push_back(std::make_unique<GuardedBuffer>(size));
    *cookie = host.scratch_.back().get();
    return host.scratch_.back()->data();
  }

  static void temp_free(void *env, void *memory, void *cookie) {
    TestHost &host = host_of(env);
    const auto scratch = std::find_if(host.scratch_.begin(), host.scratch_.end(),
                                      [&](const auto &buffer) { return buffer.get() == cookie; });
    const bool is_known = scratch != host.scratch_.end();
    const bool is_intact = is_known && (*scratch)->intact();
    record(host, "temp_free(env, %s, %s)%s", is_known ? named(memory, (*scratch)->data(), "scratch") : "other",
           is_known ? "cookie" : "other", is_known && !is_intact ? ", written beside" : "");
    if (is_known) host.scratch_.erase(scratch);
  }

  static ub4 decode(mipo_decode_args *args, const void *source, void *destination, ub4 *out_length, ub4 size) {
    TestHost &host = host_of(args->env);
    record(host, "decode({env, %s, %s, %s, async_ok %" PRIu32 "}, %s, %s, length %" PRIu32 ", %" PRIu32 ")",
           named(args->heap, host.heap(), "heap"), args->temp_alloc == temp_alloc ? "temp_alloc" : "other",
           args->temp_free == temp_free ? "temp_free" : "other", args->async_ok, named(source, host.stream, "stream"),
           named(destination, host.slot != nullptr ? *host.slot : nullptr, "slot's memory"), *out_length, size);
    leave_if_told(host, TestHost::Callback::decode);
    const std::size_t length = std::min<std::size_t>(size, host.decompressed.size());
    if (length != 0) std::memcpy(destination, host.decompressed.data(), length);
    *out_length = static_cast<ub4>(length);
    return host.decode_result;
  }

  static void hostierr(void *env, void *error_frame, const char *message, ub8 zero) {
    TestHost &host = host_of(env);
    record(host, "hostierr(env, %s, \"%s\", %" PRIu64 ")", named(error_frame, host.error_frame(), "frame"), message,
           zero);
    leave_if_told(host, TestHost::Callback::hostierr);
  }

  static ub4 brep_decode(void *env, void *heap, const void *source, void *destination, ub4 *out_length, ub4 size,
                         ub8 zero1, ub8 zero2, ub8 zero3) {
    TestHost &host = host_of(env);
    record(host, "brep_decode(env, %s, %s, %s, length %" PRIu32 ", %" PRIu32 ", %" PRIu64 ", %" PRIu64 ", %" PRIu64 ")",
           named(heap, host.heap(), "heap"), named(source, host.stream, "stream"),
           named(destination, host.slot != nullptr ? *host.slot : nullptr, "slot's memory"), *out_length, size, zero1,
           zero2, zero3);
    return host.decode_result;
  }

  static ub4 burst(mipo_host_ctx *ctx, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *aux) {
    TestHost &host = host_of(ctx->env);
    mipo_call_ctx rest = *aux;
    rest.ones_vec = nullptr;
    rest.ones_count = 0;
    static const mipo_call_ctx zero{};
    record(host, "burst(%s, %s, %s, {%s, %" PRIu32 " ones, rest %s}) with nset %" PRIu32,
           named(ctx, host.ctx(), "host"), named(res, host.burst_res, "res"), named(src, host.burst_src, "src"),
           named(aux->ones_vec, src->enc_ctx->run_bv, "run_bv"), aux->ones_count,
           std::memcmp(&rest, &zero, sizeof rest) == 0 ? "zero" : "not zero", res->nset);
    res->nset = host.burst_nset;
    return host.burst_result;
  }
};

TestHost::TestHost() {
  TestHost *self = this;
  std::memcpy(&env_[0], &self, sizeof self);
  void *frame = &error_frame_;
  std::memcpy(&env_[MIPO_ENV_ERROR_FRAME_WORD], &frame, sizeof frame);
  ctx_.env = env_;
  ctx_.heap = &heap_;
  ctx_.alloc = HostCallbacks::alloc;
  ctx_.temp_alloc = HostCallbacks::temp_alloc;
  ctx_.temp_free = HostCallbacks::temp_free;
  ctx_.decode = HostCallbacks::decode;
}

std::string TestHost::difference_from(const std::vector<std::string> &expected_calls) const {
  const auto listed = [](const std::vector<std::string> &lines) {
    std::string text;
    for (const std::string &line : lines) text += "\n    " + line;
    return lines.empty() ? " none" : text;
  };
  if (calls == expected_calls) return {};
  return "callbacks:" + listed(calls) + "\n  expected:" + listed(expected_calls) + "\n";
}

ub4 TestHost::burst(mipo_host_ctx *host, mipo_vec *res, const mipo_vec *src, mipo_call_ctx *aux) {
  return HostCallbacks::burst(host, res, src, aux);
}

} // namespace mipo::check

extern "C" void hostierr(void *env, void *error_frame, const char *message, ub8 zero) {
  mipo::check::HostCallbacks::hostierr(env, error_frame, message, zero);
}

extern "C" ub4 brep_decode(void *env, void *heap, const void *source, void *destination, ub4 *out_length, ub4 size,
                           ub8 zero1, ub8 zero2, ub8 zero3) {
  return mipo::check::HostCallbacks::brep_decode(env, heap, source, destination, out_length, size, zero1, zero2, zero3);
}
