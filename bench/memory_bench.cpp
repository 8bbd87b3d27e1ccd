// Predicates on 512 MiB of stream. A row should take little more than the longer of two times: reading its bytes, and
// the same kernel's time in cache. The cheapest and the dearest operation of each width.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <string>

#include "data.h"
#include "frame/kernel_lists.h"
#include "harness.h"
#include "predicate_by_hand.h"

namespace mipo::bench {
namespace {

constexpr std::size_t memory_bytes = 512 << 20, cache_bytes = 512 << 10;
constexpr double wanted = 1 / 1.25;

// The streams of all columns: values, and control bytes that all say 0x11 (two bytes, or one where a field has one
// bit).
struct Stream {
  Pages values{memory_bytes + 64}, fields{memory_bytes / 4 + 64}, bits{memory_bytes + 64};
  Stream() {
    fill_random(values.bytes(), memory_bytes);
    memset(fields.bytes(), 0x11, fields.size());
  }
};

Stream &stream() {
  static Stream all;
  return all;
}

// A kernel on the first `bytes` bytes of the stream, `repeats` times.
Measurement kernel_on(std::string name, ub4 key, int width, double bytes_per_row, std::size_t bytes, int repeats) {
  // A bit vector has at most 2^32 - 1 rows.
  const auto rows = static_cast<ub4>(std::min<double>(double(bytes) / bytes_per_row, 4e9)) / 64 * 64;
  auto operands = std::make_shared<Operands>(stream().values.bytes(), static_cast<unsigned>(width), rows,
                                             stream().bits.words(), 1, 3);
  operands->source.lens = stream().fields.bytes();
  operands->low.enc_ctx = operands->high.enc_ctx = &operands->encoding;
  operands->low.lens = operands->high.lens = &operands->low_value; // a count or length code of 1
  return {std::move(name), double(rows) * repeats, double(rows) * bytes_per_row * repeats, [=] {
            for (int i = 0; i < repeats; ++i) benchmark::DoNotOptimize(call_predicate(key, *operands));
          }};
}

void measure_from_memory(const char *kernel, ub4 key, int width, bool dynamic_packed) {
  // By control bytes 0x11: ten bytes for eight rows of 16 bits, six for four of 32, four for two of 64.
  const double bytes_per_row = !dynamic_packed ? width / 8.0 : width == 16 ? 1.25 : width == 32 ? 1.5 : 2;
  const Measurement whole = kernel_on(kernel, key, width, bytes_per_row, memory_bytes, 1);
  const auto used = static_cast<std::size_t>(whole.bytes);
  const std::string read = fmt::format("read of {} MiB", used >> 20);
  declare_limit(
      {read, whole.rows, whole.bytes, [=] { benchmark::DoNotOptimize(read_by_hand(stream().values.bytes(), used)); }});
  const std::string cached = fmt::format("{} in cache", kernel);
  Measurement in_cache = kernel_on(cached, key, width, bytes_per_row, cache_bytes, 1);
  const int repeats = static_cast<int>(whole.rows / in_cache.rows);
  declare_limit(kernel_on(cached, key, width, bytes_per_row, cache_bytes, repeats));
  measure(whole, {read, wanted, cached});
}

} // namespace
} // namespace mipo::bench

int main(int argc, char **argv) {
  using namespace mipo::bench;
#define MEASURE(operation, OPERATION, sides, half, family, FAMILY, width, suffix, VARIANT, ...)                     \
  if (MIPO_OP_##OPERATION == MIPO_OP_EQ || MIPO_OP_##OPERATION == MIPO_OP_GE_LE)                                    \
    measure_from_memory("mipo_" #operation "_" #family "_" #width "bit" #suffix,                                    \
                        mipo::column_key(MIPO_OP_##OPERATION, MIPO_FAMILY_##FAMILY, width, MIPO_VARIANT_##VARIANT), \
                        width, MIPO_FAMILY_##FAMILY == MIPO_FAMILY_DYNP);
  DICT_BYTE_ALIGNED_PREDICATES(MEASURE, )
  DICT_ONE_BIT_PREDICATES(MEASURE, )
  DICT_PACKED_PREDICATES(MEASURE, )
  FIXED_PREDICATES(MEASURE, )
  TRAILING_ZERO_PREDICATES(MEASURE, )
  DYNP_PREDICATES(MEASURE, )
#undef MEASURE
  return run(argc, argv, "Predicates from memory");
}
