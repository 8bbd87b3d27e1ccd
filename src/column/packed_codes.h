// Columns of packed codes, one after the other, high bit first; values of whole bytes are such codes too.
//
//   3 bits     byte 0     byte 1     byte 2
//             aaabbbcc   cdddeeef   ffggghhh
//
// The block loop compares codes where they stand. A shuffle copies the bytes that hold a code into its lane, high byte
// first; a mask leaves the code, at a shift that depends on its place in the pattern; and it is compared with the
// constant shifted alike. All other bits being clear, shifted numbers compare as the numbers do. A block has whole
// bytes and begins at one, so that all tables are constants of the width.
#ifndef MIPO_COLUMN_PACKED_CODES_H
#define MIPO_COLUMN_PACKED_CODES_H

#include <type_traits>

#include "column/block_reading.h"
#include "column/byte_aligned_codes.h"
#include "mipo/vec.h"
#include "simd/simd.h"

namespace mipo::column {

// The narrowest lane that holds every code together with the bits that share its bytes.
template <unsigned bits>
using PackedLane = std::conditional_t<8 % bits == 0, ub1, std::conditional_t<bits <= 10 || bits == 12, ub2, ub4>>;

// How the stream bytes of `blocks` blocks become lanes, by vector.
template <unsigned bits, class Lane, size_t blocks = 1>
struct PackedLayout {
  static constexpr size_t vectors = blocks * simd::vectors_per_block;
  static constexpr size_t lanes_per_group = simd::group_bytes / sizeof(Lane);
  static constexpr size_t stream_bytes = blocks * simd::lanes_per_block<Lane> * bits / 8;
  static_assert(simd::lanes_per_block<Lane> * bits % 8 == 0, "the next block begins with a byte");
  static_assert(stream_bytes >= simd::group_bytes, "a load of a group fits into the blocks");

  struct VectorTables {
    alignas(32) ub1 selectors[simd::vector_bytes];
    Lane masks[simd::vector_bytes / sizeof(Lane)];
    Lane constant_factors[simd::vector_bytes / sizeof(Lane)]; // 2 to the shift: what a constant is multiplied by
    Lane shifts[simd::vector_bytes / sizeof(Lane)];
    Lane left_shift_factors[simd::vector_bytes / sizeof(Lane)]; // what moves a code to its lane's top
    size_t offsets[simd::groups_per_vector];                    // of the groups' loads, in the block's stream bytes
  };

  VectorTables vector[vectors];
  // The first vector with the same tables: equal tables are one, and stay in registers.
  size_t same_selectors[vectors], same_masks[vectors];

  constexpr PackedLayout() : vector{}, same_selectors{}, same_masks{} {
    for (size_t v = 0; v < vectors; ++v) {
      fill(v);
      for (size_t w = v + 1; w-- > 0;) {
        if (equal(vector[v].selectors, vector[w].selectors)) same_selectors[v] = w;
        if (equal(vector[v].masks, vector[w].masks)) same_masks[v] = w;
      }
    }
  }

private:
  static constexpr bool equal(const auto &a, const auto &b) {
    for (size_t i = 0; i < sizeof(a) / sizeof(a[0]); ++i)
      if (a[i] != b[i]) return false;
    return true;
  }

  static constexpr size_t first_byte(size_t group) { return group * lanes_per_group * bits / 8; }
  static constexpr size_t last_byte(size_t group) { return ((group + 1) * lanes_per_group * bits - 1) / 8; }

  constexpr void fill(size_t v) {
    const size_t first_group = v * simd::groups_per_vector;
    // One load serves all groups of the vector where 16 bytes hold their codes, or where the bytes before a group's
    // own are the ones of the group before it.
    const size_t last_group = first_group + simd::groups_per_vector - 1;
    const bool same_load = last_byte(last_group) < load_offset(first_group) + simd::group_bytes;
    const size_t side_by_side = first_byte(last_group) - simd::group_bytes * (simd::groups_per_vector - 1);
    const bool wide_load = side_by_side <= first_byte(first_group) && // it may have wrapped around
                           last_byte(first_group) < first_byte(last_group) &&
                           side_by_side + simd::vector_bytes <= stream_bytes;
    for (size_t g = 0; g < simd::groups_per_vector; ++g)
      vector[v].offsets[g] = same_load   ? load_offset(first_group)
                             : wide_load ? side_by_side + g * simd::group_bytes
                                         : load_offset(first_group + g);

    for (size_t lane = 0; lane < simd::groups_per_vector * lanes_per_group; ++lane) {
      const size_t first_bit = (first_group * lanes_per_group + lane) * bits, end_bit = first_bit + bits;
      const size_t first = first_bit / 8, last = (end_bit - 1) / 8;
      const size_t shift = 8 * (last + 1) - end_bit;
      // The lane's lowest byte is the last one of the code.
      for (size_t byte = 0; byte < sizeof(Lane); ++byte) {
        const bool holds_code = byte <= last - first;
        vector[v].selectors[lane * sizeof(Lane) + byte] =
            holds_code ? static_cast<ub1>(last - byte - vector[v].offsets[lane / lanes_per_group]) : 0x80;
      }
      vector[v].masks[lane] = static_cast<Lane>(((ub8{1} << bits) - 1) << shift);
      vector[v].constant_factors[lane] = static_cast<Lane>(ub8{1} << shift);
      vector[v].shifts[lane] = static_cast<Lane>(shift);
      vector[v].left_shift_factors[lane] = static_cast<Lane>(ub8{1} << (8 * sizeof(Lane) - bits - shift));
    }
  }

  // Not after the block's end: nothing is read that does not belong to it.
  static constexpr size_t load_offset(size_t group) {
    const size_t latest = stream_bytes - simd::group_bytes;
    return first_byte(group) < latest ? first_byte(group) : latest;
  }
};

template <unsigned bits, class Lane = PackedLane<bits>, size_t blocks = 1>
inline constexpr PackedLayout<bits, Lane, blocks> packed_layout;

// The telling row: codes of 3 bits in lanes of 16.
static_assert(packed_layout<3>.vector[0].masks[0] == 224 && packed_layout<3>.vector[0].masks[1] == 28 &&
              packed_layout<3>.vector[0].masks[2] == 896 && packed_layout<3>.vector[0].masks[7] == 7);
static_assert(packed_layout<3>.vector[0].constant_factors[2] == 1 << 7 &&
              packed_layout<3>.vector[0].constant_factors[7] == 1);

template <unsigned bits, class Lane = PackedLane<bits>, size_t blocks = 1>
class PackedBlock {
public:
  static constexpr size_t rows = blocks * simd::lanes_per_block<Lane>;
  static constexpr size_t vectors = blocks * simd::vectors_per_block;
  static constexpr size_t bytes = packed_layout<bits, Lane, blocks>.stream_bytes;

  explicit PackedBlock(const ub1 *stream) : stream_(stream) {}

  template <LaneForm form, class Test>
  [[gnu::always_inline]] auto bits_where(const Test &test) const {
    return simd::for_block(
        [&](size_t i) __attribute__((always_inline)) {
          if constexpr (form == LaneForm::value)
            return test.lanes(values(i), [](auto k) { return simd::broadcast_lanes(static_cast<Lane>(k)); });
          else
            return test.lanes(in_place(i), [&](auto k) { return shifted_alike(static_cast<Lane>(k), i); });
        },
        [](auto... masks) { return simd::row_bits(masks...); });
  }

  // The bits that share the lane with the code leave it at the bottom and are masked; or, where lanes can only be
  // shifted alike, they leave it at the top, and then at the bottom.
  [[gnu::always_inline]] simd::Lanes<Lane> values(size_t i) const {
    if constexpr (whole_bytes) return {shuffled(i)};
    if constexpr (simd::lanes_shift_apart<Lane>)
      return {shuffled(i) >> simd::load<Lane>(layout.vector[layout.same_masks[i]].shifts) &
              simd::broadcast(static_cast<Lane>((ub8{1} << bits) - 1))};
    return {shuffled(i) * simd::load<Lane>(layout.vector[layout.same_masks[i]].left_shift_factors) >>
            (8 * sizeof(Lane) - bits)};
  }

private:
  static constexpr const PackedLayout<bits, Lane, blocks> &layout = packed_layout<bits, Lane, blocks>;
  // The shuffle leaves nothing but the code then, at shift 0.
  static constexpr bool whole_bytes = bits % 8 == 0;

  [[gnu::always_inline]] simd::Vector<Lane> shuffled(size_t i) const {
    const auto &selectors = layout.vector[layout.same_selectors[i]].selectors;
    const auto &offsets = layout.vector[i].offsets;
    const simd::Vector<ub1> groups = [&] {
      if constexpr (simd::groups_per_vector == 2)
        return simd::load_groups(stream_ + offsets[0], stream_ + offsets[1]);
      else
        return simd::load_groups(stream_ + offsets[0]);
    }();
    return (simd::Vector<Lane>)simd::shuffle_groups(groups, simd::load<ub1>(selectors));
  }

  [[gnu::always_inline]] simd::Lanes<Lane> in_place(size_t i) const {
    if constexpr (whole_bytes) return {shuffled(i)};
    return {shuffled(i) & simd::load<Lane>(layout.vector[layout.same_masks[i]].masks)};
  }

  [[gnu::always_inline]] static simd::Lanes<Lane> shifted_alike(Lane k, size_t i) {
    if constexpr (whole_bytes) return simd::broadcast_lanes(k);
    return {simd::broadcast(k) * simd::load<Lane>(layout.vector[layout.same_masks[i]].constant_factors)};
  }

  const ub1 *stream_;
};

template <unsigned bits, class LaneType = PackedLane<bits>>
class PackedCodes {
public:
  using Lane = LaneType;
  using Word = ub4;
  static constexpr Word greatest = static_cast<ub4>((ub8{1} << bits) - 1);
  using Block = PackedBlock<bits, Lane>;

  static constexpr size_t rows_per_block = Block::rows;

  explicit PackedCodes(const void *base) : base_(static_cast<const ub1 *>(base)) {}

  // Constants are words in both paths.
  static constexpr bool compares_words_when_selective = false;
  static Word block_constant(const mipo_vec *konst) { return simd::read_native<ub4>(konst->data); }
  static Word selective_constant(const mipo_vec *konst) { return block_constant(konst); }

  // From the two words that hold the code for certain: streams have a word after the last code's.
  [[gnu::always_inline]] ub4 row(ub8 row) const {
    if constexpr (bits == 16) return simd::read_big_endian<ub2>(base_ + 2 * row); // an array, with nothing after it
    const ub8 bit = row * bits;
    return static_cast<ub4>(simd::read_big_endian<ub8>(base_ + bit / 32 * 4) << bit % 32 >> (64 - bits));
  }

  [[gnu::always_inline]] void prefetch_row(ub8 row) const { __builtin_prefetch(base_ + row * bits / 8); }

  [[gnu::always_inline]] Block at(ub8 block) const {
    const ub1 *stream = base_ + block * Block::bytes;
    // Loops over wider codes are bound by instructions; the hardware prefetcher suffices.
    if constexpr (bits <= 16)
      for (size_t line = 0; line < Block::bytes; line += cache_line_bytes)
        __builtin_prefetch(stream + prefetch_distance + line, 0, 3);
    return Block(stream);
  }

private:
  const ub1 *base_;
};

// Any width of dictionary codes. Lane: what codes are compared or unpacked in, where their bytes do not decide.
template <unsigned bits, class Lane>
struct DictionaryCodesOf {
  using type = PackedCodes<bits, Lane>;
};
template <>
struct DictionaryCodesOf<8, ub1> {
  using type = ByteAlignedCodes<ub1>;
};
template <>
struct DictionaryCodesOf<16, ub2> {
  using type = ByteAlignedCodes<ub2>;
};
template <>
struct DictionaryCodesOf<32, ub4> {
  using type = ByteAlignedCodes<ub4>;
};
template <unsigned bits, class Lane>
using DictionaryCodes = typename DictionaryCodesOf<bits, Lane>::type;

} // namespace mipo::column

#endif
