// Translation tables: how a code finds its entry, and how entries of the five widths are read and handed out.
//
//   bit     byte s >> 3   7 6 5 4 3 2 1 0          nib    byte s >> 1   odd slot | even slot
//   ub1, ub2, ub4         element s                all ones: the code has no counterpart
#ifndef MIPO_XLATE_ENTRIES_H
#define MIPO_XLATE_ENTRIES_H

#include <stdint.h>

#include "mipo/call.h"
#include "mipo/vec.h"
#include "mipo/xlate.h"
#include "simd/simd.h"

namespace mipo::xlate {

/// The address so many bytes on, as a number: rows that have no slot may come out anywhere, and are sent elsewhere.
template <class T>
[[gnu::always_inline]] inline const T *address(const T *base, ub8 bytes) {
  return reinterpret_cast<const T *>(reinterpret_cast<uintptr_t>(base) + bytes);
}

/// Entries of `bits` bits. Where a slot lies and what stands there are told apart, so that a row that has no slot can
/// be sent elsewhere without a branch.
template <unsigned bits>
struct Entries {
  static constexpr ub4 absent = static_cast<ub4>((ub8{1} << bits) - 1);
  static constexpr ub4 slots_per_byte = bits < 8 ? 8 / bits : 1;

  [[gnu::always_inline]] static const ub1 *place(const ub1 *table, ub4 slot) {
    return address(table, bits < 8 ? slot / slots_per_byte : ub8{slot} * (bits / 8));
  }
  [[gnu::always_inline]] static ub4 read(const ub1 *place, ub4 slot) {
    if constexpr (bits < 8)
      return *place >> slot % slots_per_byte * bits & absent;
    else
      return simd::read_native<simd::Unsigned<bits>>(place);
  }
};

/// What rows without a slot read: an absent entry of any width.
struct NoEntry {
  alignas(ub4) ub1 bytes[sizeof(ub4)] = {0xff, 0xff, 0xff, 0xff};
};

/// A row's key is a code, or what stands for a decimal value.
using Key = ub8;
inline constexpr Key no_key = ~ub8{0}; // in no range

class TranslatedRange {
public:
  explicit TranslatedRange(const mipo_call_ctx *ctx) {
    const auto *record = static_cast<const mipo_xlate_ctx *>(ctx->xlate_ctx);
    const auto greatest = static_cast<ub4>(record->max_code);
    least_ = static_cast<ub4>(record->min_code);
    count_ = least_ <= greatest ? greatest - least_ + 1 : 0;
  }

  [[gnu::always_inline]] bool has(Key key) const { return key - least_ < count_; }

private:
  ub8 least_, count_;
};

/// One of two addresses, without a branch: which rows have an entry is not foreseeable.
template <class T>
[[gnu::always_inline]] inline const T *choose(bool condition, const T *if_true, const T *if_false) {
#if defined(__clang__)
  return __builtin_unpredictable(condition) ? if_true : if_false;
#else
  return __builtin_expect_with_probability(condition, 1, 0.5) ? if_true : if_false;
#endif
}

/// `sim` and `off`: one table, which begins at code 0 or at `code_base`.
template <unsigned bits, bool from_base>
class FlatTable {
public:
  static constexpr unsigned entry_bits = bits;

  FlatTable(const mipo_vec *table, const mipo_call_ctx *ctx)
      : table_(reinterpret_cast<const ub1 *>(table->bv)),
        base_(from_base ? static_cast<ub4>(static_cast<const mipo_xlate_ctx *>(ctx->xlate_ctx)->code_base) : 0) {}

  /// The entry of a key, or the absent value for one that is not in the table's range.
  [[gnu::always_inline]] ub4 entry(Key key, bool in_range) const {
    const ub4 slot = static_cast<ub4>(key) - base_;
    const ub1 *place = choose(in_range, Entries<bits>::place(table_, slot), none_.bytes);
    return Entries<bits>::read(place, slot);
  }

private:
  const ub1 *table_;
  ub4 base_;
  NoEntry none_;
};

/// `ind`: an array of addresses of segments, null where no code of the segment has an entry.
template <unsigned bits>
class SegmentedTable {
public:
  static constexpr unsigned entry_bits = bits;

  SegmentedTable(const mipo_vec *table, const mipo_call_ctx *)
      : segments_(reinterpret_cast<const ub1 *const *>(table->bv)),
        shift_(MIPO_VEC_ENC_CTX(table)->bloom_shift & 63),
        mask_(MIPO_VEC_ENC_CTX(table)->bloom_word_mask) {}

  [[gnu::always_inline]] ub4 entry(Key key, bool in_range) const {
    const ub1 *const *cell = choose(in_range, address(segments_, (key >> shift_) * sizeof(*segments_)), &no_segment_);
    const ub1 *segment = *cell;
    const ub4 slot = static_cast<ub4>(key) & mask_;
    const ub1 *place = choose(segment != nullptr, Entries<bits>::place(segment, slot), none_.bytes);
    return Entries<bits>::read(place, slot);
  }

private:
  const ub1 *const *segments_;
  ub4 shift_, mask_;
  const ub1 *no_segment_ = nullptr;
  NoEntry none_;
};

} // namespace mipo::xlate

#endif
