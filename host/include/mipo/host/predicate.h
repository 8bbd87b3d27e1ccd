// Predicate kernels, called with operands that are known to fit each other. Their records can be handed to a
// kernel as well (Library::two_sided() and so on): then nobody checks.
#ifndef MIPO_HOST_PREDICATE_H
#define MIPO_HOST_PREDICATE_H

#include <optional>

#include "mipo/host/bit_vector.h"
#include "mipo/host/column.h"
#include "mipo/host/context.h"
#include "mipo/host/library.h"

namespace mipo::host {

/// Which kernel of a column: the one that passes over null rows where the operation has one, or another variant, as
/// MIPO_VARIANT_PLAIN to look for code 0 in a column whose domain has_null().
struct PredicateKernel {
  PredicateKernel(mipo_operation of_operation) : operation(of_operation) {}
  PredicateKernel(mipo_operation of_operation, mipo_variant of_variant)
      : operation(of_operation), variant(of_variant) {}

  mipo_operation operation;
  std::optional<mipo_variant> variant;
  ub4 key(const EncodedColumn &column) const noexcept {
    return variant ? column.key(operation, *variant) : column.key(operation);
  }
};

/// The rows of a column that compare so with a constant: MIPO_OP_EQ to MIPO_OP_NE. Bits and count go into `result`, for
/// the rows that are selected in the context. Returns whether there are any.
///
/// Throws ArgumentError if result or selection have another number of rows than the column, or a selection is handed to
/// a column of runs; MissingKernel if the library has no such kernel; and Error for what the kernel reports.
bool evaluate(const Library &library, CallContext &context, PredicateKernel kernel, Result &result,
              const EncodedColumn &column, const Constant &constant);
/// The same for ranges: MIPO_OP_GT_LT to MIPO_OP_GE_LE.
bool evaluate(const Library &library, CallContext &context, PredicateKernel kernel, Result &result,
              const EncodedColumn &column, const Constant &low, const Constant &high);
/// Rows whose code is in a set, MIPO_OP_SET: a bit for each code. Throws ArgumentError too if the set has fewer bits
/// than the domain has codes, and 256.
bool evaluate_set(const Library &library, CallContext &context, Result &result, const EncodedColumn &column,
                  const BitVector &codes);

} // namespace mipo::host

#endif
