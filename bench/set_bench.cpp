// Operations on sets of codes, in the second-level cache: membership against `eq` of the same width, least and greatest
// code against the range predicate, which reads the same codes.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <memory>

#include "data.h"
#include "frame/kernel_lists.h"
#include "harness.h"

namespace mipo::bench {
namespace {

constexpr ub4 rows = 128 << 10;

struct SetOperands : Operands {
  Pages codes, bits, members;
  ub4 extremes[2] = {};
  mipo_call_ctx ctx{};

  // Wide codes are kept below a million, so that the set of them is one that a host would make.
  SetOperands(Pages codes_of_rows, int width)
      : Operands(codes_of_rows.bytes(), static_cast<unsigned>(width), rows, nullptr, 1, 2),
        codes(std::move(codes_of_rows)),
        bits(rows / 8 + 64),
        members(random_bits(ub8{1} << (width < 20 ? width : 20), 0.3)) {
    result.bv = bits.words();
    result.data = extremes;
    low.bv = members.words();
    encoding.sym_count = ub4{1} << (width < 31 ? width : 31);
  }
};

std::shared_ptr<SetOperands> operands_of(int width) {
  const std::size_t bytes = rows * std::size_t(width) / 8;
  Pages codes(bytes + 64);
  fill_random(codes.bytes(), bytes);
  for (std::size_t at = 0; width > 20 && at < bytes; at += std::size_t(width) / 8)
    for (int byte = 0; byte < width / 8 - 2; ++byte)
      codes.bytes()[at + std::size_t(byte)] &= byte == width / 8 - 3 ? 15 : 0;
  return std::make_shared<SetOperands>(std::move(codes), width);
}

void measure_width(int width) {
  const auto operands = operands_of(width);
  const double bytes = rows * double(width) / 8;
  const auto predicate = [&](const char *operation, ub4 key) {
    const std::string name = fmt::format("mipo_{}_dict_{}bit ({} rows)", operation, width, rows);
    declare_limit({name, double(rows), bytes, [=] { benchmark::DoNotOptimize(call_predicate(key, *operands)); }});
    return name;
  };
  const std::string eq = predicate("eq", column_key(MIPO_OP_EQ, MIPO_FAMILY_DICT, width));
  const mipo_kernel set = record().dispatch_table[column_key(MIPO_OP_SET, MIPO_FAMILY_DICT, width)];
  measure({fmt::format("mipo_set_dict_{}bit", width), double(rows), bytes,
           [=] { benchmark::DoNotOptimize(set.set(&operands->result, &operands->source, &operands->low, nullptr)); }},
          {eq, width == 8    ? 0.5
               : width == 16 ? 0.1
                             : 0});
  if (width == 1) return; // both codes are seen at once
  const std::string range = predicate("ge_le", column_key(MIPO_OP_GE_LE, MIPO_FAMILY_DICT, width));
  for (const mipo_variant variant : {MIPO_VARIANT_PLAIN, MIPO_VARIANT_NULL_AWARE}) {
    const mipo_kernel minmax = record().dispatch_table[column_key(MIPO_OP_MINMAX, MIPO_FAMILY_DICT, width, variant)];
    measure({fmt::format("mipo_minmax_dict_{}bit{}", width, variant == MIPO_VARIANT_PLAIN ? "" : "_null"), double(rows),
             bytes,
             [=] {
               operands->ctx.next_row = 0;
               operands->encoding.sym_count = ~ub4{0}; // no code is the greatest: all rows are looked at
               benchmark::DoNotOptimize(minmax.minmax(&operands->result, &operands->source, &operands->ctx, 0));
             }},
            {range, 0});
  }
}

} // namespace
} // namespace mipo::bench

int main(int argc, char **argv) {
  using namespace mipo::bench;
#define MEASURE(width, ...) measure_width(width);
  FOR_EACH_CODE_WIDTH_TO_32(MEASURE, )
#undef MEASURE
  return run(argc, argv, "Sets and extremes of codes");
}
