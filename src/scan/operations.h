// The ten comparisons, what codes they let in, and the few tests that this comes down to.
//
// An operation with its constants is a set of codes: a range, or all codes but one. A set is tested by the cheapest
// test that tells it from the others, whatever operation it came from, so that the loops over rows exist once a column
// and a test, and not once an operation.
//
//   set of codes                  test of a block                         of
//   one code                      code == k                               eq, ranges of one code
//   all but one                   code == k, complemented                 ne
//   0 up to high                  code <= high                            lt, le, ranges from 0
//   low up to the greatest        code >= low                             gt, ge, ranges up to the greatest
//   low up to high                code - low <= high - low                other ranges, null-aware lt and le
//   all but one and 0             code == k or code == 0, complemented    null-aware ne
//   none, all                     no loop: words are filled
#ifndef MIPO_SCAN_OPERATIONS_H
#define MIPO_SCAN_OPERATIONS_H

#include "column/block_reading.h"
#include "simd/simd.h"

namespace mipo::scan {

enum class Operation { eq, lt, gt, le, ge, ne, gt_lt, gt_le, ge_lt, ge_le };

constexpr bool is_two_sided(Operation operation) {
  return operation >= Operation::gt_lt;
}

// The codes from `low` to `high`, both included, or with `outside` all others; without code 0 if it is null.
template <class Word>
struct CodeSet {
  Word low, high;
  bool outside = false;
  bool null_fails = false;

  static constexpr CodeSet none() { return {1, 0}; }
  constexpr bool is_empty() const { return !outside && low > high; }
};

// Constants are compared as numbers: one beyond `greatest` is no code. Operations of one constant have it in `low`.
template <class Word>
CodeSet<Word> codes_where(Operation operation, bool null_aware, Word greatest, Word low, Word high) {
  constexpr Word last = static_cast<Word>(~Word{0});
  bool low_open = false, high_open = false;
  switch (operation) {
  case Operation::ne:
    if (low > greatest) low = null_aware ? 0 : last; // equal to no code; what is left of null-aware ne is not null
    return {low, low, true, null_aware};
  case Operation::eq:
    high = low;
    break;
  case Operation::lt:
  case Operation::le:
    high = low;
    high_open = operation == Operation::lt;
    low = 0;
    break;
  case Operation::gt:
  case Operation::ge:
    high = last;
    low_open = operation == Operation::gt;
    break;
  default:
    low_open = operation == Operation::gt_lt || operation == Operation::gt_le;
    high_open = operation == Operation::gt_lt || operation == Operation::ge_lt;
  }
  if ((low_open && low == last) || (high_open && high == 0)) return CodeSet<Word>::none();
  low = static_cast<Word>(low + low_open);
  high = static_cast<Word>(high - high_open);
  if (null_aware && low == 0) low = 1;
  if (high > greatest) high = greatest;
  return low > high ? CodeSet<Word>::none() : CodeSet<Word>{low, high};
}

// Any set of codes on single rows.
template <class Word>
class RowTest {
public:
  explicit RowTest(CodeSet<Word> codes)
      : low_(codes.low),
        span_(static_cast<Word>(codes.high - codes.low)),
        outside_(codes.outside),
        null_passes_(!codes.null_fails) {
    if (!codes.is_empty()) return;
    low_ = 0; // all codes, complemented
    span_ = static_cast<Word>(~Word{0});
    outside_ = true;
  }

  [[gnu::always_inline]] bool row(Word code) const {
    return ((static_cast<Word>(code - low_) <= span_) != outside_) & (null_passes_ | (code != 0));
  }

private:
  Word low_, span_;
  bool outside_, null_passes_;
};

// Tests of a block: lanes(codes, to_lane_constant) is a mask for a vector of codes; to_lane_constant(k) gives a
// constant the form that the codes have in their lanes.
template <class Word>
struct EqualTest {
  Word k;
  [[gnu::always_inline]] auto lanes(auto codes, auto to_lane_constant) const { return codes == to_lane_constant(k); }
};
template <class Word>
struct EqualOrNullTest {
  Word k;
  [[gnu::always_inline]] auto lanes(auto codes, auto to_lane_constant) const {
    return (codes == to_lane_constant(k)) | (codes == decltype(codes){});
  }
};
// Up to 32 bits lanes have a minimum, which tells at most in two steps; for 64 bits they have a greater-than only.
// There is a code above `high`, and one below `low`.
template <class T>
inline constexpr bool has_lane_minimum = sizeof(T) < 8;

template <class Word>
struct AtMostTest {
  Word high;
  template <class T>
  [[gnu::always_inline]] auto lanes(simd::Lanes<T> codes, auto to_lane_constant) const {
    if constexpr (has_lane_minimum<T>)
      return codes <= to_lane_constant(high);
    else
      return codes < to_lane_constant(high + 1);
  }
};
template <class Word>
struct AtLeastTest {
  Word low;
  template <class T>
  [[gnu::always_inline]] auto lanes(simd::Lanes<T> codes, auto to_lane_constant) const {
    if constexpr (has_lane_minimum<T>)
      return codes >= to_lane_constant(low);
    else
      return codes > to_lane_constant(low - 1);
  }
};
// Costs nothing: a mask carries in its type whether its bits are to be read inverted.
template <class Test>
struct Complement {
  Test test;
  [[gnu::always_inline]] auto lanes(auto codes, auto to_lane_constant) const {
    return !test.lanes(codes, to_lane_constant);
  }
};
template <class Test>
Complement(Test) -> Complement<Test>;

// One subtraction and one comparison: code - low wraps around for codes below low.
template <class Word>
struct RangeTest {
  Word low, span;
  [[gnu::always_inline]] auto lanes(auto codes, auto to_lane_constant) const {
    return codes - to_lane_constant(low) <= to_lane_constant(span);
  }
};

} // namespace mipo::scan

#endif
