// Predicates: every built one, from the second-level cache against a loop written for that one case, from memory
// against a plain read of the same bytes, and over the number of rows.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

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
  return ub8{1} << (width - 2);
}
constexpr ub8 high_constant(int width) {
  return ub8{3} << (width - 2);
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
  const std::string name = fmt::format("read of {} MiB", bytes >> 20);
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
  measure_row_counts<8>();
  measure_row_counts<16>();
  measure_row_counts<32>();
  measure_row_counts<64>();
  return run(argc, argv, "Predicates on byte-aligned codes");
}
