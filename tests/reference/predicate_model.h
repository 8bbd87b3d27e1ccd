// What a predicate kernel has to do, worked out one row at a time from the values of a call.
#ifndef MIPO_TESTS_REFERENCE_PREDICATE_MODEL_H
#define MIPO_TESTS_REFERENCE_PREDICATE_MODEL_H

#include <compare>
#include <optional>
#include <string>
#include <vector>

#include "decompression_model.h"
#include "mipo/integers.h"

namespace mipo::reference {

/// What a row or a constant holds: a code or a number, and in columns that store a count beside it (of trailing zero
/// bytes, or the length code of a dynamic-packed value) that too. Ordered by the number, then by the count.
struct Value {
  ub8 number = 0;
  ub4 count = 0;

  auto operator<=>(const Value &) const = default;
};

/// One of the ten operations, by its number in a key, or the test for membership in a set.
struct PredicateOperation {
  const char *name;
  const char *first_half; ///< of a two-sided operation; else the name
  bool two_sided;
  bool (*qualifies)(const Value &row, const Value &first, const Value &second);
};

/// Null if `number` is no predicate's.
const PredicateOperation *predicate_operation(ub4 number);

/// A call in values: what the records of the call say, without where it lies.
struct PredicateCall {
  const PredicateOperation *operation;
  unsigned width = 8;      ///< of the kernel
  unsigned bits = 8;       ///< stored a row: fewer than `width` where a kernel serves several lengths
  std::string name_tail;   ///< of the kernel's name, after the operation: "_dict_8bit"
  std::vector<Value> rows; ///< in the block path of a run-length column, the runs
  Value first, second;     ///< the constants; of codes, their cells of 32 or (at width 64) 64 bits
  std::vector<bool> set;   ///< by code: what a test for membership is given in place of constants

  std::optional<ub4> shared_count; ///< the count of all rows, told once

  bool has_ctx = false, selective_flag = false, run_length = false;
  bool has_selective_path = true; ///< of the kernel: one-bit kernels know no other path than the block path
  bool reads_constants = true;    ///< of the kernel: where they do not matter they need not exist
  bool reads_filter = true;       ///< of the kernel
  std::optional<std::vector<bool>> selection, filter;

  Compression compression;

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

/// Dictionary codes that fill whole bytes. Null-aware: code 0 is NULL and never qualifies.
PredicateOutcome byte_aligned_dict_predicate(const PredicateCall &call);
PredicateOutcome byte_aligned_null_aware_predicate(const PredicateCall &call);

/// Packed codes of 2 to 24 bits, compared with the whole cells of the constants.
PredicateOutcome packed_dict_predicate(const PredicateCall &call);
PredicateOutcome packed_null_aware_predicate(const PredicateCall &call);

/// One-bit codes: the answer goes by tables, which give one to any constant.
PredicateOutcome one_bit_predicate(const PredicateCall &call);
PredicateOutcome one_bit_null_aware_predicate(const PredicateCall &call);

/// Numbers of `bits` bits, and the same where the count is part of the value.
PredicateOutcome fixed_predicate(const PredicateCall &call);
PredicateOutcome fixed_trailing_zero_predicate(const PredicateCall &call);

/// Numbers whose most significant bytes are stored. Of 64-bit kernels, a row with a length code above 7 and the row
/// that it shares a control byte with are zero.
PredicateOutcome dynamic_packed_predicate(const PredicateCall &call);
PredicateOutcome dynamic_packed_counted_predicate(const PredicateCall &call);
/// The row's number as the kernels see it.
ub8 dynamic_packed_number(const std::vector<Value> &rows, std::size_t row, unsigned width);

/// Membership of codes in a set: no filter, and a flag of its own.
PredicateOutcome set_predicate(const PredicateCall &call);
bool one_bit_reads_constants(const PredicateOperation &operation, bool null_aware);

} // namespace mipo::reference

#endif
