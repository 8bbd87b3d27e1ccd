// Columns of values without their trailing zero bytes: as few bytes each as it takes, and a stream of control bytes
// that tells how many.
//
//   m = 4       control byte   aabbccdd         lengths less 1 of four values, the first in the top bits
//               stream         AAA B CC D...    their bytes, high byte first, no gaps
//   lanes       AAA0 B000 CC00 D...             left-aligned, so that lanes compare as the values do
//
// A table tells the bytes that a control byte's values take, so the start of each group is known before its bytes are
// looked at; another one holds the shuffle that spreads them over lanes.
#ifndef MIPO_SCAN_DYNAMIC_PACKED_H
#define MIPO_SCAN_DYNAMIC_PACKED_H

#include "mipo/vec.h"
#include "scan/predicate.h"
#include "simd/simd.h"
#include "simd/unsigned.h"

namespace mipo::scan {

// Lengths of the values of a control byte, for values of at most `max_bytes`.
template <unsigned max_bytes>
struct ControlByte {
  static_assert(max_bytes == 2 || max_bytes == 4 || max_bytes == 8);
  static constexpr unsigned field_bits = max_bytes / 2; // 1, 2, 4
  static constexpr unsigned values = 8 / field_bits;

  static constexpr unsigned field(unsigned control, unsigned value) {
    return control >> (8 - field_bits * (value + 1)) & ((1u << field_bits) - 1);
  }
  static constexpr unsigned length(unsigned control, unsigned value) { return field(control, value) + 1; }
  // A field can say more than 8 bytes. Such a control byte takes 16 bytes and its values are zero.
  static constexpr bool valid(unsigned control) { return max_bytes < 8 || (control & 0x88) == 0; }
};

template <unsigned max_bytes>
struct ConsumedLengths {
  ub1 of[256] = {};

  constexpr ConsumedLengths() {
    using Control = ControlByte<max_bytes>;
    for (unsigned control = 0; control < 256; ++control) {
      unsigned sum = 0;
      for (unsigned value = 0; value < Control::values; ++value) sum += Control::length(control, value);
      of[control] = static_cast<ub1>(Control::valid(control) ? sum : 16);
    }
  }
};

// Selectors of the 16 bytes at a control byte's values, in the order of little-endian lanes; 0x80 gives a zero byte.
template <unsigned max_bytes>
struct SpreadingShuffles {
  alignas(16) ub1 of[256][16] = {};

  constexpr SpreadingShuffles() {
    using Control = ControlByte<max_bytes>;
    for (unsigned control = 0; control < 256; ++control) {
      unsigned start = 0;
      for (unsigned value = 0; value < Control::values; ++value) {
        const unsigned length = Control::length(control, value);
        for (unsigned byte = 0; byte < max_bytes; ++byte) { // from the lane's top down
          const bool stored = Control::valid(control) && byte < length;
          of[control][(value + 1) * max_bytes - 1 - byte] = static_cast<ub1>(stored ? start + byte : 0x80);
        }
        start += length;
      }
    }
  }
};

inline constexpr ConsumedLengths<2> mipo_length_consumed_dynp_maxwidth2;
inline constexpr ConsumedLengths<4> mipo_length_consumed_dynp_maxwidth4;
inline constexpr ConsumedLengths<8> mipo_length_consumed_dynp_maxwidth8;
inline constexpr SpreadingShuffles<2> mipo_shuffle_masks_dynp_maxwidth2;
inline constexpr SpreadingShuffles<4> mipo_shuffle_masks_dynp_maxwidth4;
inline constexpr SpreadingShuffles<8> mipo_shuffle_masks_dynp_maxwidth8;

static_assert(mipo_length_consumed_dynp_maxwidth2.of[0x00] == 8 && mipo_length_consumed_dynp_maxwidth2.of[0xff] == 16);
static_assert(mipo_length_consumed_dynp_maxwidth4.of[0x1b] == 1 + 2 + 3 + 4);
static_assert(mipo_length_consumed_dynp_maxwidth8.of[0x10] == 3 && mipo_length_consumed_dynp_maxwidth8.of[0x08] == 16 &&
              mipo_length_consumed_dynp_maxwidth8.of[0x88] == 16);

template <unsigned max_bytes>
constexpr bool spreads(const SpreadingShuffles<max_bytes> &shuffles, unsigned control, const ub1 (&selectors)[16]) {
  for (unsigned i = 0; i < 16; ++i)
    if (shuffles.of[control][i] != selectors[i]) return false;
  return true;
}

#define SPREADS(m, control, ...) \
  static_assert(spreads(mipo_shuffle_masks_dynp_maxwidth##m, control, {__VA_ARGS__}), "telling row of the table")
constexpr ub1 zero = 0x80;
SPREADS(2, 0x00, zero, 0, zero, 1, zero, 2, zero, 3, zero, 4, zero, 5, zero, 6, zero, 7);
SPREADS(2, 0x80, 1, 0, zero, 2, zero, 3, zero, 4, zero, 5, zero, 6, zero, 7, zero, 8);
SPREADS(2, 0xff, 1, 0, 3, 2, 5, 4, 7, 6, 9, 8, 11, 10, 13, 12, 15, 14);
SPREADS(4, 0x00, zero, zero, zero, 0, zero, zero, zero, 1, zero, zero, zero, 2, zero, zero, zero, 3);
SPREADS(4, 0x1b, zero, zero, zero, 0, zero, zero, 2, 1, zero, 5, 4, 3, 9, 8, 7, 6);
SPREADS(8, 0x10, zero, zero, zero, zero, zero, zero, 1, 0, zero, zero, zero, zero, zero, zero, zero, 2);
SPREADS(8, 0x77, 7, 6, 5, 4, 3, 2, 1, 0, 15, 14, 13, 12, 11, 10, 9, 8);
#undef SPREADS

// The tables of a width, under one name for all of them.
template <unsigned max_bytes>
constexpr const auto &consumed_lengths() {
  if constexpr (max_bytes == 2)
    return mipo_length_consumed_dynp_maxwidth2;
  else if constexpr (max_bytes == 4)
    return mipo_length_consumed_dynp_maxwidth4;
  else
    return mipo_length_consumed_dynp_maxwidth8;
}
template <unsigned max_bytes>
constexpr const auto &spreading_shuffles() {
  if constexpr (max_bytes == 2)
    return mipo_shuffle_masks_dynp_maxwidth2;
  else if constexpr (max_bytes == 4)
    return mipo_shuffle_masks_dynp_maxwidth4;
  else
    return mipo_shuffle_masks_dynp_maxwidth8;
}

// A walk over the stream: rows and blocks are asked for in ascending order. Where a row's bytes begin is known from
// all rows before it only.
template <unsigned bits>
class DynamicPackedValues {
public:
  using Lane = simd::Unsigned<bits>;
  static constexpr unsigned max_bytes = bits / 8;
  using Control = ControlByte<max_bytes>;
  using Word = std::conditional_t<(bits > 32), ub8, ub4>;
  static constexpr Word greatest = static_cast<Lane>(~Lane{0});
  static constexpr bool compares_words_when_selective = false;

  static constexpr size_t rows_per_block = simd::lanes_per_block<Lane>;
  static constexpr size_t controls_per_block = rows_per_block / Control::values; // 8: one for each group of a block

  DynamicPackedValues(const void *base, const mipo_vec *src)
      : stream_(static_cast<const ub1 *>(base)), controls_(static_cast<const ub1 *>(src->lens)) {}

  // Constants have all their bytes.
  static Word block_constant(const mipo_vec *konst) { return simd::read_big_endian<Lane>(konst->data); }
  static Word selective_constant(const mipo_vec *konst) { return block_constant(konst); }

  [[gnu::always_inline]] Lane row(ub8 row) {
    skip_to(row / Control::values);
    const unsigned control = controls_[at_], value = row % Control::values;
    if (!Control::valid(control)) return 0;
    const Lane window = simd::read_big_endian<Lane>(stream_ + bytes_ahead(control, value));
    return static_cast<Lane>(window & ~Lane{0} << 8 * (max_bytes - Control::length(control, value)));
  }
  // Where it lies is not known before the walk.
  static void prefetch_row(ub8) {}

  class Block {
  public:
    Block(const ub1 *stream, const ub1 *controls) : controls_(controls) {
      for (size_t i = 0; i < controls_per_block; ++i) {
        starts_[i] = stream;
        stream += consumed_lengths<max_bytes>().of[controls[i]];
      }
      end_ = stream;
    }
    const ub1 *end() const { return end_; }

    template <column::LaneForm, class Test>
    [[gnu::always_inline]] auto bits_where(const Test &test) const {
      return simd::for_block(
          [&](size_t i) __attribute__((always_inline)) {
            return test.lanes(simd::Lanes<Lane>{(simd::Vector<Lane>)spread(i)},
                              [](auto k) { return simd::broadcast_lanes(static_cast<Lane>(k)); });
          },
          [](auto... masks) { return simd::row_bits(masks...); });
    }

  private:
    [[gnu::always_inline]] simd::Vector<ub1> spread(size_t vector) const {
      const auto &shuffles = spreading_shuffles<max_bytes>().of;
      const size_t group = vector * simd::groups_per_vector;
      if constexpr (simd::groups_per_vector == 2)
        return simd::shuffle_groups(simd::load_groups(starts_[group], starts_[group + 1]),
                                    simd::load_groups(shuffles[controls_[group]], shuffles[controls_[group + 1]]));
      else
        return simd::shuffle_groups(simd::load_groups(starts_[group]), simd::load_groups(shuffles[controls_[group]]));
    }

    const ub1 *starts_[controls_per_block], *end_;
    const ub1 *controls_;
  };

  [[gnu::always_inline]] Block at(ub8 block) {
    __builtin_prefetch(stream_ + column::prefetch_distance, 0, 3);
    __builtin_prefetch(stream_ + column::prefetch_distance + column::cache_line_bytes, 0, 3);
    const Block result(stream_, controls_ + block * controls_per_block);
    stream_ = result.end();
    at_ += controls_per_block;
    return result;
  }

private:
  // Sum of the fields in a word of control bytes.
  static ub8 sum_of_fields(ub8 controls) {
    constexpr ub8 lowest_bits = ~ub8{0} / ((1u << Control::field_bits) - 1); // of each field
    ub8 sum = 0;
    for (unsigned bit = 0; bit < Control::field_bits; ++bit)
      sum += static_cast<ub8>(simd::population_count(controls & lowest_bits << bit)) << bit;
    return sum;
  }

  // Bytes of the values of a control byte before one of them.
  static ub8 bytes_ahead(unsigned control, unsigned value) {
    return value + sum_of_fields(control >> (8 - Control::field_bits * value));
  }

  // Moves to a control byte: eight at a time from their fields' sum, then one by one from the table.
  [[gnu::always_inline]] void skip_to(ub8 control) {
    while (control - at_ >= sizeof(ub8)) {
      const ub8 controls = simd::read_native<ub8>(controls_ + at_);
      if (max_bytes == 8 && (controls & 0x8888888888888888) != 0) {
        for (ub8 i = 0; i < sizeof(ub8); ++i) skip_one();
        continue;
      }
      stream_ += sizeof(ub8) * Control::values + sum_of_fields(controls);
      at_ += sizeof(ub8);
    }
    while (at_ < control) skip_one();
  }
  void skip_one() { stream_ += consumed_lengths<max_bytes>().of[controls_[at_++]]; }

  const ub1 *stream_; // the values of control byte at_
  const ub1 *controls_;
  ub8 at_ = 0;
};

} // namespace mipo::scan

#endif
