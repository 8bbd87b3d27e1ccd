// What a predicate kernel has to do, worked out one row at a time from the values of a call.
#ifndef MIPO_TESTS_REFERENCE_PREDICATE_MODEL_H
#define MIPO_TESTS_REFERENCE_PREDICATE_MODEL_H

#include <optional>
#include <string>
#include <vector>

#include "mipo/integers.h"

namespace mipo::reference {

/// One of the ten operations, by its number in a key.
struct PredicateOperation {
  const char *name;
  const char *first_half; ///< of a two-sided operation; else the name
  bool two_sided;
  bool (*qualifies)(ub8 code, ub8 first, ub8 second);
};

/// Null if `number` is no predicate's.
const PredicateOperation *predicate_operation(ub4 number);

/// A call in values: what the records of the call say, without where it lies.
struct PredicateCall {
  const PredicateOperation *operation;
  unsigned width = 8;        ///< bits a code
  std::string name_tail;     ///< of the kernel's name, behind the operation: "_dict_8bit"
  std::vector<ub8> codes;    ///< of the rows; in the block path of a run-length column, of the runs
  ub8 first = 0, second = 0; ///< the constants' cells: words of 32 bits, of 64 at width 64

  bool has_ctx = false, selective_flag = false, run_length = false;
  bool has_selective_path = true; ///< of the kernel: one-bit kernels know no other path than the block path
  bool reads_constants = true;    ///< of the kernel: where they do not matter they need not exist
  std::optional<std::vector<bool>> selection, filter;

  bool compressed = false, already_decompressed = false, decode_fails = false;
  ub4 decomp_size = 0;
  ub8 decomp_hint = 0, host_flags = 0;

  ub4 burst_nset = 0, burst_result = 0;

  bool selective() const { return has_ctx && selection && selective_flag && has_selective_path; }
};

struct PredicateOutcome {
  std::vector<bool> bits; ///< of the output: `res->bv`, or `run_bv` if `into_runs`
  bool into_runs = false;
  ub4 nset = 0, code = 0;
  ub4 done_flags = 0;             ///< to be set beside those that were
  std::vector<std::string> calls; ///< callbacks, as the test host writes them
};

/// Dictionary codes that fill whole bytes. Null-aware: code 0 is a row without value and never qualifies.
PredicateOutcome byte_aligned_dict_predicate(const PredicateCall &call);
PredicateOutcome byte_aligned_null_aware_predicate(const PredicateCall &call);

/// Packed codes of 2 to 24 bits, compared with the whole cells of the constants.
PredicateOutcome packed_dict_predicate(const PredicateCall &call);
PredicateOutcome packed_null_aware_predicate(const PredicateCall &call);

/// One-bit codes: the answer goes by tables, which give one to any constant.
PredicateOutcome one_bit_predicate(const PredicateCall &call);
PredicateOutcome one_bit_null_aware_predicate(const PredicateCall &call);
bool one_bit_reads_constants(const PredicateOperation &operation, bool null_aware);

} // namespace mipo::reference

#endif
