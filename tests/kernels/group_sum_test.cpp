// Sums by group: floats, doubles and integers in both layouts of the accumulators, bit for bit in the order of the
// rows.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "check/guarded_sources.h"
#include "check/levels.h"
#include "reference/group_model.h"

namespace {

using namespace mipo::check;
using namespace mipo::reference;

using Bytes = std::vector<ub1>;

struct RecordLayout {
  std::size_t bytes;
  mipo_group_sum_offsets offsets;

  bool has_count() const { return offsets.count != MIPO_GROUP_SUM_NO_COUNT; }
};

// A call in values: stored rows, keys or none, and the accumulators as bytes before and after it.
struct SumCall {
  ub1 num_type = 0;
  unsigned bits = 0; ///< of an integer
  bool native = false, big_endian = false;
  ub4 rows = 0;
  Bytes values;
  std::optional<std::vector<ub4>> keys;
  std::optional<RecordLayout> record; ///< empty: plain
  Bytes before, after;
};

template <class T>
T read(const Bytes &bytes, std::size_t at) {
  T element;
  std::memcpy(&element, &bytes[at], sizeof element);
  return element;
}

template <class T>
void write(Bytes &bytes, std::size_t at, T element) {
  std::memcpy(&bytes[at], &element, sizeof element);
}

// One not-a-number is as good as another.
template <class Float>
void make_canonical(Bytes &accumulators, std::size_t first, std::size_t step) {
  for (std::size_t at = first; at + sizeof(Float) <= accumulators.size(); at += step)
    if (std::isnan(read<Float>(accumulators, at))) write(accumulators, at, static_cast<Float>(NAN));
}

void make_canonical(Bytes &accumulators, const SumCall &call) {
  const auto first = static_cast<std::size_t>(call.record ? call.record->offsets.sum : 0);
  if (call.num_type == MIPO_NUM_FLOAT) make_canonical<float>(accumulators, first, call.record->bytes);
  if (call.num_type == MIPO_NUM_DOUBLE)
    make_canonical<double>(accumulators, first, call.record ? call.record->bytes : sizeof(double));
}

void expect_sums(const SumCall &call, Random &random) {
  GuardedSources sources;
  GuardedBuffer nowhere(0);
  mipo_vec values, acc;
  mipo_enc_ctx value_enc, acc_enc;
  fill_with_noise(random, values, acc, value_enc, acc_enc);
  values.data = sources.keep(call.values, some_edge(random));
  values.nrows = call.rows;
  values.enc_ctx = &value_enc;
  value_enc.num_type = call.num_type;
  value_enc.flags = call.native ? value_enc.flags | MIPO_NATIVE : value_enc.flags & ~ub4{MIPO_NATIVE};
  if (call.num_type == MIPO_NUM_INTEGER) value_enc.bits = call.bits;
  acc_enc.flags = call.record ? acc_enc.flags | MIPO_ACC_RECORD : acc_enc.flags & ~ub4{MIPO_ACC_RECORD};
  if (call.record) acc_enc.bits = static_cast<ub4>(8 * call.record->bytes - random.below(8));
  acc.enc_ctx = call.record || random.chance(50) ? &acc_enc : nullptr;
  mipo_group_sum_options options;
  fill_with_noise(random, options);
  options.flags =
      call.big_endian ? options.flags | MIPO_GROUP_SUM_BIG_ENDIAN : options.flags & ~ub8{MIPO_GROUP_SUM_BIG_ENDIAN};
  const ub4 *keys = call.keys ? sources.keep(*call.keys, some_edge(random)) : nullptr;
  const ub4 **key_cell = sources.keep(std::vector<const ub4 *>{keys});
  const auto *option_cell = sources.keep(std::vector<mipo_group_sum_options>{options});
  const auto *offsets = reinterpret_cast<const mipo_group_sum_offsets *>(nowhere.data());
  if (call.record) offsets = sources.keep(std::vector<mipo_group_sum_offsets>{call.record->offsets});
  Bytes expected = call.after;
  make_canonical(expected, call);

  for (const Level &level : levels()) {
    const std::string what =
        running("values of type " + std::to_string(call.num_type) + " (" + std::to_string(call.bits) + " bits), " +
                std::to_string(call.rows) + (call.keys ? " rows by group" : " rows in all") +
                (call.record ? ", records" : ", plain") + (call.native ? ", native" : ", sortable") +
                (call.big_endian ? ", big-endian" : ", little-endian") + " at level " + level.name);
    GuardedBuffer accumulators(call.before.size(), some_edge(random));
    if (!call.before.empty()) std::memcpy(accumulators.data(), call.before.data(), call.before.size());
    acc.data = accumulators.data();
    const mipo_vec acc_before = acc, values_before = values;
    const mipo_enc_ctx acc_enc_before = acc_enc, value_enc_before = value_enc;
    ASSERT_EQ(level.record->mipo_gby_sum_dydi(&acc, &values, call.keys ? key_cell : nullptr, option_cell, offsets), 0u)
        << what;
    Bytes got(accumulators.data(), accumulators.data() + accumulators.size());
    make_canonical(got, call);
    const auto differing = std::mismatch(got.begin(), got.end(), expected.begin()).first - got.begin();
    ASSERT_EQ(got == expected, true) << what << ", seed " << test_seed() << ": the accumulators differ in byte "
                                     << differing << " of " << got.size();
    ASSERT_TRUE(accumulators.intact() && same(acc, acc_before) && same(values, values_before) &&
                same(acc_enc, acc_enc_before) && same(value_enc, value_enc_before))
        << what;
  }
}

// Numbers of many magnitudes, so that no two orders of adding them agree.
template <class Float>
Float choose_number(Random &random) {
  if (random.chance(5)) return random.chance(50) ? Float{0} : -Float{0};
  const auto fraction = static_cast<Float>(static_cast<double>(random.next() >> 11) * 0x1p-53);
  const auto number = std::ldexp(1 + fraction, static_cast<int>(random.below(30)) - 15);
  return random.chance(50) ? number : -number;
}

template <class Float>
Bytes stored(Float number, bool native) {
  using Bits = std::conditional_t<sizeof(Float) == 4, ub4, ub8>;
  Bits bits;
  std::memcpy(&bits, &number, sizeof bits);
  if (!native) bits = std::signbit(number) ? ~bits : bits | Bits{1} << (8 * sizeof bits - 1);
  Bytes bytes;
  for (std::size_t byte = 0; byte < sizeof bits; ++byte)
    bytes.push_back(static_cast<ub1>(bits >> 8 * (native ? byte : sizeof bits - 1 - byte)));
  return bytes;
}

std::vector<ub4> choose_keys(ub4 rows, ub4 groups, Random &random) {
  std::vector<ub4> keys(rows);
  for (ub4 row = 0; row < rows; ++row)
    keys[row] = row != 0 && random.chance(30) ? keys[row - 1] : static_cast<ub4>(random.below(groups));
  return keys;
}

template <class Float>
SumCall choose_float_sum(ub4 rows, bool native, bool has_keys, bool has_records, Random &random) {
  SumCall call;
  call.num_type = sizeof(Float) == 4 ? MIPO_NUM_FLOAT : MIPO_NUM_DOUBLE;
  call.native = native;
  call.big_endian = random.chance(50);
  call.rows = rows;
  constexpr ub4 groups = 5;
  if (has_keys) call.keys = choose_keys(rows, groups, random);

  std::vector<Float> numbers, raw;
  for (ub4 row = 0; row < rows; ++row) {
    const auto number = choose_number<Float>(random);
    const Bytes bytes = stored(number, native);
    numbers.push_back(decoded<Float>(bytes.data(), native));
    raw.push_back(decoded<Float>(bytes.data(), true));
    call.values.insert(call.values.end(), bytes.begin(), bytes.end());
  }

  RecordLayout layout{sizeof(Float), {0, MIPO_GROUP_SUM_NO_COUNT}};
  if (has_records) {
    const auto gap = static_cast<int16_t>(random.below(9));
    const bool has_count = random.chance(70), count_is_first = has_count && random.chance(50);
    layout.offsets.sum = static_cast<int16_t>(gap + (count_is_first ? 4 : 0));
    if (has_count)
      layout.offsets.count = count_is_first
                                 ? static_cast<int16_t>(random.below(static_cast<ub8>(gap) + 1))
                                 : static_cast<int16_t>(gap + static_cast<int>(sizeof(Float) + random.below(5)));
    layout.bytes = static_cast<std::size_t>(std::max<int>(layout.offsets.sum + static_cast<int>(sizeof(Float)),
                                                          layout.offsets.count + static_cast<int>(sizeof(ub4)))) +
                   random.below(4);
    call.record = layout;
  }
  const auto sum_at = [&](ub4 group) { return group * layout.bytes + static_cast<std::size_t>(layout.offsets.sum); };
  const auto count_at = [&](ub4 group) {
    return group * layout.bytes + static_cast<std::size_t>(layout.offsets.count);
  };

  for (std::size_t byte = 0; byte < groups * layout.bytes; ++byte)
    call.before.push_back(static_cast<ub1>(random.next()));
  for (ub4 group = 0; group < groups; ++group) {
    write(call.before, sum_at(group), random.chance(20) ? -Float{0} : choose_number<Float>(random));
    if (layout.has_count() && random.chance(30)) write(call.before, count_at(group), 0xffffffff);
  }

  call.after = call.before;
  if (has_keys) {
    for (ub4 row = 0; row < rows; ++row) {
      const ub4 key = (*call.keys)[row];
      const auto sum = read<Float>(call.after, sum_at(key));
      write(call.after, sum_at(key), sum_from<Float>(sum, {has_records ? raw[row] : numbers[row]}));
      if (layout.has_count()) write(call.after, count_at(key), read<ub4>(call.after, count_at(key)) + 1);
    }
  } else {
    const auto total = sum_from<Float>(0, numbers);
    const auto sum = read<Float>(call.after, sum_at(0));
    write(call.after, sum_at(0), has_records ? total : sum_from<Float>(sum, {total}));
    if (layout.has_count()) write(call.after, count_at(0), rows);
  }
  return call;
}

TEST(GroupSumTest, FloatsAndDoubles) {
  Random random;
  for (const ub4 rows : {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 33, 64, 100, 1000})
    for (const bool native : {false, true})
      for (const bool has_keys : {false, true})
        for (const bool has_records : {false, true})
          for (int repeat = 0; repeat < 6; ++repeat) {
            expect_sums(choose_float_sum<double>(rows, native, has_keys, has_records, random), random);
            if (has_records) expect_sums(choose_float_sum<float>(rows, native, has_keys, true, random), random);
          }
}

// Zeros keep their signs through the stored form, where there is a sum to show it.
TEST(GroupSumTest, NegativeZeroStaysNegative) {
  Random random;
  for (const bool native : {false, true}) {
    SumCall call;
    call.num_type = MIPO_NUM_DOUBLE;
    call.native = native;
    call.rows = 3;
    call.keys = std::vector<ub4>{0, 1, 1};
    for (const double number : {-0.0, -0.0, 0.0}) {
      const Bytes bytes = stored(number, native);
      call.values.insert(call.values.end(), bytes.begin(), bytes.end());
    }
    call.before = call.after = Bytes(2 * sizeof(double));
    for (const std::size_t at : {std::size_t{0}, sizeof(double)}) write(call.before, at, -0.0);
    write(call.after, 0, -0.0);
    write(call.after, sizeof(double), 0.0);
    expect_sums(call, random);
  }
}

SumCall choose_integer_sum(unsigned bits, ub4 rows, bool has_keys, int kind, Random &random) {
  SumCall call;
  call.num_type = MIPO_NUM_INTEGER;
  call.bits = bits;
  call.native = random.chance(50);
  call.big_endian = random.chance(50);
  call.rows = rows;
  constexpr ub4 groups = 9;
  if (has_keys) call.keys = choose_keys(rows, groups, random);
  for (std::size_t byte = 0; byte < groups * sizeof(ub8); ++byte)
    call.before.push_back(static_cast<ub1>(random.next()));
  call.after = call.before;
  const ub8 least = ub8{1} << (bits - 1);
  for (ub4 row = 0; row < rows; ++row) {
    const ub8 number = kind == 0 ? random.next() : kind == 1 ? least : kind == 2 ? least - 1 : ub8{row} + 1;
    const std::size_t at = call.values.size();
    for (unsigned byte = 0; byte < bits / 8; ++byte)
      call.values.push_back(static_cast<ub1>(number >> 8 * (call.big_endian ? bits / 8 - 1 - byte : byte)));
    const std::size_t sum_at = has_keys ? (*call.keys)[row] * sizeof(ub8) : 0;
    const auto value = static_cast<ub8>(decoded_integer(&call.values[at], bits / 8, call.big_endian));
    write(call.after, sum_at, read<ub8>(call.after, sum_at) + value);
  }
  return call;
}

TEST(GroupSumTest, Integers) {
  Random random;
  for (const unsigned bits : {8, 16, 32, 64})
    for (const ub4 rows :
         {0, 1, 2, 3, 4, 7, 8, 9, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 128, 129, 255, 256, 257, 1000})
      for (const bool has_keys : {false, true})
        for (int kind = 0; kind < 4; ++kind)
          for (int repeat = 0; repeat < 2; ++repeat) {
            expect_sums(choose_integer_sum(bits, rows, has_keys, kind, random), random);
          }
}

// So many extremes that a sum in lanes wraps, unless it is widened in time.
TEST(GroupSumTest, LongTotalsDoNotWrap) {
  Random random;
  for (const unsigned bits : {8, 16, 32})
    for (const int kind : {1, 2})
      for (const ub4 rows : {5000, 600000}) {
        if (rows > 5000 && bits == 32) continue;
        expect_sums(choose_integer_sum(bits, rows, false, kind, random), random);
      }
}

// Nothing is read of the values, nothing written.
TEST(GroupSumTest, WhatIsNotServedIsRefused) {
  Random random;
  GuardedBuffer nowhere(0);
  enum class Accumulators { without_context, plain, records, records_without_offsets };
  for (const Level &level : levels())
    for (const auto accumulators : {Accumulators::without_context, Accumulators::plain, Accumulators::records,
                                    Accumulators::records_without_offsets})
      for (const unsigned num_type : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 255})
        for (const ub4 bits : {0, 1, 8, 12, 16, 24, 32, 64, 65, 128, 264})
          for (const bool has_keys : {false, true}) {
            const bool has_records = accumulators >= Accumulators::records;
            const bool is_served = accumulators == Accumulators::records ? num_type == 1 || num_type == 2
                                   : has_records                         ? false
                                   : num_type == MIPO_NUM_INTEGER ? bits == 8 || bits == 16 || bits == 32 || bits == 64
                                                                  : num_type == MIPO_NUM_DOUBLE;
            if (is_served) continue;
            mipo_vec vecs[2];
            mipo_enc_ctx encs[2];
            fill_with_noise(random, vecs, encs);
            for (mipo_vec &vec : vecs) {
              vec.data = nowhere.data();
              if (random.chance(20)) vec.nrows = 0;
            }
            vecs[0].enc_ctx = accumulators == Accumulators::without_context ? nullptr : &encs[0];
            vecs[1].enc_ctx = &encs[1];
            encs[0].flags &= ~ub4{MIPO_ACC_RECORD};
            if (has_records) encs[0].flags |= MIPO_ACC_RECORD;
            encs[1].num_type = static_cast<ub1>(num_type);
            encs[1].bits = bits;
            mipo_group_sum_options options;
            fill_with_noise(random, options);
            const ub4 *keys = reinterpret_cast<const ub4 *>(nowhere.data());
            const mipo_group_sum_offsets offsets = {0, 8};
            const std::string what = running("type " + std::to_string(num_type) + " of " + std::to_string(bits) +
                                             " bits, accumulators " + std::to_string(static_cast<int>(accumulators)) +
                                             (has_keys ? ", keys" : "") + " at level " + level.name);
            mipo_vec before[2];
            std::memcpy(before, vecs, sizeof vecs);
            ASSERT_EQ(level.record->mipo_gby_sum_dydi(&vecs[0], &vecs[1], has_keys ? &keys : nullptr, &options,
                                                      accumulators == Accumulators::records_without_offsets ? nullptr
                                                                                                            : &offsets),
                      24u)
                << what;
            ASSERT_TRUE(same(vecs, before)) << what;
          }
}

} // namespace
