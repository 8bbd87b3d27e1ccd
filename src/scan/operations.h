// The ten comparisons. Each is one text, which serves a row (integers, giving bool) and a block (lanes, giving masks).
#ifndef MIPO_SCAN_OPERATIONS_H
#define MIPO_SCAN_OPERATIONS_H

#include <type_traits>

#include "mipo/vec.h"
#include "simd/simd.h"

namespace mipo::scan {

struct eq {
  static constexpr bool ordered = false;
  [[gnu::always_inline]] static auto holds(auto code, auto k) { return code == k; }
};
struct ne {
  static constexpr bool ordered = false;
  [[gnu::always_inline]] static auto holds(auto code, auto k) { return code != k; }
};
struct lt {
  static constexpr bool ordered = true;
  [[gnu::always_inline]] static auto holds(auto code, auto k) { return code < k; }
};
struct gt {
  static constexpr bool ordered = true;
  [[gnu::always_inline]] static auto holds(auto code, auto k) { return code > k; }
};
struct le {
  static constexpr bool ordered = true;
  [[gnu::always_inline]] static auto holds(auto code, auto k) { return code <= k; }
};
struct ge {
  static constexpr bool ordered = true;
  [[gnu::always_inline]] static auto holds(auto code, auto k) { return code >= k; }
};

// The two-sided ones say which ends of the range are left out.
struct gt_lt {
  static constexpr bool low_open = true, high_open = true;
};
struct gt_le {
  static constexpr bool low_open = true, high_open = false;
};
struct ge_lt {
  static constexpr bool low_open = false, high_open = true;
};
struct ge_le {
  static constexpr bool low_open = false, high_open = false;
};

// What the codes of a column can be, for a test to know what its constants mean: integers of type Integer, from
// `least_value` (1 if code 0 stands for a row without value) to `greatest`.
template <class IntegerType, IntegerType greatest_code, bool null_aware_codes>
struct CodeRange {
  using Integer = IntegerType;
  static constexpr Integer greatest = greatest_code;
  static constexpr bool null_aware = null_aware_codes;
  static constexpr Integer least_value = null_aware ? 1 : 0;
};

// A test is a comparison with its constants read. What the frame asks of it:
//
//   row(code)            whether one row qualifies
//   lanes(codes, lift)   a mask for a vector of codes; lift(k) gives a constant the form that the codes have in their
//                        lanes
//   force(), keep()      what the masks leave out: all ones or all zeros, ORed to and then ANDed with the finished bits
//
// A code and a constant are compared as numbers. Where a constant lies beyond all codes no mask can say so, and the
// answer is the same for all rows: force() or keep() gives it.
template <class Operation, class Codes>
class OneSidedTest {
public:
  using Integer = typename Codes::Integer;
  static constexpr bool unequal_to_null = Codes::null_aware && std::is_same_v<Operation, ne>;
  static constexpr bool equal_to_value = Codes::null_aware && std::is_same_v<Operation, eq>;
  static constexpr bool at_least_value = Codes::null_aware && std::is_same_v<Operation, ge>;
  // Every constant is a code: the blocks of such columns are spared the question.
  static constexpr bool every_constant_is_a_code = Codes::greatest == static_cast<Integer>(~Integer{0});

  explicit OneSidedTest(const mipo_vec *konst) : k_(simd::read_native<Integer>(konst->data)) {
    if (at_least_value && k_ == 0) k_ = 1;
    if (equal_to_value && k_ == 0) keep_ = 0;
    if (k_ <= Codes::greatest) return;
    if (unequal_to_null)
      k_ = 0; // equal to no code: unequal to null says it all
    else if (Operation::holds(Codes::greatest, k_))
      force_ = ~ub8{0};
    else
      keep_ = 0;
  }

  [[gnu::always_inline]] ub8 force() const { return every_constant_is_a_code ? 0 : force_; }
  [[gnu::always_inline]] ub8 keep() const { return every_constant_is_a_code && !equal_to_value ? ~ub8{0} : keep_; }

  [[gnu::always_inline]] bool row(Integer code) const {
    const bool holds = Operation::holds(code, k_) && (!unequal_to_null || code != 0);
    return (holds || force() != 0) && keep() != 0;
  }

  template <class T>
  [[gnu::always_inline]] auto lanes(simd::Lanes<T> codes, auto lift) const {
    if constexpr (unequal_to_null)
      return !((codes == lift(k_)) | (codes == simd::Lanes<T>{}));
    else
      return Operation::holds(codes, lift(k_));
  }

private:
  Integer k_;
  ub8 force_ = 0, keep_ = ~ub8{0};
};

// A range costs one subtraction and one comparison: code - low wraps around for codes below low, so that
// low <= code <= high is code - low <= high - low. Null-aware lt and le are ranges too: they begin at the first value.
template <class Codes>
class RangeTest {
public:
  using Integer = typename Codes::Integer;

  RangeTest(Integer first, bool first_open, Integer last, bool last_open) {
    const bool nothing_above = first_open && first == static_cast<Integer>(~Integer{0});
    const bool nothing_below = last_open && last == 0;
    low_ = static_cast<Integer>(first + first_open);
    Integer high = static_cast<Integer>(last - last_open);
    if (low_ < Codes::least_value) low_ = Codes::least_value;
    if (high > Codes::greatest) high = Codes::greatest;
    const bool empty = nothing_above || nothing_below || low_ > high;
    keep_ = empty ? 0 : ~ub8{0};
    span_ = static_cast<Integer>(high - low_);
  }

  static constexpr ub8 force() { return 0; }
  [[gnu::always_inline]] ub8 keep() const { return keep_; }

  [[gnu::always_inline]] bool row(Integer code) const {
    return static_cast<Integer>(code - low_) <= span_ && keep_ != 0;
  }

  template <class T>
  [[gnu::always_inline]] auto lanes(simd::Lanes<T> codes, auto lift) const {
    return codes - lift(low_) <= lift(span_);
  }

private:
  Integer low_, span_;
  ub8 keep_;
};

template <class Operation, class Codes>
struct NullAwareUpperBound : RangeTest<Codes> {
  using Integer = typename Codes::Integer;
  explicit NullAwareUpperBound(const mipo_vec *konst)
      : RangeTest<Codes>(0, false, simd::read_native<Integer>(konst->data), std::is_same_v<Operation, lt>) {}
};

template <class Operation, class Codes>
struct TwoSidedTest : RangeTest<Codes> {
  using Integer = typename Codes::Integer;
  TwoSidedTest(const mipo_vec *lo, const mipo_vec *hi)
      : RangeTest<Codes>(simd::read_native<Integer>(lo->data), Operation::low_open,
                         simd::read_native<Integer>(hi->data), Operation::high_open) {}
};

// The test of an operation, for the frame to make for the codes that a path sees.
template <class OneSidedOperation>
struct one_sided {
  using Operation = OneSidedOperation;
  template <class Codes>
  using Test = std::conditional_t<Codes::null_aware && (std::is_same_v<Operation, lt> || std::is_same_v<Operation, le>),
                                  NullAwareUpperBound<Operation, Codes>, OneSidedTest<Operation, Codes>>;
  static constexpr bool ordered = Operation::ordered;
};
template <class TwoSidedOperation>
struct two_sided {
  using Operation = TwoSidedOperation;
  template <class Codes>
  using Test = TwoSidedTest<Operation, Codes>;
  static constexpr bool ordered = true;
};

} // namespace mipo::scan

#endif
