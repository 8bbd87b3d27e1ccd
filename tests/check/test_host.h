// A host made of the bare records, which writes down every callback that a kernel makes, as a line of text:
//
//   alloc(env, heap, 1000, "mipo_eq_dict_8bit: vec1_decomp", 8, 16, 0x77)
//
// Handles and addresses stand under the name of what they should be; one that is something else is written as "other".
// Scratch is filled with noise, named "scratch" when it comes back with its cookie, and out of reach from then on.
// A program that links this file takes `hostierr` and `brep_decode` from it.
#ifndef MIPO_TESTS_CHECK_TEST_HOST_H
#define MIPO_TESTS_CHECK_TEST_HOST_H

#include <csetjmp>
#include <memory>
#include <string>
#include <vector>

#include "check/guarded_buffer.h"
#include "mipo/mipo.h"

namespace mipo::check {

class TestHost {
public:
  enum class Callback { none, alloc, decode, hostierr };
  enum class Leave { by_jump, by_exception };
  struct Left {}; // what is thrown

  TestHost();
  TestHost(const TestHost &) = delete;
  TestHost &operator=(const TestHost &) = delete;

  mipo_host_ctx *ctx() { return &ctx_; }
  void *env() { return env_; }
  void *heap() { return &heap_; }
  void *error_frame() { return &error_frame_; }
  /// Scratch that was handed out and not given back yet.
  std::size_t scratch_count() const { return scratch_.size(); }

  /// The callbacks so far, in their order.
  std::vector<std::string> calls;
  /// Both lists as a text if they differ, else an empty one.
  std::string difference_from(const std::vector<std::string> &expected_calls) const;

  // The compressed column: the names "stream" and "slot's memory" in `calls` rest on these.
  const void *stream = nullptr;
  void *const *slot = nullptr;
  std::vector<ub1> decompressed; ///< what `decode` delivers
  ub4 decode_result = 0;

  // What `burst` leaves after, and the operands it should get.
  const mipo_vec *burst_res = nullptr, *burst_src = nullptr;
  ub4 burst_nset = 0, burst_result = 0;
  static mipo_burst_fn burst;

  /// The callback that does not come back, and how it goes: by std::longjmp to `target`, or by throwing Left.
  Callback leaves_from = Callback::none;
  Leave leaves = Leave::by_jump;
  std::jmp_buf target;

private:
  friend struct HostCallbacks;
  static constexpr unsigned env_words = MIPO_ENV_ERROR_FRAME_WORD + 1;

  mipo_host_ctx ctx_{};
  ub8 env_[env_words] = {}; // word 0 leads back to this object
  ub8 heap_ = 0, error_frame_ = 0;
  std::vector<std::unique_ptr<GuardedBuffer>> memory_, scratch_; // the cookie of scratch is its GuardedBuffer
};

} // namespace mipo::check

#endif
