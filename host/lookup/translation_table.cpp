#include "mipo/host/translation_table.h"

#include <algorithm>
#include <cstring>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

constexpr ub4 segment_shift = 12, segment_slots = 1 << segment_shift;

unsigned bits_of(EntryWidth width) {
  return static_cast<unsigned>(width);
}

// All ones: no entry.
ub4 absent_entry(EntryWidth width) {
  return static_cast<ub4>((ub8{1} << bits_of(width)) - 1);
}

EntryWidth narrowest(std::span<const ub4> entries) {
  ub8 greatest = 0;
  for (const ub4 entry : entries)
    if (entry != no_entry) greatest = std::max<ub8>(greatest, entry);
  for (const EntryWidth width : {EntryWidth::nibble, EntryWidth::byte, EntryWidth::half})
    if (greatest < absent_entry(width)) return width;
  return EntryWidth::word;
}

std::size_t bytes_of(std::size_t slots, EntryWidth width) {
  return (slots * bits_of(width) + 7) / 8;
}

// Stores an entry, or that there is none; the place holds zeros.
void store_entry(std::byte *table, std::size_t slot, ub4 entry, EntryWidth width) {
  const unsigned bits = bits_of(width);
  const ub4 stored = entry == no_entry ? absent_entry(width) : entry;
  if (bits < 8) {
    const std::size_t per_byte = 8 / bits;
    table[slot / per_byte] |= static_cast<std::byte>(stored << slot % per_byte * bits);
  } else {
    std::memcpy(table + slot * (bits / 8), &stored, bits / 8);
  }
}

bool has_entry(std::span<const ub4> entries) {
  return std::ranges::any_of(entries, [](ub4 entry) { return entry != no_entry; });
}

} // namespace

TranslationTable::TranslationTable(std::span<const ub4> entries) : TranslationTable(entries, narrowest(entries)) {
}

TranslationTable TranslationTable::of_members(const std::vector<bool> &members) {
  std::vector<ub4> entries(members.size());
  for (std::size_t code = 0; code < members.size(); ++code) entries[code] = members[code] ? 0 : no_entry;
  return TranslationTable(entries, EntryWidth::bit);
}

TranslationTable::TranslationTable(std::span<const ub4> entries, EntryWidth width)
    : width_(width), records_(std::make_unique<Records>()) {
  if (entries.size() > no_entry) throw ArgumentError("a table of more than 2^32 - 1 codes");
  *records_ = {};
  records_->vec.enc_ctx = &records_->enc_ctx;
  const auto is_there = [](ub4 entry) { return entry != no_entry; };
  const auto first = static_cast<std::size_t>(std::ranges::find_if(entries, is_there) - entries.begin());
  std::size_t end = entries.size();
  while (end > first && !is_there(entries[end - 1])) --end;
  records_->range.min_code = first == end ? 1 : first; // above the greatest: no code is looked up
  records_->range.max_code = first == end ? 0 : end - 1;

  std::size_t segments_there = 0, segments = 0;
  for (std::size_t at = first / segment_slots * segment_slots; at < end; at += segment_slots, ++segments)
    segments_there += has_entry(entries.subspan(at, std::min<std::size_t>(segment_slots, end - at)));
  if (segments_there * bytes_of(segment_slots, width) + segments * sizeof(void *) < bytes_of(end - first, width) / 4) {
    mapping_ = TableMapping::indirect;
    place_segments(entries, first, end);
  } else if (first > end - first) {
    mapping_ = TableMapping::offset;
    records_->range.code_base = first;
    place_flat(entries.first(end), first);
  } else {
    place_flat(entries.first(end), 0);
  }
}

void TranslationTable::place_flat(std::span<const ub4> entries, std::size_t first) {
  entries_ = AlignedBuffer(bytes_of(entries.size() - first, width_));
  for (std::size_t code = first; code < entries.size(); ++code)
    store_entry(entries_.data(), code - first, entries[code], width_);
  records_->vec.bv = reinterpret_cast<ub8 *>(entries_.data());
}

void TranslationTable::place_segments(std::span<const ub4> entries, std::size_t first, std::size_t end) {
  std::vector<std::size_t> there;
  const std::size_t segment_bytes = bytes_of(segment_slots, width_);
  segments_.resize((end + segment_slots - 1) / segment_slots);
  for (std::size_t segment = first / segment_slots; segment < segments_.size(); ++segment) {
    const std::size_t at = segment * segment_slots;
    if (has_entry(entries.subspan(at, std::min<std::size_t>(segment_slots, end - at)))) there.push_back(segment);
  }
  entries_ = AlignedBuffer(there.size() * segment_bytes);
  std::byte *table = entries_.data();
  for (const std::size_t segment : there) {
    for (std::size_t slot = 0; slot < segment_slots; ++slot) {
      const std::size_t code = segment * segment_slots + slot;
      store_entry(table, slot, code < end ? entries[code] : no_entry, width_);
    }
    segments_[segment] = table;
    table += segment_bytes;
  }
  records_->enc_ctx.bloom_shift = segment_shift;
  records_->enc_ctx.bloom_word_mask = segment_slots - 1;
  records_->vec.bv = reinterpret_cast<ub8 *>(segments_.data());
}

std::size_t TranslationTable::stored_bytes() const noexcept {
  return entries_.size() + segments_.size() * sizeof(segments_.front());
}

ub4 TranslationTable::key(TranslatedRows rows, bool hands_out) const noexcept {
  const int code_width = width_ == EntryWidth::bit      ? -1
                         : width_ == EntryWidth::nibble ? -4
                                                        : static_cast<int>(bits_of(width_) / 8);
  return mipo_key(MIPO_OP_XLATE, static_cast<ub4>(mapping_),
                  mipo_xlate_convert_width(code_width, static_cast<ub4>(rows)),
                  hands_out ? MIPO_VARIANT_C2D : MIPO_VARIANT_PLAIN);
}

ub4 TranslationTable::group_key_key() const noexcept {
  const ub4 of_table = key(TranslatedRows::codes, true);
  return (of_table & ~ub4{3 << 5}) | MIPO_FAMILY_XLATE_GROUPKEY << 5;
}

ub4 handed_out(const void *entries, EntryWidth width, ub8 row) noexcept {
  const auto *bytes = static_cast<const unsigned char *>(entries);
  const unsigned bits = bits_of(width);
  ub4 entry = 0;
  if (bits < 8) {
    const unsigned per_byte = 8 / bits;
    entry = ub4{bytes[row / per_byte]} >> row % per_byte * bits & absent_entry(width);
  } else {
    std::memcpy(&entry, bytes + row * (bits / 8), bits / 8);
  }
  return entry == absent_entry(width) ? no_entry : entry;
}

std::size_t handed_out_bytes(ub8 rows, EntryWidth width) noexcept {
  return bytes_of(rows, width);
}

TranslatedCodes::TranslatedCodes(ub4 capacity)
    : codes_(std::size_t{capacity} * sizeof(ub4)), records_(std::make_unique<Records>()) {
  *records_ = {};
  records_->enc_ctx.flags = MIPO_HASHED;
  records_->enc_ctx.bits = 32;
  records_->vec.data = codes_.data();
  records_->vec.enc_ctx = &records_->enc_ctx;
}

void TranslatedCodes::set(std::span<const ub4> codes) noexcept {
  auto *stored = reinterpret_cast<ub4 *>(codes_.data());
  for (std::size_t row = 0; row < codes.size(); ++row) stored[row] = __builtin_bswap32(codes[row]);
  records_->vec.nrows = static_cast<ub4>(codes.size());
}

Result translate(const Library &library, CallContext &context, const TranslationTable &table,
                 const TranslatedCodes &codes, std::span<std::byte> entries) {
  const mipo_vec &rows = codes.vec();
  const bool hands_out = !entries.empty();
  context.check_selection(rows.nrows, "codes");
  if (hands_out && table.width() == EntryWidth::bit) throw ArgumentError("a table of members has no entries");
  const std::size_t room = handed_out_bytes(rows.nrows, table.width());
  if (hands_out && entries.size() < room)
    throw ArgumentError("the entries of " + std::to_string(rows.nrows) + " rows take " + std::to_string(room) +
                        " bytes, and there are " + std::to_string(entries.size()));
  Result result(rows.nrows);
  mipo_call_ctx ctx = *context.record();
  ctx.xlate_ctx = table.range();
  ctx.xlate_out = entries.data();
  const ub4 key = table.key(TranslatedRows::codes, hands_out);
  const ub4 code = library.xlate(key)(result.vec(), &rows, &table.vec(), &ctx);
  context.throw_if_reported();
  throw_unless_answered(kernel_name(key), code);
  return result;
}

namespace {

__extension__ typedef __int128 WideNumber;

// The order of the value of a code of `from` and one of `to`.
class ValueOrder {
public:
  ValueOrder(const Domain &from, const Domain &to) : from_(from), to_(to) {
    for (int scale = from.type().scale; scale < to.type().scale; ++scale) from_factor_ *= 10;
    for (int scale = to.type().scale; scale < from.type().scale; ++scale) to_factor_ *= 10;
  }

  int operator()(ub8 a, ub8 b) const {
    if (from_.type().kind == ValueKind::text) return from_.text(a).compare(to_.text(b));
    const WideNumber left = from_factor_ * from_.number(a), right = to_factor_ * to_.number(b);
    return (left > right) - (left < right);
  }

private:
  const Domain &from_, &to_;
  WideNumber from_factor_ = 1, to_factor_ = 1;
};

} // namespace

void check_comparable(const ValueType &a, const ValueType &b) {
  if (a != b && !(is_number(a.kind) && is_number(b.kind)))
    throw ValueError(type_name(a) + " and " + type_name(b) + " have no values in common");
}

std::vector<ub4> equal_values(const Domain &from, const Domain &to) {
  check_comparable(from.type(), to.type());
  const ub8 values = from.code_count() - from.first_code();
  if (std::max(values, to.code_count() - to.first_code()) >= no_entry)
    throw ArgumentError("translation between domains of 2^32 - 1 values or more");
  // Both ascend: one walk finds all.
  std::vector<ub4> equal(values, no_entry);
  const ValueOrder order(from, to);
  for (ub8 a = from.first_code(), b = to.first_code(); a < from.code_count() && b < to.code_count();) {
    const int ordered = order(a, b);
    if (ordered == 0) equal[a - from.first_code()] = static_cast<ub4>(b - to.first_code());
    a += ordered <= 0;
    b += ordered >= 0;
  }
  return equal;
}

} // namespace mipo::host
