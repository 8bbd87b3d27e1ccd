#include "engine/plan/kernel_calls.h"

#include <fmt/format.h>

namespace mipo::engine {
namespace {

// The condition that a call stands for, told with the column's values.
std::string call_text(const BoundColumn &column, const KernelCall &call) {
  const auto value = [&](ub8 code) {
    return sql_text({host::is_number(column.type().kind) ? Constant::Kind::number : Constant::Kind::string,
                     column.domain().value(code), 0});
  };
  const auto side = [&](const char *symbol, ub8 code) {
    return fmt::format("{} {} {}", column.name, symbol, value(code));
  };
  const auto both = [&](const char *low_symbol, const char *high_symbol) {
    return fmt::format("{} AND {}", side(low_symbol, call.lo), side(high_symbol, call.hi));
  };
  if (call.complemented || call.sees_null_code) return fmt::format("{} IS NULL", column.name);
  switch (call.operation) {
  case MIPO_OP_EQ:
    return side("=", call.lo);
  case MIPO_OP_NE:
    return side("<>", call.lo);
  case MIPO_OP_LT:
    return side("<", call.lo);
  case MIPO_OP_LE:
    return side("<=", call.lo);
  case MIPO_OP_GT:
    return side(">", call.lo);
  case MIPO_OP_GE:
    return side(">=", call.lo);
  case MIPO_OP_GT_LT:
    return both(">", "<");
  case MIPO_OP_GT_LE:
    return both(">", "<=");
  case MIPO_OP_GE_LT:
    return both(">=", "<");
  default:
    return both(">=", "<=");
  }
}

KernelCall predicate_call(mipo_operation operation, ub8 lo, ub8 hi = 0) {
  KernelCall call;
  call.operation = operation;
  call.lo = lo;
  call.hi = hi;
  return call;
}

// The kernel for one range. The ends of all codes need no test, so every constant is a code that exists.
KernelCall call_for(const CodeRange &range, const host::Domain &domain) {
  const ub8 least = domain.first_code(), greatest = domain.code_count() - 1;
  const ub8 first = range.lower.code, last = range.upper.code - 1;
  const bool after = range.lower.strict && first > least, before = range.upper.strict && last < greatest;
  if (first == last) return predicate_call(MIPO_OP_EQ, first);
  if (last == greatest) return after ? predicate_call(MIPO_OP_GT, first - 1) : predicate_call(MIPO_OP_GE, first);
  if (first == least) return before ? predicate_call(MIPO_OP_LT, last + 1) : predicate_call(MIPO_OP_LE, last);
  const ub8 lo = after ? first - 1 : first, hi = before ? last + 1 : last;
  if (after) return predicate_call(before ? MIPO_OP_GT_LT : MIPO_OP_GT_LE, lo, hi);
  return predicate_call(before ? MIPO_OP_GE_LT : MIPO_OP_GE_LE, lo, hi);
}

// The NULL rows: those with code 0, or those that a column of numbers has no value for.
KernelCall null_call(const BoundColumn &column) {
  if (column.domain().has_null()) {
    KernelCall call = predicate_call(MIPO_OP_EQ, 0);
    call.sees_null_code = true;
    return call;
  }
  if (column.stored().data.validity() == nullptr) return predicate_call(MIPO_OP_LT, 0); // no code is less than 0
  KernelCall call = predicate_call(MIPO_OP_GE, column.domain().first_code());
  call.complemented = true;
  return call;
}

KernelCall set_call(mipo_operation operation, std::vector<CodeRange> members, bool with_null) {
  if (with_null) members.push_back({{0, false}, {1, false}});
  KernelCall call = predicate_call(operation, 0);
  call.set = CodeSet(std::move(members));
  return call;
}

} // namespace

std::vector<KernelCall> kernel_calls(const ColumnPredicate &test) {
  const BoundColumn &column = *test.column;
  const host::Domain &domain = column.domain();
  const auto &ranges = test.holds.ranges();
  const bool has_nulls = domain.has_null() || column.stored().data.validity() != nullptr;
  const bool takes_nulls = test.null_holds && has_nulls;

  std::vector<KernelCall> calls;
  const bool all_but_one = ranges.size() == 2 && ranges[0].lower.code == domain.first_code() &&
                           ranges[1].upper.code == domain.code_count() &&
                           ranges[0].upper.code + 1 == ranges[1].lower.code;
  const bool nulls_are_code_0 = takes_nulls && domain.has_null();
  if (all_but_one && (!takes_nulls || nulls_are_code_0)) {
    calls.push_back(predicate_call(MIPO_OP_NE, ranges[0].upper.code));
    calls.back().sees_null_code = nulls_are_code_0;
  } else if (nulls_are_code_0 && ranges.size() == 1 && ranges[0].lower.code == domain.first_code()) {
    const RangeEnd end = ranges[0].upper;
    const bool before = end.strict && end.code < domain.code_count();
    calls.push_back(before ? predicate_call(MIPO_OP_LT, end.code) : predicate_call(MIPO_OP_LE, end.code - 1));
    calls.back().sees_null_code = true;
  } else if (ranges.size() + takes_nulls > 1 && has_code_kernels(column.stored())) {
    calls.push_back(set_call(MIPO_OP_SET, ranges, takes_nulls));
  } else if (ranges.size() > 1 && test.from_other_rows && index_count(domain) <= most_join_codes) {
    calls.push_back(set_call(MIPO_OP_XLATE, ranges, false));
    if (takes_nulls) calls.push_back(null_call(column));
  } else {
    for (const CodeRange &range : ranges) calls.push_back(call_for(range, domain));
    if (takes_nulls) calls.push_back(null_call(column));
  }
  if (calls.empty()) calls.push_back(predicate_call(MIPO_OP_LT, 0)); // no code is less than 0
  for (KernelCall &call : calls)
    call.text = calls.size() == 1 || !call.set.empty() ? test.text : call_text(column, call);
  return calls;
}

} // namespace mipo::engine
