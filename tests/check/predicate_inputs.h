// Calls of predicates, drawn so that all that can be combined in a call comes up with every kernel.
#ifndef MIPO_TESTS_CHECK_PREDICATE_INPUTS_H
#define MIPO_TESTS_CHECK_PREDICATE_INPUTS_H

#include "check/predicate_families.h"
#include "check/random.h"

namespace mipo::check {

enum Selection { none, all, sparse, dense, exactly_8, exactly_16, first_rows, selection_kinds };

std::vector<bool> choose_selection(std::size_t rows, ub8 kind, Random &random);

using ChooseCall = reference::PredicateCall(const ListedKernel &kernel, const PredicateFamily &family, std::size_t rows,
                                            Random &random);
ChooseCall choose_call;
/// Of 64-bit dynamic-packed kernels, with length codes that stand for no length, in control bytes of which no row is
/// looked at one by one: of whole blocks, or of rows that are not selected.
ChooseCall choose_call_with_invalid_lengths;

/// What the host answers in such a call.
void choose_host(reference::PredicateCall &call, const PredicateFamily &family, Random &random);

} // namespace mipo::check

#endif
