// The expansion of selected runs into rows, every other run selected, against filling the result's words.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <cstring>
#include <memory>

#include "data.h"
#include "harness.h"

namespace mipo::bench {
namespace {

constexpr ub4 rows = 4 << 20;

struct Runs {
  Pages lengths, starts, selected, bits{rows / 8 + 64};
  mipo_enc_ctx encoding{};
  mipo_vec source{}, result{};
  mipo_call_ctx aux{};

  Runs(ub4 run_rows, ub4 length_bits)
      : lengths(rows / run_rows * 2 + 64), starts((rows / run_rows + 1) * 4), selected(rows / run_rows / 8 + 64) {
    const ub4 runs = rows / run_rows;
    for (ub4 run = 0; run <= runs; ++run)
      reinterpret_cast<ub4 *>(starts.bytes())[run] = __builtin_bswap32(run * run_rows);
    for (ub4 run = 0; run < runs; ++run) {
      if (length_bits == 8)
        lengths.bytes()[run] = static_cast<ub1>(run_rows);
      else
        reinterpret_cast<ub2 *>(lengths.bytes())[run] = __builtin_bswap16(static_cast<ub2>(run_rows));
    }
    memset(selected.bytes(), 0x55, selected.size());
    encoding.flags = MIPO_RLE;
    encoding.run_count = runs;
    encoding.run_lens = lengths.bytes();
    encoding.run_len_bits = static_cast<ub1>(length_bits);
    encoding.run_starts = reinterpret_cast<const ub4 *>(starts.bytes());
    source.enc_ctx = &encoding;
    source.nrows = result.nrows = rows;
    result.bv = bits.words();
    aux.ones_vec = selected.words();
  }
};

void measure_runs(const char *name, ub4 form, ub4 length_bits) {
  for (const ub4 run_rows : {4u, 64u, 4096u}) {
    if (run_rows >> length_bits != 0) continue;
    const auto runs = std::make_shared<Runs>(run_rows, length_bits);
    const mipo_kernel kernel = record().dispatch_table[mipo_key(MIPO_OP_BURST_RLE, MIPO_FAMILY_BURST_RLE, form, 0)];
    const std::string limit = fmt::format("memset of {} rows' bits", rows);
    declare_limit({limit, double(rows), rows / 8.0, [=] { memset(runs->bits.bytes(), 0xff, rows / 8); }});
    measure({fmt::format("{}, runs of {} rows", name, run_rows), double(rows), rows / 8.0,
             [=] { benchmark::DoNotOptimize(kernel.burst(&runs->result, &runs->source, &runs->aux)); }},
            {limit, run_rows == 4096 ? 0.5 : 0});
  }
}

} // namespace
} // namespace mipo::bench

int main(int argc, char **argv) {
  using namespace mipo::bench;
  measure_runs("mipo_burst_rle_8bit", MIPO_BURST_RLE_8BIT, 8);
  measure_runs("mipo_burst_rle_16bit", MIPO_BURST_RLE_16BIT, 16);
  measure_runs("mipo_burst_rle_8bit_cla", MIPO_BURST_RLE_8BIT_CLA, 8);
  measure_runs("mipo_burst_rle_16bit_cla", MIPO_BURST_RLE_16BIT_CLA, 16);
  return run(argc, argv, "Runs into rows");
}
