// A predicate call laid out in guarded memory: each buffer ends where its format says and not a byte later, sources are
// write-protected, and fields that a predicate has no business with hold noise.
#ifndef MIPO_TESTS_CHECK_PREDICATE_CASE_H
#define MIPO_TESTS_CHECK_PREDICATE_CASE_H

#include <memory>
#include <string>
#include <vector>

#include "check/built_kernels.h"
#include "check/column_data.h"
#include "check/column_format.h"
#include "check/guarded_buffer.h"
#include "check/guarded_sources.h"
#include "check/random.h"
#include "check/test_host.h"
#include "reference/predicate_model.h"

namespace mipo::check {

class PredicateCase {
public:
  PredicateCase(const reference::PredicateCall &call, const ColumnFormat &format, Random &random);

  /// Calls `kernel` and compares with `expected`; what differs, or an empty text.
  std::string run(Shape shape, mipo_kernel kernel, const reference::PredicateOutcome &expected);

  /// The steps of `run`, for a host that does not come back from a callback: `call` has nothing to clean up.
  void prepare(bool into_runs);
  ub4 call(Shape shape, mipo_kernel kernel) {
    return call_predicate(shape, kernel, &res_, &src_, &first_, &second_, ctx());
  }

  /// Back to the state before the first call: the host's cell is empty again if it was.
  void forget_decompressed() { data_.forget_decompressed(); }

  bool is_decompressed() const { return data_.is_decompressed(); }

  TestHost &host() { return host_; }

private:
  mipo_call_ctx *ctx() { return has_ctx_ ? &ctx_ : nullptr; }

  TestHost host_;
  bool has_ctx_;
  std::size_t output_words_;
  GuardedSources sources_;
  std::unique_ptr<GuardedBuffer> output_;
  GuardedBuffer nowhere_{0}; // its address lies in an inaccessible page
  ColumnData data_;
  ub4 done_flags_before_;
  mipo_vec res_, src_, first_, second_;
  mipo_enc_ctx enc_, constant_enc_;
  mipo_call_ctx ctx_;
};

} // namespace mipo::check

#endif
