// Predicates on stored values: fixed width against dictionary codes of the same lanes, trailing-zero columns against
// fixed ones, dynamic-packed columns against a loop that decodes row by row. All in the second-level cache.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <cstring>
#include <memory>
#include <string>

#include "data.h"
#include "frame/kernel_lists.h"
#include "harness.h"

namespace mipo::bench {
namespace {

constexpr ub4 rows = 64 << 10;

// A column of values with all that its kernels read, and the result.
struct ValueOperands {
  Pages values{rows * 8 + 64}, fields{rows / 2 + 64}, bits{rows / 8 + 64};
  ub8 stream_bytes = 0;
  ub1 constants[2][8] = {}, constant_fields[2] = {1, 2};
  mipo_enc_ctx encoding{};
  mipo_vec source{}, result{}, low{}, high{};

  explicit ValueOperands(int bytes) {
    encoding.bits = static_cast<ub4>(8 * bytes);
    source.data = values.bytes();
    source.lens = fields.bytes();
    source.enc_ctx = low.enc_ctx = high.enc_ctx = &encoding;
    source.nrows = result.nrows = rows;
    result.bv = bits.words();
    constants[0][0] = 0x40; // about half of random values lie between
    constants[1][0] = 0xc0;
    low.data = constants[0];
    high.data = constants[1];
    low.lens = &constant_fields[0];
    high.lens = &constant_fields[1];
  }
  ValueOperands(const ValueOperands &) = delete;

  ub4 call(ub4 key) {
    const mipo_kernel kernel = record().dispatch_table[key];
    const ub4 operation = key & 31;
    if (operation >= MIPO_OP_GT_LT && operation <= MIPO_OP_GE_LE)
      return kernel.two_sided(&result, &source, &low, &high, nullptr);
    return kernel.one_sided(&result, &source, &low, nullptr);
  }
};

using Shared = std::shared_ptr<ValueOperands>;

Shared fixed_values(int bytes) {
  auto operands = std::make_shared<ValueOperands>(bytes);
  operands->stream_bytes = rows * ub8(bytes);
  fill_random(operands->values.bytes(), operands->stream_bytes);
  fill_random(operands->fields.bytes(), rows / 4, 2);
  return operands;
}

// Random control bytes, none of them invalid.
Shared dynamic_packed_values(int bytes) {
  auto operands = std::make_shared<ValueOperands>(bytes);
  const ub8 controls = rows / (16 / ub8(bytes));
  ub1 *control = operands->fields.bytes();
  fill_random(control, controls, 2);
  for (ub8 i = 0; i < controls; ++i) {
    if (bytes == 8) control[i] &= 0x77;
    const int fields[] = {__builtin_popcount(control[i]),
                          __builtin_popcount(control[i] & 0x55) + 2 * __builtin_popcount(control[i] & 0xaa),
                          (control[i] >> 4) + (control[i] & 15)};
    operands->stream_bytes += 16 / ub8(bytes) + ub8(fields[bytes / 4]);
  }
  fill_random(operands->values.bytes(), operands->stream_bytes);
  return operands;
}

Measurement measurement(std::string name, const Shared &operands, ub4 key) {
  return {std::move(name), double(rows), double(operands->stream_bytes),
          [=] { benchmark::DoNotOptimize(operands->call(key)); }};
}

void measure_fixed(const char *kernel, const char *operation, mipo_operation op, int width, int bytes) {
  const std::string limit = fmt::format("mipo_{}_dict_{}bit", operation, width);
  // The constants of codes are native words, so these see other rows; what a row costs is the same.
  declare_limit(measurement(limit, fixed_values(width / 8), column_key(op, MIPO_FAMILY_DICT, width)));
  measure(measurement(fmt::format("{}, {} bytes", kernel, bytes), fixed_values(bytes),
                      column_key(op, MIPO_FAMILY_FIXED, width)),
          {limit, bytes == width / 8 ? 0.9 : 0.7});
}

void measure_trailing_zero(const char *kernel, const char *operation, mipo_operation op, int width, int bytes) {
  const Shared operands = fixed_values(bytes);
  const std::string limit = fmt::format("mipo_{}_fixed_{}bit, {} bytes", operation, width, bytes);
  declare_limit(measurement(limit, operands, column_key(op, MIPO_FAMILY_FIXED, width)));
  measure(measurement(fmt::format("{}, {} bytes", kernel, bytes), operands,
                      column_key(op, MIPO_FAMILY_FIXED, width, MIPO_VARIANT_TZ)),
          {limit, 0.6});
}

// The value of each row by its field of the control byte, then a range test: what a host would write first.
template <int bytes>
ub8 decode_row_by_row(const ValueOperands &operands) {
  constexpr int field_bits = bytes / 2, per_byte = 8 / field_bits;
  ub8 low = 0, high = 0, count = 0;
  memcpy(&low, operands.constants[0], 8);
  memcpy(&high, operands.constants[1], 8);
  low = __builtin_bswap64(low);
  high = __builtin_bswap64(high);
  const ub1 *value = operands.source.nrows != 0 ? operands.values.bytes() : nullptr;
  const ub1 *controls = operands.fields.bytes();
  ub8 *out = operands.bits.words();
  for (ub4 row = 0; row < rows; row += 64) {
    ub8 word = 0;
    for (ub4 i = 0; i < 64; ++i) {
      const ub4 at = row + i;
      const int length =
          1 + (controls[at / per_byte] >> (8 - field_bits * (int(at % per_byte) + 1)) & ((1 << field_bits) - 1));
      ub8 window;
      memcpy(&window, value, 8);
      window = __builtin_bswap64(window) & ~ub8{0} << (64 - 8 * length);
      value += length;
      word |= ub8{window >= low && window <= high} << i;
    }
    out[row / 64] = word;
    count += ub8(__builtin_popcountll(word));
  }
  return count;
}

template <int width>
void measure_dynamic_packed(const char *kernel, mipo_operation op, mipo_variant variant) {
  const Shared operands = dynamic_packed_values(width / 8);
  const std::string limit = fmt::format("{} bits decoded row by row", width);
  Measurement by_row = measurement(limit, operands, 0);
  by_row.run = [=] { benchmark::DoNotOptimize(decode_row_by_row<width / 8>(*operands)); };
  declare_limit(std::move(by_row));
  measure(measurement(kernel, operands, column_key(op, MIPO_FAMILY_DYNP, width, variant)), {limit, 4});
}

} // namespace
} // namespace mipo::bench

int main(int argc, char **argv) {
  using namespace mipo::bench;
#define MEASURE(operation, OPERATION, sides, half, family, FAMILY, width, suffix, VARIANT, measure_one)            \
  for (const int bytes : {width / 8, 3, 5, 6, 7})                                                                  \
    if (bytes == width / 8 || (bytes < width / 8 && bytes > width / 16 && width > 16))                             \
      measure_one("mipo_" #operation "_" #family "_" #width "bit" #suffix, #operation, MIPO_OP_##OPERATION, width, \
                  bytes);
  FIXED_PREDICATES(MEASURE, measure_fixed)
  TRAILING_ZERO_PREDICATES(MEASURE, measure_trailing_zero)
#undef MEASURE
#define MEASURE(operation, OPERATION, sides, half, family, FAMILY, width, suffix, VARIANT, ...)               \
  measure_dynamic_packed<width>("mipo_" #operation "_" #family "_" #width "bit" #suffix, MIPO_OP_##OPERATION, \
                                MIPO_VARIANT_##VARIANT);
  DYNP_PREDICATES(MEASURE, )
#undef MEASURE
  return run(argc, argv, "Predicates on values");
}
