// Predicates: every built one, from the second-level cache against a loop written for that one case, from memory
// against a plain read of the same bytes, and over the number of rows.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>

#include "data.h"
#include "frame/kernel_lists.h"
#include "harness.h"
#include "predicate_by_hand.h"

namespace mipo::bench {
namespace {

constexpr std::size_t cache_bytes = 512 << 10; // half of the second-level cache
constexpr std::size_t memory_bytes = 512 << 20;

// Constants in the middle of the codes' range, so that about half of the rows qualify.
constexpr ub8 low_constant(int width) {
  return width == 1 ? 0 : ub8{1} << (width - 2);
}
constexpr ub8 high_constant(int width) {
  return width == 1 ? 1 : ub8{3} << (width - 2);
}

struct Columns {
  Pages codes;
  Pages bits;
  explicit Columns(std::size_t bytes) : codes(bytes), bits(bytes / 8 + 64) { fill_random(codes.bytes(), bytes); }
};

Columns &columns(std::size_t bytes) {
  static std::map<std::size_t, Columns> all;
  return all.try_emplace(bytes, bytes).first->second;
}

void measure_kernel(const std::string &name, ub4 key, int width, std::size_t bytes, Limit limit) {
  Columns &column = columns(bytes);
  const ub4 rows = static_cast<ub4>(bytes * 8 / static_cast<unsigned>(width));
  auto operands = std::make_shared<Operands>(column.codes.bytes(), width, rows, column.bits.words(),
                                             low_constant(width), high_constant(width));
  measure({name, double(rows), double(bytes), [=] { benchmark::DoNotOptimize(call_predicate(key, *operands)); }},
          std::move(limit));
}

template <int width, int operation>
std::string limit_by_hand(const char *operation_name, std::size_t bytes) {
  Columns &column = columns(bytes);
  const ub8 rows = bytes * 8 / width;
  const std::string name = fmt::format("{} {}bit by hand, {} rows", operation_name, width, rows);
  declare_limit({name, double(rows), double(bytes), [=, &column] {
                   benchmark::DoNotOptimize(scan_by_hand<width, operation>(
                       column.codes.bytes(), rows, low_constant(width), high_constant(width), column.bits.words()));
                 }});
  return name;
}

std::string limit_of_reading(std::size_t bytes) {
  Columns &column = columns(bytes);
  const std::string name = fmt::format("read of {} KiB", bytes >> 10);
  declare_limit({name, double(bytes), double(bytes),
                 [=, &column] { benchmark::DoNotOptimize(read_by_hand(column.codes.bytes(), bytes)); }});
  return name;
}

template <int width, int operation>
void measure_predicate(const char *kernel, const char *operation_name, ub4 key) {
  measure_kernel(fmt::format("{} (cache)", kernel), key, width, cache_bytes,
                 {limit_by_hand<width, operation>(operation_name, cache_bytes), 0.85});
  measure_kernel(fmt::format("{} (memory)", kernel), key, width, memory_bytes,
                 {limit_of_reading(memory_bytes), width == 8 ? 0.7 : 0.85});
}

// The cost of a row must not depend on how many there are: at each size the kernel is held against the loop by hand of
// the same size, which feels the same caches.
template <int width>
void measure_row_counts() {
  for (const ub4 rows : {10000, 100000, 1000000, 10000000}) {
    const std::size_t bytes = rows / 64 * 64 * std::size_t{width} / 8;
    measure_kernel(fmt::format("mipo_ge_le_dict_{}bit, {} rows", width, rows),
                   column_key(MIPO_OP_GE_LE, MIPO_FAMILY_DICT, width), width, bytes,
                   {limit_by_hand<width, MIPO_OP_GE_LE>("ge_le", bytes), 0.9});
  }
}

// Packed and null-aware kernels are held against the byte-aligned one, or the plain twin, on the same number of rows.
void measure_against_kernel(const char *kernel, ub4 key, int width, const char *other, ub4 other_key, int other_width,
                            double at_least) {
  static constexpr ub4 rows = 128 << 10; // 512 KiB at 32 bits
  const auto call = [](ub4 kernel_key, int bits, std::size_t bytes) {
    Columns &column = columns(bytes);
    auto operands = std::make_shared<Operands>(column.codes.bytes(), bits, rows, column.bits.words(),
                                               low_constant(bits), high_constant(bits));
    return [=] { benchmark::DoNotOptimize(call_predicate(kernel_key, *operands)); };
  };
  // The widest of the two decides on the buffer, so that both write the same result words.
  const auto bytes_of = [](int bits) { return std::size_t{rows} * static_cast<unsigned>(bits) / 8; };
  const std::size_t buffer = bytes_of(std::max({width, other_width, 8})) + 64;
  const std::string limit = fmt::format("{} ({} rows)", other, rows);
  declare_limit({limit, double(rows), double(bytes_of(other_width)), call(other_key, other_width, buffer)});
  measure({fmt::format("{} (cache)", kernel), double(rows), double(bytes_of(width)), call(key, width, buffer)},
          {limit, at_least});
}

// The byte-aligned width that a packed one is compared with, and the ratio that its unpacking may cost.
constexpr int lane_width(int width) {
  return 8 % width == 0 || width < 8 ? 8 : width <= 10 || width == 12 ? 16 : 32;
}

constexpr double wanted_of_packed(int width, bool two_sided, bool is_eq) {
  if (width == 2 || width == 4) return 0.6;
  if (width < 8) return 0.4;
  if (lane_width(width) == 16) return is_eq ? 0.5 : two_sided ? 0.65 : 0;
  return 0.65;
}

} // namespace
} // namespace mipo::bench

int main(int argc, char **argv) {
  using namespace mipo::bench;
#define MEASURE(operation, OPERATION, sides, half, family, FAMILY, width, suffix, VARIANT, ...) \
  measure_predicate<width, MIPO_OP_##OPERATION>(                                                \
      "mipo_" #operation "_" #family "_" #width "bit" #suffix, #operation,                      \
      mipo::column_key(MIPO_OP_##OPERATION, MIPO_FAMILY_##FAMILY, width, MIPO_VARIANT_##VARIANT));
  DICT_BYTE_ALIGNED_PREDICATES(MEASURE, )
#undef MEASURE
#define MEASURE(operation, OPERATION, sides, half, family, FAMILY, width, suffix, VARIANT, ...)                        \
  if (MIPO_VARIANT_##VARIANT == MIPO_VARIANT_PLAIN)                                                                    \
    measure_against_kernel(                                                                                            \
        "mipo_" #operation "_" #family "_" #width "bit" #suffix,                                                       \
        mipo::column_key(MIPO_OP_##OPERATION, MIPO_FAMILY_##FAMILY, width), width,                                     \
        fmt::format("mipo_" #operation "_dict_{}bit", lane_width(width)).c_str(),                                      \
        mipo::column_key(MIPO_OP_##OPERATION, MIPO_FAMILY_DICT, lane_width(width)), lane_width(width),                 \
        wanted_of_packed(width, MIPO_OP_##OPERATION >= MIPO_OP_GT_LT, MIPO_OP_##OPERATION == MIPO_OP_EQ));             \
  else                                                                                                                 \
    measure_against_kernel("mipo_" #operation "_" #family "_" #width "bit" #suffix,                                    \
                           mipo::column_key(MIPO_OP_##OPERATION, MIPO_FAMILY_##FAMILY, width, MIPO_VARIANT_##VARIANT), \
                           width, "mipo_" #operation "_" #family "_" #width "bit",                                     \
                           mipo::column_key(MIPO_OP_##OPERATION, MIPO_FAMILY_##FAMILY, width), width, 0.8);
  DICT_PACKED_PREDICATES(MEASURE, )
  DICT_BYTE_ALIGNED_NULL_PREDICATES(MEASURE, )
#undef MEASURE
#define MEASURE(operation, OPERATION, sides, half, family, FAMILY, width, suffix, VARIANT, ...)             \
  measure_kernel("mipo_" #operation "_" #family "_1bit" #suffix " (cache)",                                 \
                 mipo::column_key(MIPO_OP_##OPERATION, MIPO_FAMILY_##FAMILY, 1, MIPO_VARIANT_##VARIANT), 1, \
                 cache_bytes, {limit_of_reading(cache_bytes), 0.7});
  DICT_ONE_BIT_PREDICATES(MEASURE, )
#undef MEASURE
  measure_row_counts<8>();
  measure_row_counts<16>();
  measure_row_counts<32>();
  measure_row_counts<64>();
  return run(argc, argv, "Predicates");
}
