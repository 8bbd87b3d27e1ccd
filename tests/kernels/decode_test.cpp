// Codes back to integers and symbols: every built kernel of every level against models that work one row at a time.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "check/built_kernels.h"
#include "check/column_data.h"
#include "check/column_format.h"
#include "check/levels.h"
#include "check/stored_runs.h"
#include "reference/decode_model.h"

namespace {

using namespace mipo::check;
using namespace mipo::reference;

enum class Selection { none, bits, selective_bits, list };

constexpr int repeats = repeats_of(8, 2);

std::vector<ub1> big_endian(const std::vector<ub4> &numbers, unsigned bytes = 4) {
  std::vector<ub1> stored;
  for (const ub4 number : numbers)
    for (unsigned byte = bytes; byte != 0; --byte) stored.push_back(static_cast<ub1>(number >> 8 * (byte - 1)));
  return stored;
}

ub4 greatest_code(const ListedKernel &kernel) {
  return static_cast<ub4>(greatest_number(kernel.bits()));
}

// A column in guarded memory and the records of a call that walks its rows.
class Walk {
public:
  Walk(const ListedKernel &kernel, std::vector<ub4> codes, Random &random) : kernel_(kernel), codes_(std::move(codes)) {
    fill_with_noise(random, src, enc, ctx);
    std::vector<Value> values;
    for (const ub4 code : codes_) values.push_back({code});
    const std::vector<ub1> bytes = code_format(kernel.bits()).column(values, kernel.bits()).data;
    compression_ = some_compression(bytes.size(), random);
    data_.place(compression_, bytes, src, enc, host_, random);
    src.enc_ctx = &enc;
    enc.flags &= ~ub4{MIPO_RLE};
    src.nrows = static_cast<ub4>(codes_.size());
    ctx.ones_vec = nullptr;
    ctx.ones_list = nullptr;
    ctx.host = compression_.compressed ? host_.ctx() : nullptr;
  }

  // Turns each code into a run.
  void make_runs(RunForm form, Random &random) {
    std::vector<ub4> lengths;
    for (std::size_t run = 0; run < codes_.size(); ++run)
      lengths.push_back(1 + static_cast<ub4>(random.below(random.chance(80) ? 4 : 300)) % longest_run(form));
    std::vector<ub4> codes;
    for (const std::size_t run : run_of_rows(lengths)) codes.push_back(codes_[run]);
    place_runs(enc, lengths, form, sources_, nowhere_);
    codes_ = std::move(codes);
    src.nrows = static_cast<ub4>(codes_.size());
    ctx.host = host_.ctx();
    run_length_ = true;
  }

  void select(Selection selection, unsigned percent, Random &random) {
    selected_.resize(codes_.size());
    std::iota(selected_.begin(), selected_.end(), 0);
    ctx.eval_flags &= static_cast<ub2>(~MIPO_EVAL_SELECTIVE);
    if (selection == Selection::none) return;
    std::erase_if(selected_, [&](ub4) { return !random.chance(percent); });
    if (selection == Selection::list) {
      ctx.ones_list = sources_.keep(selected_);
      ctx.ones_list_len = static_cast<ub4>(selected_.size());
      told_of_empty_list_ = run_length_ && selected_.empty();
      return;
    }
    std::vector<bool> bits(codes_.size());
    for (const ub4 row : selected_) bits[row] = true;
    ctx.ones_vec = sources_.keep_bits(bits, random);
    if (selection == Selection::selective_bits) ctx.eval_flags |= MIPO_EVAL_SELECTIVE;
  }

  void start_anew() {
    data_.forget_decompressed();
    host_.calls.clear();
    asked_for_data_ = false;
  }

  // What the host should have heard from the call that was made last.
  std::string difference_of_callbacks() {
    std::vector<std::string> expected;
    Compression compression = compression_;
    compression.already_decompressed |= asked_for_data_;
    expected = compression.calls(kernel_.name);
    if (told_of_empty_list_)
      expected.push_back("hostierr(env, frame, \"" + kernel_.name + ": [rle] ones_vec size is zero\", 0)");
    std::string wrong = host_.difference_from(expected);
    host_.calls.clear();
    asked_for_data_ = true;
    return wrong;
  }
  std::string difference_of_untouched() { return host_.calls.empty() ? "" : "called " + host_.calls.front() + "; "; }

  const std::vector<ub4> &codes() const { return codes_; }
  const std::vector<ub4> &selected() const { return selected_; }
  GuardedSources &sources() { return sources_; }

  mipo_vec src;
  mipo_enc_ctx enc;
  mipo_call_ctx ctx;

private:
  const ListedKernel &kernel_;
  std::vector<ub4> codes_, selected_;
  Compression compression_;
  TestHost host_;
  ColumnData data_;
  GuardedSources sources_;
  GuardedBuffer nowhere_{0};
  bool run_length_ = false, told_of_empty_list_ = false, asked_for_data_ = false;
};

std::vector<ub4> some_codes(std::size_t count, ub4 greatest, Random &random) {
  std::vector<ub4> codes(count);
  for (ub4 &code : codes) code = static_cast<ub4>(random.chance(20) ? greatest : random.below(ub8{greatest} + 1));
  return codes;
}

// Calls until all rows are done, each time with an output of its own that has no byte to spare.
template <class Out>
std::string unpack_to_the_end(Walk &walk, mipo_kernel kernel, ub4 first, ub4 capacity, Random &random) {
  ub4 &next_row = walk.ctx.next_row;
  next_row = first;
  if (random.chance(50))
    walk.ctx.run_end = 0;
  else
    walk.ctx.run_index = ~ub4{0}, walk.ctx.run_end = 0;
  for (bool done = false; !done;) {
    const Unpacked expected = unpack(walk.codes(), walk.selected(), next_row, capacity);
    GuardedBuffer output(capacity * sizeof(Out), random.chance(70) ? Edge::end : Edge::start, 0, 0xa5);
    mipo_vec res;
    fill_with_noise(random, res);
    res.data = output.data();
    res.nrows = capacity;
    mipo_vec res_after = res;
    mipo_call_ctx ctx_after = walk.ctx;
    const ub4 code = kernel.decode(&res, &walk.src, &walk.ctx);

    std::string wrong = walk.difference_of_callbacks();
    const auto *codes = reinterpret_cast<const Out *>(output.data());
    if (!output.intact()) wrong += "wrote beside the output; ";
    if (res.nset != expected.codes.size()) return wrong + "nset is " + std::to_string(res.nset);
    for (std::size_t i = 0; i < expected.codes.size(); ++i)
      if (codes[i] != expected.codes[i])
        return wrong + "code " + std::to_string(i) + " of a call from row " + std::to_string(ctx_after.next_row) +
               " is " + std::to_string(codes[i]) + ", not " + std::to_string(expected.codes[i]);
    if (code != (expected.codes.empty() ? 1 : 0)) wrong += "the code is " + std::to_string(code) + "; ";
    if (next_row < expected.least_next_row || next_row > expected.greatest_next_row)
      wrong += "next_row is " + std::to_string(next_row) + "; ";
    if ((walk.ctx.done_flags & MIPO_DONE_DECODE_UNPACK) == 0) wrong += "not told to be done; ";
    res_after.nset = res.nset;
    ctx_after.next_row = next_row;
    ctx_after.done_flags |= MIPO_DONE_DECODE_UNPACK;
    if (MIPO_ENC_CTX_FLAG(&walk.enc, MIPO_RLE)) {
      ctx_after.run_index = walk.ctx.run_index;
      ctx_after.run_end = walk.ctx.run_end;
    }
    if (!same(res, res_after) || !same(walk.ctx, ctx_after)) wrong += "changed a field that is not its own; ";
    if (!wrong.empty()) return wrong;
    done = next_row >= walk.src.nrows || capacity == 0;
  }
  return "";
}

TEST(DecodeTest, CodesAreUnpackedUnderEverySelectionAndGoOnWhereTheyStopped) {
  for (const ListedKernel &kernel : kernels_under_test()) {
    if (kernel.operation != MIPO_OP_DECODE_UNPACK) continue;
    Random random(test_seed() + kernel.key());
    for (const std::size_t count : {0, 1, 3, 7, 8, 9, 31, 64, 100, 127, 128, 129, 136, 250, 256, 400, 700, 1500})
      for (int repeat = 0; repeat < repeats; ++repeat) {
        Walk walk(kernel, some_codes(count, greatest_code(kernel), random), random);
        const bool run_length = random.chance(35);
        if (run_length) walk.make_runs(static_cast<RunForm>(random.below(3)), random);
        constexpr unsigned percents[] = {0, 1, 10, 50, 97, 100};
        const auto selection = static_cast<Selection>(random.below(4));
        walk.select(selection, percents[random.below(std::size(percents))], random);
        const bool wide = random.chance(50);
        walk.ctx.eval_flags = static_cast<ub2>(walk.ctx.eval_flags & ~MIPO_EVAL_WIDE_CODES);
        if (wide) walk.ctx.eval_flags |= MIPO_EVAL_WIDE_CODES;
        const auto rows = static_cast<ub4>(walk.codes().size());
        const ub4 first = random.chance(50) ? 0 : static_cast<ub4>(random.below(rows + 1));
        const ub4 capacities[] = {0,
                                  1 + static_cast<ub4>(random.below(9)),
                                  1 + static_cast<ub4>(random.below(300)),
                                  static_cast<ub4>(walk.selected().size()),
                                  rows,
                                  rows + 200};
        const ub4 capacity = capacities[random.below(std::size(capacities))];
        for (const Level &level : levels()) {
          const std::string what = running(kernel.name + " at level " + level.name);
          const mipo_kernel built = level.record->dispatch_table[kernel.key()];
          walk.start_anew();
          const auto drive = wide || kernel.bits() > 16 ? unpack_to_the_end<ub4>
                             : kernel.bits() > 8        ? unpack_to_the_end<ub2>
                                                        : unpack_to_the_end<ub1>;
          ASSERT_EQ(drive(walk, built, first, capacity, random), "")
              << what << ", seed " << test_seed() << ", " << rows << " rows from " << first << ", room for " << capacity
              << ", selection " << static_cast<int>(selection) << " of " << walk.selected().size() << " rows"
              << (run_length ? ", run-length" : "") << (wide ? ", wide" : "");
        }
      }
  }
}

// A dictionary for codes up to `greatest`, its symbols at addresses that nobody may touch.
SymbolTable some_symbols(ub4 greatest, bool one_length, Random &random) {
  SymbolTable table;
  table.base = random.next();
  if (one_length) {
    constexpr ub4 lengths[] = {0, 1, 3, 255, 256, 65535};
    table.one_length = lengths[random.below(std::size(lengths))];
    return table;
  }
  ub4 offset = 0;
  for (ub4 code = 0; code <= greatest + 1; ++code) {
    table.offsets.push_back(offset);
    offset += static_cast<ub4>(random.chance(20) ? 0 : random.chance(10) ? 65535 + random.below(4) : random.below(300));
  }
  return table;
}

void place_symbols(const SymbolTable &table, mipo_enc_ctx &enc, GuardedSources &sources) {
  enc.sym_base = table.base;
  enc.sym_varlen = table.one_length ? 0 : 1;
  enc.sym_len = nullptr;
  enc.sym_offs = nullptr;
  if (table.one_length)
    enc.sym_len = reinterpret_cast<const ub2 *>(sources.keep(big_endian({*table.one_length}, 2)));
  else
    enc.sym_offs = reinterpret_cast<const ub4 *>(sources.keep(big_endian(table.offsets)));
}

// The three arrays that a decoder writes, at first all 0xa5.
struct SymbolOutput {
  explicit SymbolOutput(std::size_t rows)
      : addresses(8 * rows, Edge::end, 0, 0xa5),
        lengths(2 * rows, Edge::end, 0, 0xa5),
        indicators(2 * rows, Edge::end, 0, 0xa5) {}

  static constexpr ub2 untouched = 0xa5a5;

  void attach(mipo_vec &res) const {
    res.data = addresses.data();
    res.lens = lengths.data();
    res.inds = reinterpret_cast<ub2 *>(indicators.data());
  }
  bool intact() const { return addresses.intact() && lengths.intact() && indicators.intact(); }
  ub8 address(std::size_t i) const { return addresses.words()[i]; }
  ub2 length(std::size_t i) const { return reinterpret_cast<const ub2 *>(lengths.data())[i]; }
  ub2 indicator(std::size_t i) const { return reinterpret_cast<const ub2 *>(indicators.data())[i]; }

  GuardedBuffer addresses, lengths, indicators;
};

TEST(DecodeTest, RowsBecomeSymbols) {
  for (const ListedKernel &kernel : kernels_under_test()) {
    if (kernel.operation != MIPO_OP_DECODE) continue;
    Random random(test_seed() + kernel.key());
    const ub4 greatest = std::min(greatest_code(kernel), ub4{300});
    for (const std::size_t count : {0, 1, 2, 15, 16, 17, 40, 130, 500})
      for (int repeat = 0; repeat < repeats; ++repeat) {
        Walk walk(kernel, some_codes(count, greatest, random), random);
        const bool by_list = count != 0 && random.chance(50);
        walk.select(by_list ? Selection::list : Selection::none, 40, random);
        if (by_list && walk.selected().empty()) continue; // not allowed
        const auto rows = static_cast<ub4>(walk.selected().size());
        const SymbolTable table = some_symbols(greatest, random.chance(50), random);
        const bool refused = random.chance(5), no_symbol_has_a_length = table.one_length == 0u && !refused;
        if (no_symbol_has_a_length && !by_list) continue; // not allowed
        place_symbols(table, walk.enc, walk.sources());
        if (refused) walk.enc.sym_varlen = 2 + static_cast<ub4>(random.below(9));
        const ub4 cleared = by_list ? rows : static_cast<ub4>(random.below(rows + 1));
        walk.ctx.ones_list_len = cleared;
        for (const Level &level : levels()) {
          const std::string what = running(kernel.name + " at level " + level.name);
          walk.start_anew();
          const SymbolOutput output(rows);
          mipo_vec res;
          fill_with_noise(random, res);
          output.attach(res);
          mipo_vec res_after = res;
          mipo_call_ctx ctx_after = walk.ctx;
          const ub4 code = level.record->dispatch_table[kernel.key()].decode(&res, &walk.src, &walk.ctx);

          ASSERT_EQ(code, refused ? 24u : 0u) << what;
          ASSERT_TRUE(output.intact()) << what;
          if (refused || no_symbol_has_a_length)
            ASSERT_EQ(walk.difference_of_untouched(), "") << what;
          else
            ASSERT_EQ(walk.difference_of_callbacks(), "") << what;
          if (!refused) {
            ctx_after.next_row = rows == 0 ? ~ub4{0} : walk.selected().back();
            ctx_after.done_flags |= MIPO_DONE_DECODE;
            res_after.nset = rows;
          }
          ASSERT_TRUE(same(res, res_after) && same(walk.ctx, ctx_after)) << what << ", next_row " << walk.ctx.next_row;
          for (ub4 i = 0; i < rows; ++i) {
            const DecodedSymbol expected = refused ? DecodedSymbol{} : symbol(table, walk.codes()[walk.selected()[i]]);
            const ub8 address = refused || no_symbol_has_a_length ? 0xa5a5a5a5a5a5a5a5 : expected.address;
            const ub2 indicator = refused                                  ? SymbolOutput::untouched
                                  : expected.indicator != 0 || i < cleared ? expected.indicator
                                                                           : SymbolOutput::untouched;
            ASSERT_EQ(output.address(i), address) << what << ", row " << i;
            ASSERT_EQ(output.length(i), refused ? SymbolOutput::untouched : expected.length) << what << ", row " << i;
            ASSERT_EQ(output.indicator(i), indicator)
                << what << ", row " << i << " of " << rows << ", seed " << test_seed();
          }
          walk.ctx = ctx_after;
        }
      }
  }
}

TEST(DecodeTest, CodesBecomeSymbols) {
  for (const ListedKernel &kernel : kernels_under_test()) {
    if (kernel.operation != MIPO_OP_DECODE_SYMBOL) continue;
    Random random(test_seed() + kernel.key());
    const unsigned code_bytes = kernel.bits() / 8;
    for (const ub4 count : {0u, 1u, 7u, 8u, 9u, 33u, 200u})
      for (int repeat = 0; repeat < 6 * repeats; ++repeat) {
        mipo_vec src;
        mipo_enc_ctx enc;
        mipo_call_ctx ctx;
        fill_with_noise(random, src, enc, ctx);
        src.enc_ctx = &enc;
        src.nrows = count;
        GuardedSources sources;
        const bool in_order = random.chance(40), wide = random.chance(50), refused = random.chance(5);
        const bool without_indicators = random.chance(30);
        std::vector<ub4> codes(count);
        std::iota(codes.begin(), codes.end(), 0);
        if (!in_order) codes = some_codes(count, std::min(greatest_code(kernel), ub4{300}), random);
        const ub4 greatest = count == 0 ? 0 : *std::max_element(codes.begin(), codes.end());
        const SymbolTable table = some_symbols(greatest, random.chance(50), random);
        place_symbols(table, enc, sources);
        if (refused) enc.sym_varlen = 2;
        ctx.eval_flags = static_cast<ub2>(wide ? ctx.eval_flags | 4 : ctx.eval_flags & ~4);
        std::vector<ub1> bytes; // native, in narrow or wide elements
        for (const ub4 code : codes)
          for (unsigned byte = 0; byte < (wide ? 4 : code_bytes); ++byte)
            bytes.push_back(reinterpret_cast<const ub1 *>(&code)[byte]);
        src.data = in_order ? nullptr : sources.keep(bytes);
        for (const Level &level : levels()) {
          const std::string what = running(kernel.name + " at level " + level.name);
          const SymbolOutput output(count);
          mipo_vec res;
          fill_with_noise(random, res);
          output.attach(res);
          if (without_indicators) res.inds = nullptr;
          mipo_vec res_after = res;
          if (!refused) res_after.nset = count;
          const mipo_call_ctx ctx_after = ctx;
          ASSERT_EQ(level.record->dispatch_table[kernel.key()].decode(&res, &src, &ctx), refused ? 24u : 0u) << what;
          ASSERT_TRUE(output.intact() && same(res, res_after) && same(ctx, ctx_after)) << what;
          for (ub4 i = 0; i < count && !refused; ++i) {
            const DecodedSymbol expected = symbol(table, codes[i]);
            ASSERT_EQ(output.address(i), expected.address) << what << ", code " << codes[i];
            ASSERT_EQ(output.length(i), expected.length) << what << ", code " << codes[i];
            ASSERT_EQ(output.indicator(i), without_indicators ? SymbolOutput::untouched : expected.indicator) << what;
          }
        }
      }
  }
}

} // namespace
