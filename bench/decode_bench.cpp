// Codes to integers: all rows against a loop with intrinsics for the width, or one that fetches code after code; and
// half of the rows against a loop that takes row after row. All in the second-level cache.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <memory>
#include <string>

#include "data.h"
#include "decode_by_hand.h"
#include "frame/kernel_lists.h"
#include "harness.h"

namespace mipo::bench {
namespace {

constexpr ub4 rows = 64 << 10;

struct UnpackOperands {
  Pages stream{rows * 4 + 64}, output{rows * 4 + 64}, selection{random_bits(rows, 0.5)};
  mipo_enc_ctx encoding{};
  mipo_vec source{}, result{};
  mipo_call_ctx ctx{};
  ub4 key;
  double bytes;

  UnpackOperands(int width, mipo_operation operation, bool selected, bool wide)
      : key(column_key(operation, MIPO_FAMILY_DICT, width)), bytes(double(rows) * width / 8) {
    fill_random(stream.bytes(), stream.size());
    encoding.flags = MIPO_PACKED;
    encoding.bits = static_cast<ub4>(width);
    source.data = stream.bytes();
    source.enc_ctx = &encoding;
    source.nrows = result.nrows = rows;
    result.data = output.bytes();
    if (selected) ctx.ones_vec = selection.words();
    if (wide) ctx.eval_flags = MIPO_EVAL_WIDE_CODES;
  }
  UnpackOperands(const UnpackOperands &) = delete;

  ub4 call() {
    ctx.next_row = 0;
    return record().dispatch_table[key].decode(&result, &source, &ctx);
  }
  template <class Out>
  Out *out() const {
    return reinterpret_cast<Out *>(output.bytes());
  }
};

using Shared = std::shared_ptr<UnpackOperands>;

Measurement measurement(std::string name, const Shared &operands, std::function<void()> run) {
  return {std::move(name), double(rows), operands->bytes, std::move(run)};
}

template <int width>
void measure_width(const char *kernel) {
  using Code = UnpackedCode<width>;
  const auto all = std::make_shared<UnpackOperands>(width, MIPO_OP_DECODE_UNPACK, false, false);
  const auto wide = std::make_shared<UnpackOperands>(width, MIPO_OP_DECODE_UNPACK, false, true);
  const auto half = std::make_shared<UnpackOperands>(width, MIPO_OP_DECODE_UNPACK, true, false);
  const auto wide_half = std::make_shared<UnpackOperands>(width, MIPO_OP_DECODE_UNPACK, true, true);

  const std::string row_by_row = fmt::format("{} bits row by row", width);
  declare_limit(measurement(row_by_row, all, [=] {
    benchmark::DoNotOptimize(unpack_row_by_row<width>(all->stream.bytes(), all->out<Code>(), rows));
    benchmark::ClobberMemory();
  }));
  const auto call = [](const Shared &operands) { return [=] { benchmark::DoNotOptimize(operands->call()); }; };
  if constexpr (UnpackByHand<width>::exists) {
    const std::string by_hand = fmt::format("{} bits by hand", width);
    declare_limit(measurement(by_hand, all, [=] {
      UnpackByHand<width>::run(all->stream.bytes(), all->out<Code>(), rows);
      benchmark::ClobberMemory();
    }));
    measure(measurement(kernel, all, call(all)), {by_hand, 0.6});
  } else {
    measure(measurement(kernel, all, call(all)), {row_by_row, 4});
  }
  if (width <= 16) measure(measurement(fmt::format("{}, wide", kernel), wide, call(wide)), {row_by_row, 0});

  const std::string compacted = fmt::format("{} bits, half selected, row by row", width);
  declare_limit(measurement(compacted, half, [=] {
    benchmark::DoNotOptimize(
        compact_row_by_row<width>(half->stream.bytes(), half->selection.words(), half->out<Code>(), rows));
    benchmark::ClobberMemory();
  }));
  measure(measurement(fmt::format("{}, half selected", kernel), half, call(half)), {compacted, 3});
  if (width <= 16)
    measure(measurement(fmt::format("{}, half selected, wide", kernel), wide_half, call(wide_half)), {compacted, 3});
}

} // namespace
} // namespace mipo::bench

int main(int argc, char **argv) {
  using namespace mipo::bench;
#define MEASURE(width, ...) measure_width<width>("mipo_decode_unpack_dict_" #width "bit");
  FOR_EACH_CODE_WIDTH_TO_32(MEASURE, )
#undef MEASURE
  return run(argc, argv, "Codes to integers");
}
