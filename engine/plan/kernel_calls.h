// The kernel calls that select the rows of a set of codes.
#ifndef MIPO_ENGINE_PLAN_KERNEL_CALLS_H
#define MIPO_ENGINE_PLAN_KERNEL_CALLS_H

#include <string>
#include <vector>

#include "engine/plan/code_set.h"
#include "engine/plan/column_predicate.h"
#include "mipo/keys.h"

namespace mipo::engine {

/// One call of a predicate kernel, of the kernel for sets of codes, or of one that looks codes up in a table of
/// members.
struct KernelCall {
  mipo_operation operation;
  ub8 lo = 0; // the constant of a one-sided operation
  ub8 hi = 0;
  bool sees_null_code = false; // whether code 0 is looked at like any other
  bool complemented = false;   // the rows that the kernel leaves out are meant
  CodeSet set;                 // of MIPO_OP_SET and MIPO_OP_XLATE
  std::string text;            // the condition that the call stands for
};

/// The calls whose united rows are those for which the test, on a column of the first table, holds. There is always at
/// least one, even if it selects nothing, and every constant is a code of the column's domain, or 0.
std::vector<KernelCall> kernel_calls(const ColumnPredicate &test);

} // namespace mipo::engine

#endif
