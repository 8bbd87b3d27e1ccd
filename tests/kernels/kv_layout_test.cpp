// Layouts of key-value tables: against a model, and by hand where forms and sizes change.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "check/guarded_sources.h"
#include "check/levels.h"

namespace {

using namespace mipo::check;

struct LayoutCall {
  ub8 distinct, rows;
  ub4 flags, log2_segment_bytes, idx_min_buckets, idx_max_buckets, load_percent, force_ptr;
};

struct Outcome {
  ub4 code, flags;
  mipo_kv kv;
};

Outcome layout(const Level &level, const LayoutCall &call, const mipo_kv &before) {
  Outcome outcome{0, call.flags, before};
  outcome.code =
      level.record->mipo_layout_kv_dydi(call.distinct, call.rows, &outcome.flags, &outcome.kv, call.log2_segment_bytes,
                                        call.idx_min_buckets, call.idx_max_buckets, call.load_percent, call.force_ptr);
  return outcome;
}

// Capacities by number and by address, and the bits of the count; by shape code.
constexpr struct {
  ub4 idx, ptr, count_bits;
} shapes[] = {{},        {10, 9, 4}, {6, 5, 3}, {15, 13, 4}, {7, 6, 3}, {5, 4, 3}, {10, 9, 4}, {6, 5, 3},
              {4, 3, 3}, {7, 6, 3},  {5, 4, 3}, {3, 3, 2},   {4, 3, 3}, {5, 4, 3}, {},         {3, 3, 2}};

ub8 quotient(ub8 dividend, ub8 divisor) { // rounded up
  return dividend == 0 ? 0 : (dividend - 1) / divisor + 1;
}

ub4 segment_bits(ub8 last, int log2_items) {
  int e = 0;
  if (last != 0) (void)std::frexp(static_cast<double>(last), &e);
  return static_cast<ub4>(std::max(e, log2_items) - log2_items);
}

// Log2 of the primary segments; above 32 there are too many.
ub4 primary_bits(const LayoutCall &call, ub4 capacity) {
  const ub8 buckets = quotient(std::min(call.distinct, call.rows), capacity);
  const bool by_percent = call.load_percent != 0 && buckets >= call.idx_max_buckets;
  const double enlarged = 100.0 / call.load_percent * static_cast<double>(buckets);
  const ub8 wanted = by_percent ? enlarged >= 0x1p64 ? ~ub8{0} : static_cast<ub8>(enlarged) : 2 * buckets;
  const ub4 bits = call.log2_segment_bytes < 12 ? 12 : call.log2_segment_bytes - 6;
  return wanted < 2 ? 0 : segment_bits(wanted - 1, static_cast<int>(bits));
}

Outcome bucketed(const LayoutCall &call, mipo_kv kv) {
  const auto &shape = shapes[call.flags & 0xff];
  const ub8 by_number = quotient(call.rows, shape.idx), by_address = quotient(call.rows, shape.ptr);
  const ub4 idx_bits = primary_bits(call, shape.idx), ptr_bits = primary_bits(call, shape.ptr);
  const bool reaches = call.force_ptr == 0 && by_number < ub8{1} << (32 - shape.count_bits) && idx_bits <= 32;
  const bool middle = by_number >= call.idx_min_buckets && by_number < call.idx_max_buckets;
  const bool idx = reaches && (ptr_bits > 32 || middle);
  Outcome outcome{0, call.flags & ~0xc000u, kv};
  if (!idx && ptr_bits > 32) return outcome.code = 10, outcome;
  const ub4 bits = idx ? idx_bits : ptr_bits;
  const ub8 overflow = idx ? by_number : by_address;
  mipo_kv_area &primary = outcome.kv.primary, &chains = outcome.kv.overflow;
  primary.nsegments = bits == 32 ? 0 : 1u << bits;
  primary.log2_segments = static_cast<ub1>(bits);
  primary.log2_items = static_cast<ub1>(call.log2_segment_bytes < 12 ? 12 : call.log2_segment_bytes - 6);
  primary.area_code = 4;
  if (!idx) primary.reserved_7 = 0;
  primary.item_bits = 512;
  primary.entries_per_item = static_cast<ub2>(idx ? shape.idx : shape.ptr);
  primary.area_flag = 1;
  chains.nsegments = static_cast<ub4>((overflow + 4095) >> 12);
  chains.log2_segments = static_cast<ub1>(segment_bits(overflow == 0 ? 0 : overflow - 1, 12));
  chains.log2_items = 12;
  chains.area_code = idx ? 4 : 0;
  chains.item_bits = 512;
  if (!idx) outcome.flags |= by_address >= call.idx_max_buckets ? 0xc000 : 0x4000;
  return outcome;
}

TEST(KvLayout, BucketedKindsDoAsTheirModel) {
  Random random;
  for (int repeat = 0; repeat < 20000; ++repeat) {
    ub4 shape = static_cast<ub4>(1 + random.below(15));
    if (shape == 14) shape = 15;
    const auto some = [&] { return random.next() >> random.below(64) >> 8; };
    const ub4 middle = static_cast<ub4>(some());
    LayoutCall call = {some(), some(), static_cast<ub4>(random.next() & ~ub8{0xfff}) | shape, 0, 0, middle, 0, 0};
    call.flags |= static_cast<ub4>(random.below(4)) << 8;
    call.log2_segment_bytes = static_cast<ub4>(8 + random.below(25));
    call.idx_min_buckets = random.chance(50) ? 0 : static_cast<ub4>(some());
    if (random.chance(40)) call.load_percent = static_cast<ub4>(1 + random.below(120));
    if (random.chance(20)) call.force_ptr = static_cast<ub4>(random.next());
    if (random.chance(50)) call.rows = (middle + random.below(3) - 1) * ub8{shapes[shape].idx} + random.below(2);
    mipo_kv before;
    fill_with_noise(random, before);
    const Outcome expected = bucketed(call, before);
    for (const Level &level : levels()) {
      const Outcome got = layout(level, call, before);
      ASSERT_EQ(got.code, expected.code) << repeat << ", seed " << test_seed();
      ASSERT_EQ(got.flags, expected.flags) << repeat << ", seed " << test_seed();
      if (got.code != 10) {
        ASSERT_TRUE(same(got.kv, expected.kv)) << repeat << ", seed " << test_seed();
      }
    }
  }
}

TEST(KvLayout, ArraysDenseSetsAndRefusals) {
  struct Area {
    ub4 nsegments, log2_segments, log2_items, area_code, item_bits;
  };
  constexpr ub8 most = ~ub8{0};
  const struct {
    ub4 kind, shape;
    ub8 distinct, rows;
    std::vector<Area> areas; // primary, overflow, list pool
  } cases[] = {{4, 4, 0, 0, {{1, 0, 17, 3, 34}, {0, 0, 14, 0, 136}, {0, 0, 17, 0, 16}}},
               {4, 4, 131072, 1, {{2, 1, 17, 3, 34}, {1, 0, 14, 0, 136}, {1, 0, 17, 0, 16}}},
               {4, 4, 131071, 16385, {{1, 0, 17, 3, 34}, {2, 1, 14, 0, 136}, {1, 0, 17, 0, 16}}},
               {4, 4, 1000000, 1000000, {{8, 3, 17, 3, 34}, {62, 6, 14, 0, 136}, {8, 3, 17, 0, 16}}},
               {4, 5, 393216, 131073, {{4, 2, 17, 4, 64}, {2, 1, 17, 0, 64}}},
               {4, 5, most, 0, {{0, 0, 17, 4, 64}, {0, 0, 17, 0, 64}}}, // wraps
               {5, 3, 0, most, {{1, 0, 18, 16, 2}, {1, 0, 18, 0, 64}}},
               {5, 3, 262111, 0, {{1, 0, 18, 16, 2}, {1, 0, 18, 0, 64}}},
               {5, 3, 262144, 0, {{2, 1, 18, 16, 2}, {2, 1, 18, 0, 64}}},
               {5, 3, most, 0, {{0, 0, 18, 16, 2}, {0, 47, 18, 0, 64}}}};
  const mipo_kv zeros{};
  for (const auto &[kind, shape, distinct, rows, areas] : cases)
    for (const Level &level : levels()) {
      SCOPED_TRACE(testing::Message() << "kind " << kind << ", shape " << shape << ", " << distinct << " keys, "
                                      << rows);
      const ub4 flags = kind << 8 | shape | 0x1c000;
      const Outcome got = layout(level, {distinct, rows, flags, 16, 0, 10, 0, 0}, zeros);
      EXPECT_TRUE(got.code == 0 && got.flags == flags);
      mipo_kv expected{};
      for (std::size_t i = 0; i < areas.size(); ++i) {
        mipo_kv_area &area = (&expected.primary)[i];
        area.nsegments = areas[i].nsegments;
        area.log2_segments = static_cast<ub1>(areas[i].log2_segments);
        area.log2_items = static_cast<ub1>(areas[i].log2_items);
        area.area_code = static_cast<ub1>(areas[i].area_code);
        area.item_bits = static_cast<ub2>(areas[i].item_bits);
        if (i == 0) area.entries_per_item = 1, area.area_flag = 1;
      }
      EXPECT_TRUE(same(got.kv, expected));
    }
  for (const ub4 flags : {0x504u, 0x401u, 0x403u, 0x000u, 0x10eu, 0x310u, 0x604u, 0xf05u})
    for (const Level &level : levels())
      EXPECT_EQ(layout(level, {1, 1, flags, 16, 0, 10, 0, 0}, zeros).code, 24u) << flags;
}

// Seven rows a bucket by number, six by address: 100 rows are 15 buckets, or 17; 1000 are 167 by address.
TEST(KvLayout, FormsAndSegmentsChangeWhereTheyShould) {
  const struct {
    LayoutCall call;
    ub4 links, log2_items, nsegments;
  } cases[] = {{{100, 100, 4, 11, 0, 16, 0, 0}, 0, 12, 1},
               {{100, 100, 4, 12, 0, 16, 0, 0}, 0, 6, 1},
               {{1000, 100, 4, 12, 16, 20, 0, 0}, 0x4000, 6, 1},
               {{100, 100, 4, 12, 0, 15, 0, 0}, 0xc000, 6, 1},
               {{100, 100, 4, 12, 0, 16, 0, 1}, 0xc000, 6, 1},
               {{1000, 1000, 4, 12, 0, 1, 50, 1}, 0xc000, 6, 8},
               {{1000, 1000, 4, 12, 0, 1, 100, 1}, 0xc000, 6, 4},
               {{1000, 1000, 4, 12, 0, 168, 100, 1}, 0x4000, 6, 8},
               // As many as links of 29 bits reach, and one more.
               {{1000, 3758096377, 4, 12, 0, ~0u, 0, 0}, 0, 6, 8},
               {{1000, 3758096378, 4, 12, 0, ~0u, 0, 0}, 0x4000, 6, 8}};
  for (const auto &[call, links, log2_items, nsegments] : cases)
    for (const Level &level : levels()) {
      const Outcome got = layout(level, call, {});
      EXPECT_TRUE(got.code == 0 && got.flags == (4 | links) && got.kv.primary.log2_items == log2_items &&
                  got.kv.primary.nsegments == nsegments)
          << call.rows << " rows, " << call.idx_max_buckets << ", " << call.load_percent;
    }
}

} // namespace
