// The ten comparisons. Each is one text, which serves a row (integers, giving bool) and a block (lanes, giving masks).
#ifndef MIPO_SCAN_OPERATIONS_H
#define MIPO_SCAN_OPERATIONS_H

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

// A comparison with its constants read, at the width of Value. What the frame asks of a test:
//   row(code)                  whether one row qualifies
//   lanes(codes)               the same for a vector of codes, as a mask that `complement` applies to
//   big_endian_lanes(codes)    the same for codes as they are stored
//   complement                 all ones if the rows that the mask leaves out are the ones that qualify, else zero
template <class Operation, class Value>
struct OneSidedTest {
  Value k;
  static constexpr ub8 complement = 0;

  explicit OneSidedTest(const mipo_vec *konst) : k(simd::read_native<Value>(konst->data)) {}

  [[gnu::always_inline]] bool row(Value code) const { return Operation::holds(code, k); }
  [[gnu::always_inline]] auto lanes(simd::Lanes<Value> codes) const {
    return Operation::holds(codes, simd::Lanes<Value>{simd::broadcast(k)});
  }
  // Equal codes have equal bytes in any order: the constant is swapped once, instead of every code.
  [[gnu::always_inline]] auto big_endian_lanes(simd::Lanes<Value> codes) const {
    if constexpr (Operation::ordered)
      return lanes(simd::byte_swap(codes));
    else
      return Operation::holds(codes, simd::byte_swap(simd::Lanes<Value>{simd::broadcast(k)}));
  }
};

// A range costs one subtraction and one comparison: code - low wraps around for codes below low, so that
// low <= code <= high is code - low <= high - low. That form has no empty range, which is therefore the complement of
// the full one.
template <class Operation, class Value>
struct TwoSidedTest {
  Value low, span;
  ub8 complement;

  TwoSidedTest(const mipo_vec *lo, const mipo_vec *hi) {
    const Value first = simd::read_native<Value>(lo->data), last = simd::read_native<Value>(hi->data);
    constexpr Value greatest = static_cast<Value>(~Value{0});
    const bool empty = first > last || ((Operation::low_open || Operation::high_open) && first == last) ||
                       (Operation::low_open && Operation::high_open && static_cast<Value>(last - first) == 1);
    low = empty ? 0 : static_cast<Value>(first + Operation::low_open);
    span = empty ? greatest : static_cast<Value>(last - Operation::high_open - low);
    complement = empty ? ~ub8{0} : 0;
  }

  [[gnu::always_inline]] bool row(Value code) const {
    return (static_cast<Value>(code - low) <= span) != (complement != 0);
  }
  [[gnu::always_inline]] auto lanes(simd::Lanes<Value> codes) const {
    return codes - simd::Lanes<Value>{simd::broadcast(low)} <= simd::Lanes<Value>{simd::broadcast(span)};
  }
  [[gnu::always_inline]] auto big_endian_lanes(simd::Lanes<Value> codes) const { return lanes(simd::byte_swap(codes)); }
};

} // namespace mipo::scan

#endif
