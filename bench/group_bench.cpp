// Grouping: sums of 256 groups against the scalar loop that a host would write, in the second-level cache; totals of
// integers against a plain read of the same bytes, from memory; keys of two columns against a loop that takes row after
// row. After the table, what a row of a grouped sum costs in cycles of the time stamp counter.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <immintrin.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "data.h"
#include "harness.h"
#include "predicate_by_hand.h"

namespace mipo::bench {
namespace {

constexpr ub4 rows = 32 << 10, groups = 256;
constexpr std::size_t memory_bytes = 512 << 20;

// A column of numbers, a key for each row, and room for the sums.
struct SumOperands {
  Pages values{rows * 8}, keys{rows * 4}, sums{groups * 16};
  mipo_enc_ctx encoding{}, acc_encoding{};
  mipo_vec source{}, acc{};
  mipo_group_sum_options options{};
  mipo_group_sum_offsets offsets{0, 8};

  SumOperands(mipo_num_type num_type, int bits, ub4 flags, bool big_endian, bool records) {
    fill_random(keys.bytes(), keys.size(), 2);
    for (ub4 row = 0; row < rows; ++row) key_of_row()[row] %= groups;
    fill_random(values.bytes(), values.size());
    // Numbers between 1 and 2: whatever the order of their bytes, they are no subnormal ones.
    if (num_type == MIPO_NUM_DOUBLE)
      for (ub4 row = 0; row < rows; ++row) {
        const ub8 number = values.words()[row] >> 12 | ub8{0x3ff} << 52;
        values.words()[row] = (flags & MIPO_NATIVE) != 0 ? number : __builtin_bswap64(number | ub8{1} << 63);
      }
    encoding.num_type = static_cast<ub1>(num_type);
    encoding.bits = static_cast<ub4>(bits);
    encoding.flags = flags;
    source.data = values.bytes();
    source.enc_ctx = &encoding;
    source.nrows = rows;
    acc.data = sums.bytes();
    acc.enc_ctx = &acc_encoding;
    if (records) acc_encoding.flags = MIPO_ACC_RECORD;
    acc_encoding.bits = 16 * 8;
    if (big_endian) options.flags = MIPO_GROUP_SUM_BIG_ENDIAN;
  }
  SumOperands(const SumOperands &) = delete;

  ub4 *key_of_row() const { return reinterpret_cast<ub4 *>(keys.bytes()); }
  ub4 call() {
    const ub4 *first_key = key_of_row();
    return record().mipo_gby_sum_dydi(&acc, &source, &first_key, &options, &offsets);
  }
};

template <class Value, class Sum, bool big_endian>
[[gnu::noinline]] void sum_by_hand(const Value *values, const ub4 *keys, Sum *sums) {
  for (ub4 row = 0; row < rows; ++row) {
    Value value = values[row];
    if constexpr (big_endian && sizeof value > 1) {
      using Bits = std::conditional_t<sizeof value == 2, ub2, std::conditional_t<sizeof value == 4, ub4, ub8>>;
      Bits bits;
      memcpy(&bits, &value, sizeof bits);
      bits = sizeof bits == 2   ? static_cast<Bits>(__builtin_bswap16(static_cast<ub2>(bits)))
             : sizeof bits == 4 ? static_cast<Bits>(__builtin_bswap32(static_cast<ub4>(bits)))
                                : static_cast<Bits>(__builtin_bswap64(bits));
      memcpy(&value, &bits, sizeof bits);
    }
    sums[keys[row]] += static_cast<Sum>(value);
  }
}

[[gnu::noinline]] void sum_sortable_by_hand(const ub8 *values, const ub4 *keys, double *sums) {
  for (ub4 row = 0; row < rows; ++row) {
    const ub8 stored = __builtin_bswap64(values[row]);
    sums[keys[row]] += std::bit_cast<double>(stored >> 63 != 0 ? stored ^ ub8{1} << 63 : ~stored);
  }
}

struct SumAndCount {
  double sum;
  ub4 count;
};

[[gnu::noinline]] void sum_and_count_by_hand(const double *values, const ub4 *keys, SumAndCount *records) {
  for (ub4 row = 0; row < rows; ++row) {
    records[keys[row]].sum += values[row];
    ++records[keys[row]].count;
  }
}

// The grouped sums measured, to be told in cycles as well.
struct GroupedSum {
  std::string name;
  std::function<void()> kernel, by_hand;
};

void add_grouped_sum(std::vector<GroupedSum> &sums, const std::string &form,
                     const std::shared_ptr<SumOperands> &operands, double bytes, std::function<void()> by_hand) {
  const std::function<void()> kernel = [=] { benchmark::DoNotOptimize(operands->call()); };
  declare_limit({form + " by hand", double(rows), bytes, by_hand});
  measure({"grouped sum, " + form, double(rows), bytes, kernel}, {form + " by hand", 1 / 1.3});
  sums.push_back({form, kernel, std::move(by_hand)});
}

template <class Value, bool big_endian>
void add_integers(std::vector<GroupedSum> &sums) {
  constexpr int bits = 8 * sizeof(Value);
  const auto operands = std::make_shared<SumOperands>(MIPO_NUM_INTEGER, bits, 0, big_endian, false);
  add_grouped_sum(sums,
                  fmt::format("{} bits{}", bits,
                              bits == 8    ? ""
                              : big_endian ? ", big-endian"
                                           : ", native"),
                  operands, rows * (sizeof(ub4) + sizeof(Value)), [=] {
                    sum_by_hand<Value, ub8, big_endian>(reinterpret_cast<const Value *>(operands->values.bytes()),
                                                        operands->key_of_row(),
                                                        reinterpret_cast<ub8 *>(operands->sums.bytes()));
                  });
}

void add_doubles(std::vector<GroupedSum> &sums) {
  constexpr double bytes = rows * (sizeof(ub4) + sizeof(double));
  const auto native = std::make_shared<SumOperands>(MIPO_NUM_DOUBLE, 64, MIPO_NATIVE, false, false);
  add_grouped_sum(sums, "native doubles", native, bytes, [=] {
    sum_by_hand<double, double, false>(reinterpret_cast<const double *>(native->values.bytes()), native->key_of_row(),
                                       reinterpret_cast<double *>(native->sums.bytes()));
  });
  const auto sortable = std::make_shared<SumOperands>(MIPO_NUM_DOUBLE, 64, 0, false, false);
  add_grouped_sum(sums, "sortable doubles", sortable, bytes, [=] {
    sum_sortable_by_hand(sortable->values.words(), sortable->key_of_row(),
                         reinterpret_cast<double *>(sortable->sums.bytes()));
  });
  const auto records = std::make_shared<SumOperands>(MIPO_NUM_DOUBLE, 64, MIPO_NATIVE, false, true);
  add_grouped_sum(sums, "doubles and row counts in records", records, bytes, [=] {
    sum_and_count_by_hand(reinterpret_cast<const double *>(records->values.bytes()), records->key_of_row(),
                          reinterpret_cast<SumAndCount *>(records->sums.bytes()));
  });
}

void tell_cycles(const std::vector<GroupedSum> &sums) {
  constexpr int runs = 200;
  const auto cycles_a_row = [](const std::function<void()> &run) {
    ub8 least = ~ub8{0};
    for (int i = 0; i < runs; ++i) {
      const ub8 start = __rdtsc();
      run();
      least = std::min<ub8>(least, __rdtsc() - start);
    }
    return double(least) / rows;
  };
  fmt::print("{:<42} {:>9} {:>8}\n", "Cycles a row, the least of 200 runs", "kernel", "by hand");
  for (const GroupedSum &sum : sums)
    fmt::print("grouped sum, {:<29} {:>9.2f} {:>8.2f}\n", sum.name, cycles_a_row(sum.kernel),
               cycles_a_row(sum.by_hand));
}

void measure_total(const std::shared_ptr<Pages> &stream, int bits, bool big_endian) {
  struct Total {
    mipo_enc_ctx encoding{};
    mipo_vec source{}, acc{};
    mipo_group_sum_options options{};
    sb8 sum = 0;
  };
  const auto total = std::make_shared<Total>();
  total->encoding.num_type = MIPO_NUM_INTEGER;
  total->encoding.bits = static_cast<ub4>(bits);
  total->source.data = stream->bytes();
  total->source.enc_ctx = &total->encoding;
  total->source.nrows = static_cast<ub4>(memory_bytes / static_cast<std::size_t>(bits / 8));
  total->acc.data = &total->sum;
  if (big_endian) total->options.flags = MIPO_GROUP_SUM_BIG_ENDIAN;

  const double total_rows = total->source.nrows, bytes = double(memory_bytes);
  const std::string read = fmt::format("read of {} MiB", memory_bytes >> 20);
  declare_limit(
      {read, total_rows, bytes, [=] { benchmark::DoNotOptimize(read_by_hand(stream->bytes(), memory_bytes)); }});
  measure({fmt::format("total, {} bits{}", bits,
                       bits == 8    ? ""
                       : big_endian ? ", big-endian"
                                    : ", native"),
           total_rows, bytes,
           [=] {
             benchmark::DoNotOptimize(stream->bytes());
             benchmark::DoNotOptimize(
                 record().mipo_gby_sum_dydi(&total->acc, &total->source, nullptr, &total->options, nullptr));
           }},
          {read, 0.85});
}

// Two columns of packed codes, and room for their keys.
struct KeyOperands {
  Pages streams[2] = {Pages(rows * 4), Pages(rows * 4)}, keys{rows * 4}, codes{rows * 4};
  mipo_enc_ctx encodings[2] = {};
  mipo_vec columns[2] = {}, out{}, temp{};
  mipo_host_ctx host{};
  mipo_call_ctx ctx{};
  mipo_group_range range{};
  ub1 scratch[64];

  KeyOperands(int first_bits, int second_bits, bool multiply) {
    const int bits[] = {first_bits, second_bits};
    for (int i = 0; i < 2; ++i) {
      fill_random(streams[i].bytes(), streams[i].size(), ub8(i + 1));
      encodings[i].flags = MIPO_PACKED;
      encodings[i].bits = static_cast<ub4>(bits[i]);
      encodings[i].sym_count = ub4{1} << bits[i];
      encodings[i].decode_form = static_cast<ub1>(4 * mipo_convert_width(bits[i]) + 1);
      columns[i].data = streams[i].bytes();
      columns[i].enc_ctx = &encodings[i];
      columns[i].nrows = rows;
    }
    out.data = keys.bytes();
    out.nrows = rows;
    temp.data = codes.bytes();
    temp.nrows = 4096;
    host.env = this;
    host.temp_alloc = [](void *env, ub4, const char *, ub4, ub4, void **) -> void * {
      return static_cast<KeyOperands *>(env)->scratch;
    };
    host.temp_free = [](void *, void *, void *) {};
    ctx.host = &host;
    if (multiply) ctx.eval_flags = MIPO_EVAL_MULTIPLY_KEYS;
  }
  KeyOperands(const KeyOperands &) = delete;

  ub4 call() {
    ctx.next_row = 0;
    return record().mipo_groupkey_dydi(&out, &range, columns, 2, &temp, &ctx);
  }
};

ub4 code_by_hand(const ub1 *stream, ub4 row, int bits) {
  const ub8 position = ub8{row} * static_cast<ub4>(bits);
  ub8 window;
  memcpy(&window, stream + position / 8, sizeof window);
  return static_cast<ub4>(__builtin_bswap64(window) << position % 8 >> (64 - bits));
}

[[gnu::noinline]] void keys_by_hand(const ub1 *first, int first_bits, const ub1 *second, int second_bits, ub4 *keys) {
  for (ub4 row = 0; row < rows - 8; ++row)
    keys[row] = (code_by_hand(first, row, first_bits) << second_bits) + code_by_hand(second, row, second_bits);
}

void measure_keys(int first_bits, int second_bits) {
  const double bytes = rows * (first_bits + second_bits) / 8.0;
  const std::string by_hand = fmt::format("keys of {} and {} bits by hand", first_bits, second_bits);
  const auto shifted = std::make_shared<KeyOperands>(first_bits, second_bits, false);
  declare_limit({by_hand, double(rows), bytes, [=] {
                   keys_by_hand(shifted->streams[0].bytes(), first_bits, shifted->streams[1].bytes(), second_bits,
                                reinterpret_cast<ub4 *>(shifted->keys.bytes()));
                   benchmark::ClobberMemory();
                 }});
  const auto multiplied = std::make_shared<KeyOperands>(first_bits, second_bits, true);
  for (const auto &[packing, operands] : {std::pair("shifted", shifted), std::pair("multiplied", multiplied)})
    measure({fmt::format("keys of {} and {} bits, {}", first_bits, second_bits, packing), double(rows), bytes,
             [operands = operands] { benchmark::DoNotOptimize(operands->call()); }},
            {by_hand, 0});
}

} // namespace
} // namespace mipo::bench

int main(int argc, char **argv) {
  using namespace mipo::bench;
  std::vector<GroupedSum> sums;
  add_integers<int8_t, false>(sums);
  add_integers<int16_t, false>(sums);
  add_integers<int16_t, true>(sums);
  add_integers<int32_t, false>(sums);
  add_integers<int32_t, true>(sums);
  add_integers<sb8, false>(sums);
  add_integers<sb8, true>(sums);
  add_doubles(sums);
  const auto stream = std::make_shared<Pages>(memory_bytes + 64);
  fill_random(stream->bytes(), memory_bytes);
  for (const int bits : {8, 16, 32, 64})
    for (const bool big_endian : {false, true})
      if (bits > 8 || !big_endian) measure_total(stream, bits, big_endian);
  measure_keys(8, 8);
  measure_keys(5, 11);
  measure_keys(12, 16);
  const int code = run(argc, argv, "Group keys and group sums");
  if (std::none_of(argv, argv + argc, [](const char *argument) { return std::string(argument) == "--csv"; }))
    tell_cycles(sums);
  return code;
}
