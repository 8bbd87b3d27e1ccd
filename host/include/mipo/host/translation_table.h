// Tables that the translation kernels look codes up in: from the codes of one dictionary to entries, which are the
// codes of another one, or only whether there is one.
#ifndef MIPO_HOST_TRANSLATION_TABLE_H
#define MIPO_HOST_TRANSLATION_TABLE_H

#include <memory>
#include <span>
#include <vector>

#include "mipo/call.h"
#include "mipo/host/aligned_buffer.h"
#include "mipo/host/column.h"
#include "mipo/host/context.h"
#include "mipo/host/domain.h"
#include "mipo/keys.h"
#include "mipo/xlate.h"

namespace mipo::host {

/// How a code finds its entry.
enum class TableMapping {
  simple,  ///< entry c belongs to code c
  offset,  ///< the first entry belongs to the least code that has one
  indirect ///< segments, of which those without any entry are not there
};

/// Bits of an entry; all ones mean that the code has none.
enum class EntryWidth { bit = 1, nibble = 4, byte = 8, half = 16, word = 32 };

/// How the rows of a column are laid out that a table translates: the third part of a kernel's key.
enum class TranslatedRows {
  codes,           ///< big-endian ub4
  offset_values,   ///< decimal values with offsets
  constant_values, ///< decimal values of one length
  separate_values  ///< decimal values with their lengths apart
};

/// No entry, in what a table is made of.
inline constexpr ub4 no_entry = 0xffffffff;

class TranslationTable {
public:
  /// One entry a code, from code 0 on: an entry, or `no_entry`. The width is the narrowest that holds the greatest of
  /// them; the mapping is chosen by how many codes there are between the least and the greatest that have one:
  ///
  ///   simple    when the codes below the least are at most as many as those from it on
  ///   offset    otherwise
  ///   indirect  when the segments that have any entry take less than a quarter of the bytes of the others
  explicit TranslationTable(std::span<const ub4> entries);
  /// The same for membership: codes that are true pass, and there are no entries to hand out.
  static TranslationTable of_members(const std::vector<bool> &members);

  TableMapping mapping() const noexcept { return mapping_; }
  EntryWidth width() const noexcept { return width_; }
  /// Bytes of entries and segment addresses.
  std::size_t stored_bytes() const noexcept;

  /// Key of the kernel that looks rows up here, and of the one that hands out what it finds. Membership has none that
  /// hands out.
  ub4 key(TranslatedRows rows = TranslatedRows::codes, bool hands_out = false) const noexcept;
  /// Key of the kernel that adds handed-out entries, in their own width, to group keys.
  ub4 group_key_key() const noexcept;
  /// To hand to the kernel; lives as long as the table.
  const mipo_vec &vec() const noexcept { return records_->vec; }
  /// The range of codes, for `xlate_ctx` of the call.
  mipo_xlate_ctx *range() const noexcept { return &records_->range; }

private:
  struct Records {
    mipo_xlate_ctx range;
    mipo_enc_ctx enc_ctx;
    mipo_vec vec;
  };

  TranslationTable(std::span<const ub4> entries, EntryWidth width);
  void place_flat(std::span<const ub4> entries, std::size_t first);
  void place_segments(std::span<const ub4> entries, std::size_t first, std::size_t end);

  TableMapping mapping_ = TableMapping::simple;
  EntryWidth width_;
  AlignedBuffer entries_; ///< of all segments that are there, one after the other
  std::vector<const std::byte *> segments_;
  std::unique_ptr<Records> records_;
};

/// What a kernel has handed out for a row, in the width of its table; `no_entry` for its absent value.
ub4 handed_out(const void *entries, EntryWidth width, ub8 row) noexcept;
/// Bytes that kernels hand out for so many rows.
std::size_t handed_out_bytes(ub8 rows, EntryWidth width) noexcept;

/// Codes in the layout that the kernels for `TranslatedRows::codes` take.
class TranslatedCodes {
public:
  /// Room for so many codes.
  explicit TranslatedCodes(ub4 capacity);

  /// Takes the codes, in native byte order. There must be room for them.
  void set(std::span<const ub4> codes) noexcept;
  /// To hand to the kernel; lives as long as this.
  const mipo_vec &vec() const noexcept { return records_->vec; }

private:
  struct Records {
    mipo_enc_ctx enc_ctx;
    mipo_vec vec;
  };
  AlignedBuffer codes_;
  std::unique_ptr<Records> records_;
};

/// Looks codes up, for the rows that are selected in the context: which have an entry. With `entries`, hands out what
/// the table has for each; there must be handed_out_bytes() of room. Returns the rows that have an entry.
///
/// Throws ArgumentError if the selection has another number of rows, if there is too little room, or if a table of
/// members is asked for entries; MissingKernel; and Error for what the kernel reports.
Result translate(const Library &library, CallContext &context, const TranslationTable &table,
                 const TranslatedCodes &codes, std::span<std::byte> entries = {});

/// Throws ValueError if no value of one type can equal one of the other. Numbers with different digits after the point
/// can.
void check_comparable(const ValueType &a, const ValueType &b);

/// For each value of `from`, ascending, the number of the equal value of `to`, also from 0 on; `no_entry` where there
/// is none. The number of a value is its code less first_code(). Throws as check_comparable() does, and ArgumentError
/// for domains of 2^32 - 1 values and more.
std::vector<ub4> equal_values(const Domain &from, const Domain &to);

} // namespace mipo::host

#endif
