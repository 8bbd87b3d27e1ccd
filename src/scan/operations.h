// The ten comparisons. Each is one text, which serves a row (integers, giving bool) and a block (lanes, giving masks).
#ifndef MIPO_SCAN_OPERATIONS_H
#define MIPO_SCAN_OPERATIONS_H

#include <type_traits>

#include "simd/simd.h"

namespace mipo::scan {

// What a test needs to see in a lane. A column may deliver more than that, never less.
enum class LaneForm {
  bytes,   // equal codes are equal, whatever the order of their bytes
  ordered, // comparing lanes is comparing codes
  value    // the code itself
};

struct eq {
  static constexpr LaneForm form = LaneForm::bytes;
  [[gnu::always_inline]] static auto holds(auto code, auto k) { return code == k; }
};
struct ne {
  static constexpr LaneForm form = LaneForm::bytes;
  [[gnu::always_inline]] static auto holds(auto code, auto k) { return code != k; }
};
struct lt {
  static constexpr LaneForm form = LaneForm::ordered;
  [[gnu::always_inline]] static auto holds(auto code, auto k) { return code < k; }
};
struct gt {
  static constexpr LaneForm form = LaneForm::ordered;
  [[gnu::always_inline]] static auto holds(auto code, auto k) { return code > k; }
};
struct le {
  static constexpr LaneForm form = LaneForm::ordered;
  [[gnu::always_inline]] static auto holds(auto code, auto k) { return code <= k; }
};
struct ge {
  static constexpr LaneForm form = LaneForm::ordered;
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

// Any operation on single rows: a range or what is outside it, rows without value always being outside. One text for
// all ten, so that the paths that go row by row exist once a column and not once an operation.
template <class Codes>
class RowTest {
public:
  using Integer = typename Codes::Integer;
  static constexpr Integer last = static_cast<Integer>(~Integer{0});

  static RowTest within(Integer low, Integer high) { return {low, static_cast<Integer>(high - low), false}; }
  static RowTest outside(Integer low, Integer high) { return {low, static_cast<Integer>(high - low), true}; }
  static RowTest never() { return outside(0, last); }

  [[gnu::always_inline]] bool row(Integer code) const {
    return ((static_cast<Integer>(code - low_) <= span_) != outside_) & (!Codes::null_aware || code != 0);
  }

private:
  RowTest(Integer low, Integer span, bool outside) : low_(low), span_(span), outside_(outside) {}

  Integer low_, span_;
  bool outside_;
};

// A test is a comparison with its constants read. What the frame asks of it:
//
//   of_rows()            the test for single rows, with row(code)
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

  explicit OneSidedTest(Integer k) : of_rows_(test_of_rows(k)), k_(k) {
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

  RowTest<Codes> of_rows() const { return of_rows_; }

  template <class T>
  [[gnu::always_inline]] auto lanes(simd::Lanes<T> codes, auto lift) const {
    if constexpr (unequal_to_null)
      return !((codes == lift(k_)) | (codes == simd::Lanes<T>{}));
    else
      return Operation::holds(codes, lift(k_));
  }

private:
  static RowTest<Codes> test_of_rows(Integer k) {
    using Rows = RowTest<Codes>;
    if constexpr (std::is_same_v<Operation, eq>) return Rows::within(k, k);
    if constexpr (std::is_same_v<Operation, ne>) return Rows::outside(k, k);
    if constexpr (std::is_same_v<Operation, le>) return Rows::within(0, k);
    if constexpr (std::is_same_v<Operation, ge>) return Rows::within(k, Rows::last);
    if constexpr (std::is_same_v<Operation, lt>) return k == 0 ? Rows::never() : Rows::outside(k, Rows::last);
    if constexpr (std::is_same_v<Operation, gt>) return k == Rows::last ? Rows::never() : Rows::outside(0, k);
  }

  RowTest<Codes> of_rows_;
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

  RowTest<Codes> of_rows() const {
    return keep_ == 0 ? RowTest<Codes>::never() : RowTest<Codes>::within(low_, static_cast<Integer>(low_ + span_));
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
  explicit NullAwareUpperBound(Integer k) : RangeTest<Codes>(0, false, k, std::is_same_v<Operation, lt>) {}
};

template <class Operation, class Codes>
struct TwoSidedTest : RangeTest<Codes> {
  using Integer = typename Codes::Integer;
  TwoSidedTest(Integer lo, Integer hi) : RangeTest<Codes>(lo, Operation::low_open, hi, Operation::high_open) {}
};

// The test of an operation on certain codes. Codes with tests of their own name
// them as OneSided<Operation> and TwoSided<Operation>.
template <class OneSidedOperation>
struct one_sided_test {
  using Operation = OneSidedOperation;
  static constexpr LaneForm form = Operation::form;

  template <class Codes>
  struct TestOf {
    static constexpr bool null_aware_upper_bound =
        Codes::null_aware && (std::is_same_v<Operation, lt> || std::is_same_v<Operation, le>);
    using type = std::conditional_t<null_aware_upper_bound, NullAwareUpperBound<Operation, Codes>,
                                    OneSidedTest<Operation, Codes>>;
  };
  template <class Codes>
  requires requires { typename Codes::template OneSided<Operation>; }
  struct TestOf<Codes> {
    using type = typename Codes::template OneSided<Operation>;
  };
  template <class Codes>
  using Test = typename TestOf<Codes>::type;
};
template <class TwoSidedOperation>
struct two_sided_test {
  using Operation = TwoSidedOperation;
  static constexpr LaneForm form = LaneForm::ordered;

  template <class Codes>
  struct TestOf {
    using type = TwoSidedTest<Operation, Codes>;
  };
  template <class Codes>
  requires requires { typename Codes::template TwoSided<Operation>; }
  struct TestOf<Codes> {
    using type = typename Codes::template TwoSided<Operation>;
  };
  template <class Codes>
  using Test = typename TestOf<Codes>::type;
};

} // namespace mipo::scan

#endif
