// What the predicate kernels are held against, and how their inputs are stored: one line a family.
#ifndef MIPO_TESTS_CHECK_PREDICATE_FAMILIES_H
#define MIPO_TESTS_CHECK_PREDICATE_FAMILIES_H

#include <string>
#include <vector>

#include "check/built_kernels.h"
#include "check/column_format.h"
#include "reference/predicate_model.h"

namespace mipo::check {

struct PredicateFamily {
  ub4 family, variant;
  std::vector<unsigned> widths;
  const char *name; ///< as in the kernels' names
  const char *suffix;
  const ColumnFormat *format; ///< null: of dictionary codes, by their width
  reference::PredicateOutcome (*model)(const reference::PredicateCall &);
  bool takes_set = false; ///< in place of constants

  const ColumnFormat &format_of(unsigned width) const { return format != nullptr ? *format : code_format(width); }
  /// The bits a row that a kernel of this width serves.
  std::vector<unsigned> stored_bits(unsigned width) const;
};

/// Of predicates and tests for membership. Null if `kernel` is no predicate, or one that has no model.
const PredicateFamily *family_of(const ListedKernel &kernel);

} // namespace mipo::check

#endif
