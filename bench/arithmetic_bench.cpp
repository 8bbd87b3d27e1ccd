// Column arithmetic and type conversion against a copy that moves as many bytes, integer totals against a read of the
// same bytes: from memory, with streams of 256 MiB; arithmetic in the second-level cache too. Sums of floating-point
// numbers keep their order and wait for each addition; they run in the second-level cache, against a loop that adds
// native numbers and does nothing else.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include "data.h"
#include "frame/kernel_lists.h"
#include "harness.h"
#include "predicate_by_hand.h"

namespace mipo::bench {
namespace {

constexpr std::size_t memory_bytes = 256 << 20, cache_bytes = 256 << 10;
constexpr double wanted = 0.85;

// Two operands and room for a result. Each byte is 0x3f or 0xbf: numbers between 0.1 and 10 in every form and width,
// so that none is subnormal, nor a product of two. Streams that lie a multiple of a large page apart get into each
// other's way in memory, which is not what is measured here.
struct Streams {
  static constexpr std::size_t apart = memory_bytes + 13 * 4096;
  Pages memory{3 * apart};
  ub1 *const left = memory.bytes(), *const right = left + apart, *const result = right + apart;

  Streams() {
    fill_random(left, 2 * apart);
    for (ub8 *word = memory.words(); word < memory.words() + 2 * apart / sizeof(ub8); ++word)
      *word = (*word & 0x8080808080808080) | 0x3f3f3f3f3f3f3f3f;
  }
};

const Streams &streams() {
  static const Streams all;
  return all;
}

// The vectors of a call, on the streams' first `bytes` bytes.
struct Call {
  mipo_enc_ctx encoding{};
  mipo_vec left{}, right{}, result{};
  mipo_call_ctx ctx{};
  ub8 cell = 0;

  Call(std::size_t bytes, int bits) {
    encoding.bits = static_cast<ub4>(bits);
    left.data = streams().left;
    right.data = streams().right;
    result.data = streams().result;
    left.enc_ctx = right.enc_ctx = &encoding;
    left.nrows = right.nrows = static_cast<ub4>(bytes / (static_cast<std::size_t>(bits) / 8));
  }
  Call(const Call &) = delete;
};

// A copy that reads and writes `moved` bytes in all.
std::string copy_limit(std::size_t moved) {
  const std::size_t bytes = moved / 2;
  const std::string name =
      bytes < 1 << 20 ? fmt::format("copy of {} KiB", bytes >> 10) : fmt::format("copy of {} MiB", bytes >> 20);
  const auto copy = [=] {
    // In two pieces where one is longer than a stream.
    const std::size_t second = bytes > memory_bytes ? bytes - memory_bytes : 0;
    std::memcpy(streams().result, streams().left, bytes - second);
    std::memcpy(streams().result, streams().right, second);
  };
  declare_limit({name, double(bytes) / sizeof(ub8), double(moved), copy});
  return name;
}

void measure_arithmetic(const char *name, ub4 key, int bits, std::size_t bytes) {
  const auto call = std::make_shared<Call>(bytes, bits);
  const std::size_t moved = 3 * bytes; // two operands and the result
  const bool all_native = (key >> 7 & 12) == 0, in_cache = bytes == cache_bytes;
  measure({fmt::format("{}{}", name, in_cache ? ", in cache" : ""), double(call->left.nrows), double(moved),
           [=] {
             benchmark::DoNotOptimize(
                 record().dispatch_table[key].arithmetic(&call->result, &call->left, &call->right, nullptr));
           }},
          {copy_limit(moved), in_cache && !all_native ? 0.75 : wanted});
}

template <class Float>
[[gnu::noinline]] Float sum_by_hand(const ub1 *numbers, ub4 rows) {
  Float sum = 0;
  for (ub4 row = 0; row < rows; ++row) {
    Float number;
    std::memcpy(&number, numbers + row * sizeof number, sizeof number);
    sum += number;
  }
  return sum;
}

template <class Float>
void measure_arithmetic_sum(const char *name, ub4 key) {
  const auto call = std::make_shared<Call>(cache_bytes, 8 * sizeof(Float));
  call->result.data = &call->cell;
  const ub4 rows = call->left.nrows;
  const std::string limit = fmt::format("sum of {} by hand", sizeof(Float) == 4 ? "floats" : "doubles");
  declare_limit({limit, double(rows), double(cache_bytes),
                 [=] { benchmark::DoNotOptimize(sum_by_hand<Float>(streams().left, rows)); }});
  measure({name, double(rows), 2.0 * cache_bytes,
           [=] {
             benchmark::DoNotOptimize(
                 record().dispatch_table[key].arithmetic(&call->result, &call->left, &call->right, nullptr));
           }},
          {limit, wanted});
}

void measure_conversion(mipo_num_type type, int bits, bool to_native) {
  const auto call = std::make_shared<Call>(memory_bytes, bits);
  call->encoding.num_type = static_cast<ub1>(type);
  if (!to_native) call->encoding.flags = MIPO_NATIVE;
  constexpr std::size_t moved = 2 * memory_bytes;
  measure({fmt::format("conversion, type {}, {} bits {}", int{type}, bits, to_native ? "to native" : "to stored"),
           double(call->left.nrows), double(moved),
           [=] { benchmark::DoNotOptimize(record().mipo_convert_dydi(&call->result, &call->left, nullptr)); }},
          {copy_limit(moved), wanted});
}

void measure_total(int bits) {
  const auto call = std::make_shared<Call>(memory_bytes, bits);
  call->encoding.num_type = MIPO_NUM_INTEGER;
  call->ctx.eval_flags = MIPO_EVAL_SUM;
  call->result.data = &call->cell;
  const std::string read = fmt::format("read of {} MiB", memory_bytes >> 20);
  declare_limit({read, double(memory_bytes) / sizeof(ub8), double(memory_bytes),
                 [=] { benchmark::DoNotOptimize(read_by_hand(streams().left, memory_bytes)); }});
  measure({fmt::format("total, {} bits", bits), double(call->left.nrows), double(memory_bytes),
           [=] { benchmark::DoNotOptimize(record().mipo_convert_dydi(&call->result, &call->left, &call->ctx)); }},
          {read, wanted});
}

void measure_kernel(const char *name, ub4 key) {
  const ub4 width_field = key >> 7 & 31;
  const bool is_float = (width_field & 3) == 1, is_sum = key >> 12 == MIPO_VARIANT_SUM;
  if (!is_sum)
    for (const std::size_t bytes : {memory_bytes, cache_bytes})
      measure_arithmetic(name, key, is_float ? 32 : 64, bytes);
  else if (is_float)
    measure_arithmetic_sum<float>(name, key);
  else
    measure_arithmetic_sum<double>(name, key);
}

} // namespace
} // namespace mipo::bench

int main(int argc, char **argv) {
  using namespace mipo::bench;
#define MEASURE(shape, name, operation, family, width_field, variant) \
  measure_kernel(#name, mipo_key(operation, family, width_field, variant));
  ARITHMETIC_KERNELS(MEASURE)
#undef MEASURE
  for (const bool to_native : {true, false}) {
    measure_conversion(MIPO_NUM_FLOAT16, 16, to_native);
    measure_conversion(MIPO_NUM_BFLOAT16, 16, to_native);
    measure_conversion(MIPO_NUM_FLOAT, 32, to_native);
    measure_conversion(MIPO_NUM_DOUBLE, 64, to_native);
  }
  for (const int bits : {8, 16, 32, 64}) measure_total(bits);
  return run(argc, argv, "Arithmetic and conversion");
}
