// The selective path against the block path, on a 32-bit column in memory, over the share of rows that is selected.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <memory>

#include "data.h"
#include "harness.h"

int main(int argc, char **argv) {
  using namespace mipo::bench;
  constexpr std::size_t bytes = 512 << 20;
  constexpr ub4 rows = bytes / 4;
  const ub4 key = mipo::column_key(MIPO_OP_GE_LE, MIPO_FAMILY_DICT, 32);

  const Pages codes(bytes), bits(rows / 8 + 64);
  fill_random(codes.bytes(), bytes);
  Operands operands(codes.bytes(), 32, rows, bits.words(), ub8{1} << 30, ub8{3} << 30);

  struct Density {
    double percent;
    double at_least;
  };
  for (const auto &[percent, at_least] : {Density{0.01, 0}, {0.1, 5}, {1, 0}, {2, 0}, {5, 0}, {10, 0}}) {
    auto selection = std::make_shared<Pages>(random_bits(rows, percent / 100));
    const auto path = [&, selection](ub2 flags) {
      return [&operands, selection, flags] {
        mipo_call_ctx ctx{};
        ctx.ones_vec = selection->words();
        ctx.eval_flags = flags;
        benchmark::DoNotOptimize(call_predicate(key, operands, &ctx));
      };
    };
    const std::string block = fmt::format("block path, {} % selected", percent);
    declare_limit({block, double(rows), double(bytes), path(0)});
    measure(
        {fmt::format("selective path, {} % selected", percent), double(rows), double(bytes), path(MIPO_EVAL_SELECTIVE)},
        {block, at_least});
  }
  return run(argc, argv, "mipo_ge_le_dict_32bit on 512 MiB; a ratio above 1: the selective path is the faster one");
}
