// Columns of packed codes: 2 to 24 bits each, one behind the other, high bit first.
//
//   3 bits     byte 0     byte 1     byte 2
//             aaabbbcc   cdddeeef   ffggghhh
//
// The block loop compares codes where they stand. A shuffle copies the bytes that hold a code into its lane, high byte
// first; a mask leaves the code, at a shift that depends on its place in the pattern; and it is compared with the
// constant shifted alike. All other bits being clear, shifted numbers compare as the numbers do. A block has whole
// bytes and begins at one, so that all tables are constants of the width.
#ifndef MIPO_SCAN_PACKED_H
#define MIPO_SCAN_PACKED_H

#include <type_traits>

#include "scan/operations.h"
#include "scan/predicate.h"
#include "simd/simd.h"

namespace mipo::scan {

// The narrowest lane that holds every code together with the bits that share its bytes.
template <unsigned bits>
using PackedLane = std::conditional_t<8 % bits == 0, ub1, std::conditional_t<bits <= 10 || bits == 12, ub2, ub4>>;

// How a block's stream bytes become lanes, by vector of the block.
template <unsigned bits>
struct PackedLayout {
  using Lane = PackedLane<bits>;
  static constexpr size_t lanes_per_group = simd::group_bytes / sizeof(Lane);
  static constexpr size_t stream_bytes = simd::lanes_per_block<Lane> * bits / 8;
  static_assert(simd::lanes_per_block<Lane> * bits % 8 == 0, "the next block begins with a byte");
  static_assert(stream_bytes >= simd::group_bytes, "a load of a group fits into a block");

  struct VectorTables {
    alignas(32) ub1 selectors[simd::vector_bytes];
    Lane masks[simd::vector_bytes / sizeof(Lane)];
    Lane weights[simd::vector_bytes / sizeof(Lane)]; // 2 to the shift: what a constant is multiplied by
    size_t offsets[simd::groups_per_vector];         // of the groups' loads, in the block's stream bytes
  };

  VectorTables vector[simd::vectors_per_block];
  // The first vector with the same tables: equal tables are one, and stay in registers.
  size_t same_selectors[simd::vectors_per_block], same_masks[simd::vectors_per_block];

  constexpr PackedLayout() : vector{}, same_selectors{}, same_masks{} {
    for (size_t v = 0; v < simd::vectors_per_block; ++v) {
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
    // Where 16 bytes hold the codes of all groups of the vector, one load serves them.
    const size_t last_group = first_group + simd::groups_per_vector - 1;
    const bool one_load = last_byte(last_group) < load_offset(first_group) + simd::group_bytes;
    for (size_t g = 0; g < simd::groups_per_vector; ++g)
      vector[v].offsets[g] = load_offset(one_load ? first_group : first_group + g);

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
      vector[v].weights[lane] = static_cast<Lane>(ub8{1} << shift);
    }
  }

  // Not behind the block's end: nothing is read that does not belong to it.
  static constexpr size_t load_offset(size_t group) {
    const size_t latest = stream_bytes - simd::group_bytes;
    return first_byte(group) < latest ? first_byte(group) : latest;
  }
};

template <unsigned bits>
inline constexpr PackedLayout<bits> packed_layout;

// The telling row: codes of 3 bits in lanes of 16.
static_assert(packed_layout<3>.vector[0].masks[0] == 224 && packed_layout<3>.vector[0].masks[1] == 28 &&
              packed_layout<3>.vector[0].masks[2] == 896 && packed_layout<3>.vector[0].masks[7] == 7);
static_assert(packed_layout<3>.vector[0].weights[2] == 1 << 7 && packed_layout<3>.vector[0].weights[7] == 1);

template <unsigned bits, bool null_aware>
class PackedCodes {
public:
  using BlockCodes = CodeRange<ub4, static_cast<ub4>((ub8{1} << bits) - 1), null_aware>;
  using SelectiveCodes = BlockCodes; // constants are words in both paths

  static constexpr size_t rows_per_block = simd::lanes_per_block<PackedLane<bits>>;

  explicit PackedCodes(const void *base) : base_(static_cast<const ub1 *>(base)) {}

  // From the two words that hold the code for certain: streams have a word behind the last code's.
  [[gnu::always_inline]] ub4 row(ub8 row) const {
    const ub8 bit = row * bits;
    return static_cast<ub4>(simd::read_big_endian<ub8>(base_ + bit / 32 * 4) << bit % 32 >> (64 - bits));
  }

  [[gnu::always_inline]] void prefetch_row(ub8 row) const { __builtin_prefetch(base_ + row * bits / 8); }

  template <bool, class Test>
  [[gnu::always_inline]] auto block(ub8 block, const Test &test) const {
    using Lane = PackedLane<bits>;
    constexpr const PackedLayout<bits> &layout = packed_layout<bits>;
    const ub1 *stream = base_ + block * layout.stream_bytes;
    return simd::for_block(
        [&](size_t i) __attribute__((always_inline)) {
          const auto &selectors = layout.vector[layout.same_selectors[i]].selectors;
          const auto &tables = layout.vector[layout.same_masks[i]];
          const auto &offsets = layout.vector[i].offsets;
          const simd::Vector<ub1> bytes = [&] {
            if constexpr (simd::groups_per_vector == 2)
              return simd::load_groups(stream + offsets[0], stream + offsets[1]);
            else
              return simd::load_groups(stream + offsets[0]);
          }();
          const auto shuffled = (simd::Vector<Lane>)simd::shuffle_groups(bytes, simd::load<ub1>(selectors));
          return test.lanes(simd::Lanes<Lane>{shuffled & simd::load<Lane>(tables.masks)}, [&](ub4 k) {
            return simd::Lanes<Lane>{simd::broadcast(static_cast<Lane>(k)) * simd::load<Lane>(tables.weights)};
          });
        },
        [](auto... lane_masks) { return simd::row_bits(lane_masks...); });
  }

private:
  const ub1 *base_;
};

// The body of a kernel.
template <unsigned bits, mipo_variant variant>
struct Packed {
  template <class Sides>
  [[gnu::always_inline]] static ub4 run(const auto &...arguments) {
    return evaluate<PackedCodes<bits, variant == MIPO_VARIANT_NULL_AWARE>, Sides>(arguments...);
  }
};

} // namespace mipo::scan

#endif
