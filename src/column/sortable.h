// Numbers in sortable form: big-endian bytes that compare, as unsigned integers, in the order of the numbers.
//
//   native pattern     0sss...s            1sss...s
//   sortable form      1sss...s            0SSS...S     S: complemented
//
// Each rule is written once and serves a single pattern as well as a whole vector of them.
#ifndef MIPO_COLUMN_SORTABLE_H
#define MIPO_COLUMN_SORTABLE_H

#include <string.h>

#include <bit>
#include <type_traits>

#include "simd/simd.h"

namespace mipo::column {

/// The unsigned integer that holds the bits of `Float`.
template <class Float>
using PatternOf = std::conditional_t<sizeof(Float) == sizeof(ub4), ub4, ub8>;

template <class Pattern>
inline constexpr auto all_bits = static_cast<Pattern>(~Pattern{0});
template <class Pattern>
inline constexpr auto sign_bit = static_cast<Pattern>(all_bits<Pattern> ^ all_bits<Pattern> >> 1);

/// `pattern` in each lane of `Patterns`, or itself.
template <class Patterns, class Pattern>
[[gnu::always_inline]] inline Patterns in_all_lanes(Pattern pattern) {
  if constexpr (std::is_same_v<Patterns, Pattern>)
    return pattern;
  else
    return simd::broadcast<Pattern>(pattern);
}

/// In each lane the one constant or the other, by the top bit of `patterns`.
template <class Pattern, class Patterns>
[[gnu::always_inline]] inline Patterns by_top_bit(Patterns patterns, Pattern if_set, Pattern if_clear) {
  const auto set = in_all_lanes<Patterns>(if_set), clear = in_all_lanes<Patterns>(if_clear);
  using Signed = std::make_signed_t<Pattern>;
  if constexpr (std::is_same_v<Patterns, Pattern>)
    return static_cast<Signed>(patterns) < 0 ? set : clear;
  else
    return (simd::Vector<Signed>)patterns < simd::Vector<Signed>{} ? set : clear;
}

/// Native patterns from sortable ones whose bytes are in native order already.
template <class Pattern, class Patterns>
[[gnu::always_inline]] inline Patterns native_patterns(Patterns sortable) {
  return sortable ^ by_top_bit(sortable, sign_bit<Pattern>, all_bits<Pattern>);
}

/// The opposite, of every pattern as it stands: negative zero and not-a-numbers too.
template <class Pattern, class Patterns>
[[gnu::always_inline]] inline Patterns sortable_patterns(Patterns native) {
  return native ^ by_top_bit(native, all_bits<Pattern>, sign_bit<Pattern>);
}

/// The pattern of one stored number, at any address.
template <class Pattern>
[[gnu::always_inline]] inline Pattern read_sortable(const void *stored) {
  return native_patterns<Pattern, Pattern>(simd::read_big_endian<Pattern>(stored));
}

/// One stored number.
template <class Float>
[[gnu::always_inline]] inline Float sortable_value(const void *stored) {
  return std::bit_cast<Float>(read_sortable<PatternOf<Float>>(stored));
}

/// The patterns of a vector of stored numbers, at any address.
template <class Pattern>
[[gnu::always_inline]] inline simd::Vector<Pattern> read_sortable_vector(const void *stored) {
  return native_patterns<Pattern, simd::Vector<Pattern>>(simd::byte_swap<Pattern>(simd::load<Pattern>(stored)));
}

/// A vector of stored numbers.
template <class Float>
[[gnu::always_inline]] inline simd::Vector<Float> sortable_vector(const void *stored) {
  return (simd::Vector<Float>)read_sortable_vector<PatternOf<Float>>(stored);
}

} // namespace mipo::column

#endif
