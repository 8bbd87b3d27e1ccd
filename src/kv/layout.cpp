// mipo_layout_kv_dydi: how many segments of which size a key-value table needs. Arithmetic alone; every wrap and every
// saturation is a part of the result, which hosts of all releases share.
#include <string.h>

#include "interface/entry_functions.h"
#include "kv/bucket_shapes.h"

namespace {

using namespace mipo::kv;

constexpr ub4 least_log2_items = 12; // of buckets
constexpr ub4 log2_bucket_bytes = 6;

// The exponent e with number <= 2^e, of the number as a double: above 2^53 it is rounded first. `number` is not 0.
ub4 exponent(ub8 number) {
  const double rounded = static_cast<double>(number);
  return static_cast<ub4>(__builtin_bit_cast(ub8, rounded) >> 52) - 1022;
}

// Of a table of segments for items up to number `last`.
ub1 log2_segments(ub8 last, ub4 log2_items) {
  const ub4 e = last == 0 ? 0 : exponent(last);
  return static_cast<ub1>(e > log2_items ? e - log2_items : 0);
}

ub8 last_of(ub8 items) {
  return items == 0 ? 0 : items - 1;
}

ub8 rounded_up_quotient(ub8 dividend, ub8 divisor) {
  return dividend / divisor + (dividend % divisor != 0);
}

// Truncates, and saturates at the ends.
ub8 to_integer(double number) {
  constexpr double end = 18446744073709551616.0; // 2^64
  if (!(number > 0)) return 0;
  return number >= end ? ~ub8{0} : static_cast<ub8>(number);
}

struct Sizing {
  ub8 entries;
  ub4 log2_segment_bytes, idx_max_buckets, load_percent;
};

// An area of items in segments of 2^log2_items, the last of which that is needed is `last`.
void place_items(mipo_kv_area &area, ub8 items, ub8 last, ub4 log2_items, ub2 item_bits) {
  area.nsegments = static_cast<ub4>(items >> log2_items);
  area.log2_segments = log2_segments(last, log2_items);
  area.log2_items = static_cast<ub1>(log2_items);
  area.item_bits = item_bits;
}

void place_slots(mipo_kv_area &area, ub8 items, ub4 log2_items, mipo_kv_area_code code, ub2 item_bits) {
  const ub8 whole_segments = items >> log2_items << log2_items;
  place_items(area, items, last_of(whole_segments), log2_items, item_bits);
  area.area_code = code;
  area.entries_per_item = 1;
  area.area_flag = 1;
}

// Twice as many buckets as full ones would need, or by the percentage in large tables; a power of two, at least a
// segment.
ub4 mipo_kv_layout_ht(const Sizing &sizing, ub4 capacity, mipo_kv_area &area) {
  // Below 2^12 bytes a segment holds 4096 buckets, at 2^12 bytes it holds 64: hosts rely on that jump.
  const ub4 seg_bits =
      sizing.log2_segment_bytes < 12 ? least_log2_items : sizing.log2_segment_bytes - log2_bucket_bytes;
  const ub8 full_buckets = rounded_up_quotient(sizing.entries, capacity);
  ub8 wanted = 2 * full_buckets;
  if (sizing.load_percent != 0 && full_buckets >= sizing.idx_max_buckets)
    wanted = to_integer(100.0 / sizing.load_percent * static_cast<double>(full_buckets));
  const ub4 e = wanted >= 2 ? exponent(wanted - 1) : 0;
  const ub4 further_bits = e > seg_bits ? e - seg_bits : 0;
  area.log2_segments = static_cast<ub1>(further_bits);
  if (further_bits > 32) return MIPO_LAYOUT_OUT_OF_RANGE;
  area.nsegments = static_cast<ub4>(ub8{1} << further_bits);
  area.log2_items = static_cast<ub1>(seg_bits);
  area.area_code = MIPO_KV_AREA_BUCKETS;
  area.item_bits = 8 * bucket_bytes;
  area.entries_per_item = static_cast<ub2>(capacity);
  area.area_flag = 1;
  return MIPO_DONE;
}

void place_overflow(mipo_kv_area &area, ub8 buckets, mipo_kv_area_code code) {
  constexpr ub8 segment_buckets = ub8{1} << least_log2_items; // of 256 KiB, whatever the primary segments have
  place_items(area, buckets + segment_buckets - 1, last_of(buckets), least_log2_items, 8 * bucket_bytes);
  area.area_code = code;
}

// What the primary area has before the host's own fields.
void copy_layout(mipo_kv_area &to, const mipo_kv_area &from) {
  constexpr size_t layout_bytes = 16;
  memcpy(&to, &from, layout_bytes);
}

// Numbers of buckets as links where they reach and the overflow is of a middle size, else addresses.
ub4 mipo_kv_layout_bucketed(const BucketShape &shape, ub8 rows, const Sizing &sizing, ub4 *flags, mipo_kv *kv,
                            ub4 idx_min_buckets, bool force_ptr) {
  *flags &= ~ub4{MIPO_KV_POINTER_LINKS | MIPO_KV_CHAIN_PREFETCH};
  const ub8 idx_overflow = rounded_up_quotient(rows, shape.idx.capacity); // at the worst: all rows are in overflow
  const ub8 most_links = (ub8{1} << (32 - shape.count_bits)) - 1;
  mipo_kv_area by_pointer{};
  const ub4 pointer_code = mipo_kv_layout_ht(sizing, shape.ptr.capacity, by_pointer);
  if (!force_ptr && idx_overflow <= most_links &&
      mipo_kv_layout_ht(sizing, shape.idx.capacity, kv->primary) == MIPO_DONE) {
    const bool middle_sized = idx_overflow >= idx_min_buckets && idx_overflow < sizing.idx_max_buckets;
    if (pointer_code != MIPO_DONE || middle_sized) {
      place_overflow(kv->overflow, idx_overflow, MIPO_KV_AREA_BUCKETS);
      return MIPO_DONE;
    }
  }
  if (pointer_code != MIPO_DONE) return pointer_code;
  copy_layout(kv->primary, by_pointer);
  const ub8 ptr_overflow = rounded_up_quotient(rows, shape.ptr.capacity);
  place_overflow(kv->overflow, ptr_overflow, MIPO_KV_AREA_POINTER_OVERFLOW);
  *flags |= MIPO_KV_POINTER_LINKS;
  if (ptr_overflow >= sizing.idx_max_buckets) *flags |= MIPO_KV_CHAIN_PREFETCH;
  return MIPO_DONE;
}

constexpr ub4 shape_k4 = 3, shape_k4v4 = 4, shape_k4v8 = 5;

ub4 layout_array(ub4 shape, ub8 distinct, ub8 rows, mipo_kv *kv) {
  constexpr ub4 log2_codes = 17, log2_nodes = 14, log2_units = 17;
  constexpr ub8 codes = ub8{1} << log2_codes, nodes = ub8{1} << log2_nodes, units = ub8{1} << log2_units;
  constexpr ub2 group_bits_a_code = 34, node_bits = 8 * 17, word_bits = 64, unit_bits = 16;
  switch (shape) {
  case shape_k4v4:
    place_slots(kv->primary, distinct + codes, log2_codes, MIPO_KV_AREA_ARRAY_K4V4, group_bits_a_code);
    place_items(kv->overflow, rows + nodes - 1, last_of(rows), log2_nodes, node_bits);
    place_items(kv->list_pool, rows + units - 1, last_of(rows), log2_units, unit_bits);
    return MIPO_DONE;
  case shape_k4v8:
    place_slots(kv->primary, distinct + codes, log2_codes, MIPO_KV_AREA_BUCKETS, word_bits);
    place_items(kv->overflow, rows + units - 1, last_of(rows), log2_units, word_bits);
    return MIPO_DONE;
  default:
    return MIPO_INVALID_PARAMETER;
  }
}

ub4 layout_dense_set(ub4 shape, ub8 distinct, mipo_kv *kv) {
  if (shape != shape_k4) return MIPO_INVALID_PARAMETER;
  constexpr ub4 log2_codes = 18;
  constexpr ub8 codes = ub8{1} << log2_codes, group = 32;
  const ub8 whole_groups = (distinct + group) & ~(group - 1);
  place_slots(kv->primary, whole_groups + codes - group, log2_codes, MIPO_KV_AREA_DENSE_SET, 2);
  place_items(kv->overflow, distinct + codes, distinct, log2_codes, 64);
  return MIPO_DONE;
}

} // namespace

extern "C" ub4 mipo_layout_kv_dydi(ub8 distinct, ub8 rows, ub4 *flags, mipo_kv *kv, ub4 log2_segment_bytes,
                                   ub4 idx_min_buckets, ub4 idx_max_buckets, ub4 load_percent, ub4 force_ptr) {
  const ub4 shape = *flags & MIPO_KV_SHAPE_MASK;
  const ub4 kind = *flags >> MIPO_KV_KIND_SHIFT & MIPO_KV_KIND_MASK;
  if (kind == MIPO_KV_ARRAY) return layout_array(shape, distinct, rows, kv);
  if (kind == MIPO_KV_DENSE_SET) return layout_dense_set(shape, distinct, kv);
  if (kind > MIPO_KV_DENSE_SET || shape >= shape_codes || !bucket_shapes.of_code[shape].exists())
    return MIPO_INVALID_PARAMETER;
  const Sizing sizing = {distinct < rows ? distinct : rows, log2_segment_bytes, idx_max_buckets, load_percent};
  return mipo_kv_layout_bucketed(bucket_shapes.of_code[shape], rows, sizing, flags, kv, idx_min_buckets,
                                 force_ptr != 0);
}
