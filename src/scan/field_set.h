// Streams of small fields beside the values of a column, and sets of what a field may be.
//
//   2 bits    aabbccdd eeffgghh ...     8, 4 or 2 rows a byte (fields of 1, 2, 4 bits), the first row in the top bits
//
// A field has at most 16 values, so a set of them is a word of 16 bits, and any comparison of fields is a set. For a
// block the set is made into a table over the 16 values of half a byte: a shuffle answers for all its rows at once.
#ifndef MIPO_SCAN_FIELD_SET_H
#define MIPO_SCAN_FIELD_SET_H

#include "simd/simd.h"

namespace mipo::scan {

template <unsigned field_bits>
class FieldSet {
  static_assert(field_bits == 1 || field_bits == 2 || field_bits == 4);

public:
  static constexpr unsigned rows_per_byte = 8 / field_bits;

  // The fields for which holds(field) is true.
  explicit FieldSet(auto holds) {
    for (ub4 field = 0; field < field_values; ++field)
      if (holds(field)) members_ = static_cast<ub2>(members_ | 1u << field);
    fill_tables();
  }
  FieldSet operator&(const FieldSet &other) const {
    return FieldSet([&](ub4 field) { return has(field) && other.has(field); });
  }
  FieldSet complement() const {
    return FieldSet([&](ub4 field) { return !has(field); });
  }
  static FieldSet none() {
    return FieldSet([](ub4) { return false; });
  }

  [[gnu::always_inline]] bool has(ub4 field) const { return (members_ >> field & 1) != 0; }

  // One bit a row for 8 or 16 bytes of fields, which begin at `fields`; what lies above the rows' bits is undefined.
  template <size_t bytes>
  [[gnu::always_inline]] ub8 row_bits(const ub1 *fields) const {
    static_assert(bytes == sizeof(ub8) || bytes == simd::group_bytes);
    if constexpr (bytes == sizeof(ub8))
      return ((simd::Vector<ub8>)row_bits((simd::Vector<ub1>)simd::broadcast(simd::read_native<ub8>(fields))))[0];
    else
      return ((simd::Vector<ub8>)row_bits(simd::broadcast_group(fields)))[0];
  }

private:
  static constexpr unsigned field_values = 1u << field_bits;

  void fill_tables() {
    alignas(simd::vector_bytes) ub1 upper[simd::vector_bytes], lower[simd::vector_bytes];
    constexpr unsigned rows = rows_per_byte / 2; // of half a byte
    for (unsigned i = 0; i < simd::vector_bytes; ++i) {
      unsigned bits = 0;
      for (unsigned row = 0; row < rows; ++row)
        bits |= static_cast<unsigned>(has(i % 16 >> (rows - 1 - row) * field_bits & (field_values - 1))) << row;
      upper[i] = static_cast<ub1>(bits);
      lower[i] = static_cast<ub1>(bits << rows);
    }
    upper_ = simd::load<ub1>(upper);
    lower_ = simd::load<ub1>(lower);
  }

  // Each byte's bits in its low end, then closed up at the beginning of each group.
  [[gnu::always_inline]] simd::Vector<ub1> row_bits(simd::Vector<ub1> fields) const {
    const auto bits = simd::shuffle_groups(upper_, fields >> 4) | simd::shuffle_groups(lower_, fields & 15);
    if constexpr (rows_per_byte == 8) {
      return bits;
    } else if constexpr (rows_per_byte == 4) {
      const auto pairs = (simd::Vector<ub2>)bits;
      return simd::shuffle_groups((simd::Vector<ub1>)(pairs | pairs >> 4), every_byte(2));
    } else {
      const auto fours = (simd::Vector<ub4>)bits;
      return simd::shuffle_groups((simd::Vector<ub1>)(fours | fours >> 6 | fours >> 12 | fours >> 18), every_byte(4));
    }
  }

  // Selectors of the bytes 0, step, 2 step ... of a group.
  [[gnu::always_inline]] static simd::Vector<ub1> every_byte(unsigned step) {
    simd::Vector<ub1> selectors{};
    for (unsigned i = 0; i < simd::vector_bytes; ++i)
      selectors[i] = static_cast<ub1>(i % 16 * step < 16 ? i % 16 * step : 0x80);
    return selectors;
  }

  ub2 members_ = 0;
  simd::Vector<ub1> upper_, lower_;
};

} // namespace mipo::scan

#endif
