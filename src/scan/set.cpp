// mipo_set_dict_<N>bit: which rows have a code of a set, given as a bit vector over codes.
#include "column/packed_codes.h"
#include "scan/kernels.h"
#include "scan/predicate.h"

namespace mipo::scan {
namespace {

// For each half byte, the bit of the code that it is the upper half of.
struct BitWeights {
  alignas(simd::vector_bytes) ub1 of[simd::vector_bytes] = {};
  constexpr BitWeights() {
    for (size_t i = 0; i < simd::vector_bytes; ++i) of[i] = static_cast<ub1>(1u << i % 8);
  }
};
constexpr BitWeights bit_weights;

// Up to 8 bits the whole set is two tables for a shuffle: by the code's low half byte, a byte with a bit for each of
// eight high half bytes.
class SmallSet {
public:
  // `codes` is at most 256: further codes are not in the set, nor looked for in `members`.
  SmallSet(const ub8 *members, unsigned codes) {
    ub2 with_low_half[16] = {}; // a bit for each upper half that makes a member with this lower half
    for (unsigned upper = 0; upper * 16 < codes; ++upper) {
      const ub8 sixteen = members[upper / 4] >> upper % 4 * 16;
      for (unsigned lower = 0; lower < 16; ++lower)
        with_low_half[lower] |= static_cast<ub2>((sixteen & 1u << lower) != 0 ? 1u << upper : 0);
    }
    alignas(simd::vector_bytes) ub1 tables[2][simd::vector_bytes];
    for (size_t i = 0; i < simd::vector_bytes; ++i) {
      tables[0][i] = static_cast<ub1>(with_low_half[i % 16]);
      tables[1][i] = static_cast<ub1>(with_low_half[i % 16] >> 8);
    }
    for (unsigned half = 0; half < 2; ++half) table_[half] = simd::load<ub1>(tables[half]);
  }

  // Codes below 128 only need the first table.
  template <bool below_128, class T>
  [[gnu::always_inline]] simd::Mask<T, false> lanes(simd::Lanes<T> codes) const {
    const auto bytes = (simd::Vector<ub1>)codes.vector;
    auto members = simd::look_up(table_[0], bytes);
    if constexpr (!below_128) members |= simd::look_up(table_[1], bytes ^ 0x80);
    auto weights = (simd::Vector<T>)simd::look_up(simd::load<ub1>(bit_weights.of), bytes >> 4);
    if constexpr (sizeof(T) > 1) weights &= 0xff; // what stands beside the code is no code
    return {(simd::Vector<T>)(((simd::Vector<T>)members & weights) == weights)};
  }

private:
  simd::Vector<ub1> table_[2];
};

// No lookup for sets that no register holds: each row fetches its word.
struct LargeSet {
  const ub8 *members;

  LargeSet(const ub8 *set, unsigned) : members(set) {}

  template <bool, class T>
  [[gnu::always_inline]] simd::Mask<ub4, false> lanes(simd::Lanes<T> codes) const {
    return {simd::bits_at(members, codes.vector)};
  }
};

template <unsigned bits>
class MembershipTest {
public:
  explicit MembershipTest(const ub8 *members) : members_(members), set_(members, 1u << (bits <= 8 ? bits : 0)) {}

  [[gnu::always_inline]] bool row(ub4 code) const { return (members_[code / 64] >> code % 64 & 1) != 0; }

  template <class T>
  [[gnu::always_inline]] auto lanes(simd::Lanes<T> codes, auto) const {
    return set_.template lanes<(bits < 8)>(codes);
  }

private:
  const ub8 *members_;
  std::conditional_t<bits <= 8, SmallSet, LargeSet> set_;
};

// Lanes of 32 bits for what is fetched by code, else the narrowest ones that codes can be moved about in.
template <unsigned bits>
using SetLane = std::conditional_t<(bits > 8), ub4, std::conditional_t<bits == 8 || bits == 1, ub1, ub2>>;

template <unsigned bits>
ub4 set(const column::DecompressionLabels &labels, mipo_vec *res, const mipo_vec *src, const mipo_vec *members,
        mipo_call_ctx *ctx) {
  using Column = column::DictionaryCodes<bits, SetLane<bits>>;
  constexpr ResultPolicy policy = {MIPO_DONE_SET, false};
  const MembershipTest<bits> test(members->bv);
  return evaluate_with(
      policy, {labels, labels}, res, src, ctx, [](const void *base) { return Column(base); },
      [&test](Column column, Output output) {
        const ub4 count = evaluate_blocks<column::LaneForm::value>(column, test, output);
        return count + evaluate_tail(column, test, output);
      },
      [&test](const Column &) { return test; });
}

} // namespace
} // namespace mipo::scan

extern "C" {
#define DEFINE_SET(width, ...)                                                                                  \
  ub4 mipo_set_dict_##width##bit(mipo_vec *res, const mipo_vec *src, const mipo_vec *set, mipo_call_ctx *ctx) { \
    static constexpr mipo::column::DecompressionLabels labels =                                                 \
        MIPO_DECOMPRESSION_LABELS("mipo_set_dict_" #width "bit");                                               \
    return mipo::scan::set<width>(labels, res, src, set, ctx);                                                  \
  }
FOR_EACH_CODE_WIDTH_TO_32(DEFINE_SET, )
#undef DEFINE_SET
}
