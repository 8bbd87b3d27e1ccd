// A predicate call laid out in guarded memory: each buffer ends where its format says and not a byte later, sources are
// write-protected, and fields that a predicate has no business with hold noise.
#ifndef MIPO_TESTS_CHECK_PREDICATE_CASE_H
#define MIPO_TESTS_CHECK_PREDICATE_CASE_H

#include <memory>
#include <string>
#include <vector>

#include "check/built_kernels.h"
#include "check/guarded_buffer.h"
#include "check/random.h"
#include "check/test_host.h"
#include "reference/predicate_model.h"

namespace mipo::check {

/// The bytes of a column: all that its format has, slack included.
using EncodeCodes = std::vector<ub1>(const std::vector<ub8> &codes, unsigned width);
EncodeCodes encode_byte_aligned;
EncodeCodes encode_packed;
/// How dictionary codes of a width are stored.
EncodeCodes *encoder_of_width(unsigned width);

/// Words of a bit vector; the bits behind the last row are noise.
std::vector<ub8> bit_vector_words(const std::vector<bool> &bits, Random &random);

class PredicateCase {
public:
  PredicateCase(const reference::PredicateCall &call, EncodeCodes *encode, Random &random);

  /// Calls `kernel` and compares with `expected`; what differs, or an empty text.
  std::string run(Shape shape, mipo_kernel kernel, const reference::PredicateOutcome &expected);

  /// The steps of `run`, for a host that does not come back from a callback: `call` has nothing to clean up.
  void prepare(bool into_runs);
  ub4 call(Shape shape, mipo_kernel kernel) {
    return call_predicate(shape, kernel, &res_, &src_, &first_, &second_, ctx());
  }

  /// Back to the state ahead of the first call: the host's cell is empty again if it was.
  void forget_decompressed() { slot_ = initial_slot_; }

  bool is_decompressed() const { return slot_ != nullptr; }

  TestHost &host() { return host_; }

private:
  mipo_call_ctx *ctx() { return has_ctx_ ? &ctx_ : nullptr; }
  std::unique_ptr<GuardedBuffer> source(const void *bytes, std::size_t size);

  TestHost host_;
  bool has_ctx_;
  std::size_t output_words_;
  std::vector<std::unique_ptr<GuardedBuffer>> sources_;
  std::unique_ptr<GuardedBuffer> output_;
  GuardedBuffer nowhere_{0}; // its address lies in an inaccessible page
  void *initial_slot_ = nullptr, *slot_ = nullptr;
  ub4 done_flags_before_;
  mipo_vec res_, src_, first_, second_;
  mipo_enc_ctx enc_;
  mipo_call_ctx ctx_;
};

} // namespace mipo::check

#endif
