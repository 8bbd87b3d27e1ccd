// Digests of what every kernel and bit vector entry computes from fixed inputs, held against those checked in: builds
// for processors that never meet in one process have to agree too. MIPO_TEST_RECORD=1 writes the file anew.
#include <gtest/gtest.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "check/bit_vector_entries.h"
#include "check/built_kernels.h"
#include "check/guarded_sources.h"
#include "check/levels.h"
#include "check/predicate_families.h"
#include "check/stored_runs.h"
#include "check/test_host.h"
#include "mipo/xlate.h"

namespace {

using namespace mipo::check;
using mipo::reference::run_starts;
using mipo::reference::Value;

constexpr ub8 recorded_seed = 0x6d69706f;

class Digest { // FNV-1a, 64 bits
public:
  void add(const void *bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) state_ = (state_ ^ static_cast<const ub1 *>(bytes)[i]) * 0x100000001b3;
  }
  void add(ub8 value) { add(&value, sizeof value); }
  ub8 value() const { return state_; }

private:
  ub8 state_ = 0xcbf29ce484222325;
};

using Digests = std::map<std::string, ub8>;

std::vector<ub8> words_of_density(std::size_t bits, unsigned percent, Random &random) {
  std::vector<bool> selected(bits);
  for (std::size_t bit = 0; bit < bits; ++bit) selected[bit] = random.chance(percent);
  return bit_vector_words(selected, random);
}

// Of a kernel on one length of its values.
void digest_predicate(const ListedKernel &kernel, mipo_kernel built, const PredicateFamily &family, unsigned width,
                      Random &random, Digest &digest) {
  const ColumnFormat &format = family.format_of(kernel.bits());
  const ub8 greatest = greatest_number(width);
  for (const ub4 rows : {0u, 1u, 15u, 100u, 257u, 2000u}) {
    ub8 cells[2] = {random.next() & greatest, random.next() & greatest};
    if (cells[0] > cells[1]) std::swap(cells[0], cells[1]);
    const ub8 near[] = {cells[0], cells[0] + 1, cells[1], cells[1] - 1, 0, greatest};
    std::vector<Value> values(rows);
    for (Value &value : values)
      value = some_value((random.chance(40) ? near[random.below(std::size(near))] : random.next()) & greatest, format,
                         width, random);
    std::vector<bool> members;
    if (family.takes_set) {
      members.resize(ub8{1} << std::min(width, 14u));
      for (std::size_t code = 0; code < members.size(); ++code) members[code] = random.chance(40);
      for (Value &value : values) value.number %= members.size();
    }
    std::vector<ub8> set = bit_vector_words(members, random);
    StoredColumn column = format.column(values, width);
    StoredColumn constants[2] = {format.constant(some_value(cells[0], format, width, random), width),
                                 format.constant(some_value(cells[1], format, width, random), width)};
    const std::vector<ub8> filter = words_of_density(rows, 80, random), selection = words_of_density(rows, 30, random);
    for (unsigned way = 0; way < 6; ++way) { // with and without a filter: no selection, one at the end, one ahead
      std::vector<ub8> bits((rows + 63) / 64 + 1, random.next()); // the last word is not the kernel's
      mipo_enc_ctx enc{};
      mipo_vec res{}, src{}, operands[2] = {};
      mipo_call_ctx ctx{};
      enc.bits = width;
      res.bv = bits.data();
      src.data = column.data.data();
      src.lens = column.lens.data();
      src.enc_ctx = &enc;
      src.filter_bv = way % 2 != 0 ? filter.data() : nullptr;
      res.nrows = src.nrows = rows;
      for (unsigned i = 0; i < 2; ++i) {
        operands[i].data = constants[i].data.data();
        operands[i].lens = constants[i].lens.data();
        operands[i].enc_ctx = &enc;
        operands[i].bv = set.data();
      }
      if (way / 2 != 0) ctx.ones_vec = selection.data();
      if (way / 2 == 2) ctx.eval_flags = MIPO_EVAL_SELECTIVE;
      digest.add(call_predicate(kernel.shape, built, &res, &src, &operands[0], &operands[1], &ctx));
      digest.add(res.nset);
      digest.add(ctx.done_flags);
      digest.add(bits.data(), 8 * bits.size());
    }
  }
}

ub8 predicate_digest(const ListedKernel &kernel, mipo_kernel built) {
  const PredicateFamily &family = *family_of(kernel);
  Digest digest;
  Random random(recorded_seed + kernel.key());
  for (const unsigned bits : family.stored_bits(kernel.bits()))
    digest_predicate(kernel, built, family, bits, random, digest);
  return digest.value();
}

// Run lengths that every form holds.
std::vector<ub4> choose_run_lengths(std::size_t count, Random &random) {
  std::vector<ub4> lengths(count);
  for (ub4 &length : lengths)
    length = random.chance(20) ? 64 : static_cast<ub4>(1 + random.below(random.chance(50) ? 5 : 255));
  return lengths;
}

ub8 burst_digest(const ListedKernel &kernel, mipo_kernel built) {
  Digest digest;
  Random random(recorded_seed + kernel.key());
  for (const std::size_t count : {0, 1, 15, 40, 300}) {
    const std::vector<ub4> lengths = choose_run_lengths(count, random);
    const ub4 rows = run_starts(lengths).back();
    const std::vector<ub8> selection = words_of_density(count, 50, random);
    std::vector<ub8> bits(rows / 64 + 1);
    GuardedSources sources;
    mipo_enc_ctx enc{};
    mipo_vec res{}, src{};
    mipo_call_ctx aux{};
    enc.flags = MIPO_RLE;
    enc.run_count = static_cast<ub4>(count);
    enc.run_starts = reinterpret_cast<const ub4 *>(store_runs(lengths, RunForm::starts, sources));
    const bool bytes = kernel.width_field == MIPO_BURST_RLE_8BIT;
    enc.run_lens = store_runs(lengths, bytes ? RunForm::lengths_of_8_bits : RunForm::lengths_of_16_bits, sources);
    src.enc_ctx = &enc;
    res.bv = bits.data();
    res.nrows = src.nrows = rows;
    aux.ones_vec = selection.data();
    digest.add(built.burst(&res, &src, &aux));
    digest.add(res.nset);
    digest.add(bits.data(), 8 * bits.size());
  }
  return digest.value();
}

ub8 minmax_digest(const ListedKernel &kernel, mipo_kernel built) {
  Digest digest;
  Random random(recorded_seed + kernel.key());
  const unsigned width = kernel.bits();
  for (const std::size_t count : {1, 15, 100, 700})
    for (const bool run_length : {false, true}) {
      const std::vector<ub4> lengths = choose_run_lengths(count, random);
      const ub4 rows = run_length ? run_starts(lengths).back() : static_cast<ub4>(count);
      GuardedSources sources;
      const ub1 *stored_lengths = store_runs(lengths, RunForm::lengths_of_8_bits, sources);
      const ub8 codes = std::min(greatest_number(width), ub8{100000}) + 1;
      std::vector<Value> values(count);
      for (Value &value : values) value.number = random.below(random.chance(50) ? codes : std::min(codes, ub8{3}));
      StoredColumn column = code_format(width).column(values, width);
      const std::vector<ub8> selection = words_of_density(rows, 30, random);
      std::vector<ub4> list;
      for (ub4 row = 0; row < rows; ++row)
        if (random.chance(20)) list.push_back(row);
      for (const ub8 mode : {0, 1, 2})
        for (unsigned way = 0; way < 3; ++way) {
          mipo_enc_ctx enc{};
          mipo_vec res{}, src{};
          mipo_call_ctx ctx{};
          TestHost host;
          ub4 extremes[2] = {0xffffffff, 0xffffffff};
          enc.flags = run_length ? MIPO_RLE : 0;
          enc.sym_count = static_cast<ub4>(codes);
          enc.run_count = static_cast<ub4>(count);
          enc.run_lens = stored_lengths;
          enc.run_len_bits = 8;
          src.data = column.data.data();
          src.enc_ctx = &enc;
          src.nrows = res.nrows = rows;
          res.data = extremes;
          ctx.host = host.ctx();
          ctx.ones_vec = way == 1 ? selection.data() : nullptr;
          ctx.ones_list = way == 2 ? list.data() : nullptr;
          ctx.ones_list_len = static_cast<ub4>(list.size());
          digest.add(built.minmax(&res, &src, &ctx, mode));
          // The extreme that was not asked for depends on how far the kernel looks ahead.
          if (mode != 2) digest.add(extremes[0]);
          if (mode != 1) digest.add(extremes[1]);
        }
    }
  return digest.value();
}

// Symbols of `greatest` + 1 codes, as the table of a dictionary: big-endian offsets.
std::vector<ub1> symbol_offsets(ub4 greatest, Random &random) {
  std::vector<ub1> stored;
  ub4 offset = 0;
  for (ub4 code = 0; code <= greatest + 1; ++code) {
    for (unsigned byte = 4; byte != 0; --byte) stored.push_back(static_cast<ub1>(offset >> 8 * (byte - 1)));
    offset += static_cast<ub4>(random.below(5));
  }
  return stored;
}

// Unpacking goes on in pieces of 150 codes until the rows are done; the others answer for all rows at once.
ub8 decode_digest(const ListedKernel &kernel, mipo_kernel built) {
  Digest digest;
  Random random(recorded_seed + kernel.key());
  const ub4 greatest = static_cast<ub4>(std::min(greatest_number(kernel.bits()), ub8{300}));
  const bool unpacks = kernel.operation == MIPO_OP_DECODE_UNPACK;
  const std::vector<ub1> offsets = symbol_offsets(greatest, random);
  for (const ub4 rows : {1u, 15u, 100u, 257u, 1000u}) {
    std::vector<Value> values(rows);
    for (Value &value : values) value.number = random.below(greatest + 1);
    StoredColumn column = code_format(kernel.bits()).column(values, kernel.bits());
    const std::vector<ub8> selection = words_of_density(rows, 40, random);
    std::vector<ub4> list = {0};
    for (ub4 row = 1; row < rows; ++row)
      if (random.chance(30)) list.push_back(row);
    std::vector<ub1> native; // codes as the kernels of code lists take them
    for (const Value &value : values)
      for (unsigned byte = 0; byte < kernel.bits() / 8; ++byte)
        native.push_back(static_cast<ub1>(value.number >> 8 * byte));
    for (unsigned way = 0; way < 6; ++way) { // all rows, bits, list; narrow and wide codes
      mipo_enc_ctx enc{};
      mipo_vec res{}, src{};
      mipo_call_ctx ctx{};
      std::vector<ub8> cells(rows + 8);
      std::vector<ub2> lengths(rows), indicators(rows);
      enc.sym_base = 0x1000;
      enc.sym_varlen = 1;
      enc.sym_offs = reinterpret_cast<const ub4 *>(offsets.data());
      src.enc_ctx = &enc;
      src.nrows = rows;
      src.data = kernel.operation == MIPO_OP_DECODE_SYMBOL ? native.data() : column.data.data();
      res.data = cells.data();
      res.lens = lengths.data();
      res.inds = indicators.data();
      if (way % 3 == 1 && kernel.operation != MIPO_OP_DECODE_UNPACK) continue; // symbols take lists alone
      if (kernel.operation != MIPO_OP_DECODE_SYMBOL) {
        ctx.ones_vec = way % 3 == 1 ? selection.data() : nullptr;
        ctx.ones_list = way % 3 == 2 ? list.data() : nullptr;
        ctx.ones_list_len = way % 3 == 2 ? static_cast<ub4>(list.size()) : 0;
        if (unpacks && way >= 3) ctx.eval_flags = MIPO_EVAL_WIDE_CODES;
      }
      do {
        res.nrows = unpacks ? std::min(rows, 150u) : rows;
        digest.add(built.decode(&res, &src, &ctx));
        digest.add(res.nset);
        const std::size_t code_bytes = way >= 3 || kernel.bits() > 16 ? 4 : kernel.bits() > 8 ? 2 : 1;
        digest.add(cells.data(), res.nset * (unpacks ? code_bytes : sizeof(ub8)));
        digest.add(ctx.done_flags);
      } while (unpacks && res.nset == std::min(rows, 150u));
      digest.add(lengths.data(), 2 * lengths.size());
      digest.add(indicators.data(), 2 * indicators.size());
    }
  }
  return digest.value();
}

// Numbers of near magnitudes and both signs, as they are stored: a sum tells the order in which they were added.
template <class Pattern>
std::vector<ub1> some_numbers(std::size_t count, bool sortable, Random &random) {
  constexpr unsigned fraction_bits = sizeof(Pattern) == 4 ? 23 : 52, bias = sizeof(Pattern) == 4 ? 127 : 1023;
  constexpr Pattern sign = Pattern{1} << (8 * sizeof(Pattern) - 1);
  std::vector<ub1> stored;
  for (std::size_t i = 0; i < count; ++i) {
    Pattern pattern = static_cast<Pattern>(random.next()) & (sign | ((Pattern{1} << fraction_bits) - 1));
    pattern |= static_cast<Pattern>(bias - 8 + random.below(16)) << fraction_bits;
    if (sortable) pattern = (pattern & sign) != 0 ? static_cast<Pattern>(~pattern) : pattern | sign;
    for (unsigned byte = 0; byte < sizeof pattern; ++byte)
      stored.push_back(static_cast<ub1>(pattern >> 8 * (sortable ? sizeof pattern - 1 - byte : byte)));
  }
  return stored;
}

template <class Pattern>
ub8 arithmetic_digest(const ListedKernel &kernel, mipo_kernel built) {
  Digest digest;
  Random random(recorded_seed + kernel.key());
  for (const ub4 rows : {1u, 7u, 100u, 1003u})
    for (unsigned way = 0; way < 3; ++way) { // columns; a constant on the left; one on the right
      const std::vector<ub1> left = some_numbers<Pattern>(rows, (kernel.width_field & 4) != 0, random);
      const std::vector<ub1> right = some_numbers<Pattern>(rows, (kernel.width_field & 8) != 0, random);
      std::vector<ub1> results(rows * sizeof(Pattern));
      mipo_enc_ctx encodings[2] = {};
      mipo_vec res{}, operands[2] = {};
      mipo_call_ctx ctx{};
      if (way != 0) encodings[way - 1].flags = MIPO_CONST;
      for (unsigned i = 0; i < 2; ++i) {
        operands[i].enc_ctx = &encodings[i];
        operands[i].data = const_cast<ub1 *>((i == 0 ? left : right).data());
        operands[i].nrows = rows;
      }
      res.data = results.data();
      res.nrows = rows;
      digest.add(built.arithmetic(&res, &operands[0], &operands[1], &ctx));
      digest.add(results.data(), results.size());
    }
  return digest.value();
}

// Codes or decimal values of a few digits, and a table that has an entry for most of them.
ub8 translation_digest(const ListedKernel &kernel, mipo_kernel built) {
  Digest digest;
  Random random(recorded_seed + kernel.key());
  constexpr unsigned widths[] = {1, 4, 8, 16, 32};
  const unsigned bits = widths[kernel.width_field & 7], layout = kernel.width_field >> 3;
  constexpr ub4 codes = 16 << 7; // two digits of seven bits, and some more
  std::vector<ub1> table(codes * bits / 8);
  for (ub1 &byte : table) byte = static_cast<ub1>(random.chance(30) ? 0xff : random.next());
  std::vector<const ub1 *> segments;
  for (ub4 first = 0; first < codes; first += 256)
    segments.push_back(random.chance(20) ? nullptr : table.data() + first * bits / 8);
  for (const ub4 rows : {1u, 15u, 64u, 100u, 257u}) {
    std::vector<ub4> input(2 * rows + 2), keys(rows, 7), first_and_last(2);
    std::vector<ub1> values(6 * ub8{rows}), entries(4 * ub8{rows});
    const bool group_keys = kernel.family == MIPO_FAMILY_XLATE_GROUPKEY;
    for (ub4 row = 0; row < rows; ++row) {
      const auto code = static_cast<ub4>(random.below(codes + (group_keys ? 0 : 100)));
      input[row] = layout == 1 ? __builtin_bswap32(row * 3) : group_keys ? code : __builtin_bswap32(code);
    }
    if (layout == 1) input[rows] = __builtin_bswap32(3 * rows);
    if (layout == 3) std::fill(input.begin(), input.end(), 0x92244992u); // lengths of five, two and three bytes in turn
    for (std::size_t i = 0; i < values.size(); ++i)
      values[i] = static_cast<ub1>(i % 3 == 0 ? 192 + random.below(4) : 1 + random.below(10));
    const std::vector<ub8> selection = words_of_density(rows, 40, random);
    for (unsigned way = 0; way < 4; ++way) { // all rows and selected ones; narrow and wide entries
      std::vector<ub8> result_bits(rows / 64 + 1);
      mipo_xlate_ctx range{};
      mipo_enc_ctx encoding{}, table_encoding{};
      mipo_vec res{}, column{}, table_vec{};
      mipo_call_ctx ctx{};
      range.min_code = range.code_base = kernel.family == MIPO_FAMILY_XLATE_OFF ? 5 : 0;
      range.max_code = codes - 1;
      encoding.flags = MIPO_HASHED;
      encoding.bits = 32;
      table_encoding.bloom_shift = 8;
      table_encoding.bloom_word_mask = 255;
      table_vec.enc_ctx = &table_encoding;
      table_vec.bv = kernel.family == MIPO_FAMILY_XLATE_IND ? reinterpret_cast<ub8 *>(segments.data())
                                                            : reinterpret_cast<ub8 *>(table.data());
      column.data = input.data();
      column.nrows = rows;
      column.enc_ctx = &encoding;
      res.bv = result_bits.data();
      res.data = group_keys ? keys.data() : first_and_last.data();
      ctx.xlate_ctx = &range;
      ctx.xlate_out = group_keys ? table.data() : entries.data();
      ctx.xlate_mult = 3;
      ctx.xlate_values = values.data();
      ctx.xlate_form = 3;
      ctx.ones_vec = way % 2 != 0 ? selection.data() : nullptr;
      ctx.eval_flags = way / 2 != 0 ? MIPO_EVAL_WIDE_ENTRIES : 0;
      digest.add(built.xlate(&res, &column, &table_vec, &ctx));
      digest.add(res.nset);
      digest.add(ctx.done_flags);
      digest.add(result_bits.data(), 8 * result_bits.size());
      digest.add(entries.data(), entries.size());
      digest.add(keys.data(), 4 * keys.size());
      digest.add(first_and_last.data(), 8);
    }
  }
  return digest.value();
}

ub8 kernel_digest(const ListedKernel &kernel, mipo_kernel built) {
  if (kernel.shape == Shape::xlate) return translation_digest(kernel, built);
  if (kernel.shape == Shape::decode) return decode_digest(kernel, built);
  if (kernel.shape == Shape::arithmetic)
    return (kernel.width_field & 3) == 1 ? arithmetic_digest<ub4>(kernel, built)
                                         : arithmetic_digest<ub8>(kernel, built);
  if (kernel.shape == Shape::minmax) return minmax_digest(kernel, built);
  if (kernel.shape == Shape::burst) return burst_digest(kernel, built);
  return predicate_digest(kernel, built);
}

template <class Unit>
class FormDigests {
public:
  FormDigests(const Level &level, Digests &into) : entries_(level), digests_(into) {
    Random random(recorded_seed);
    for (std::vector<ub8> &words : sources_) words = words_of_density(6000, 50, random);
  }

  void algebra() {
    const Unit *const sources[] = {units(sources_[0]), units(sources_[1]), units(sources_[2])};
    for (const auto &operation : entries_.algebra) {
      Digest digest;
      for (const ub8 length : {0, 1, 7, 8, 63, 64, 65, 127, 128, 129, 1000, 5003})
        for (const bool counted : {true, false}) {
          if (!counted && !operation.has_result) continue;
          std::vector<ub8> result(sources_[0].size(), 0x5a5a5a5a5a5a5a5a);
          ub4 count = 0xabcdef;
          operation.call(reinterpret_cast<Unit *>(result.data()), counted ? &count : nullptr, sources, length);
          digest.add(count);
          digest.add(result.data(), 8 * result.size());
        }
      record(operation.name, digest);
    }
  }

  void ranges() {
    for (const bool set : {true, false}) {
      Digest digest;
      for (const ub8 first : {0, 3, 6, 8, 63, 64, 700})
        for (const ub8 more : {0, 1, 3, 7, 8, 20, 64, 300}) {
          std::vector<ub8> bits = sources_[0];
          (set ? entries_.set_range : entries_.clear_range)(reinterpret_cast<Unit *>(bits.data()), first, first + more);
          digest.add(bits.data(), 8 * bits.size());
        }
      record(set ? "set_range" : "clr_range", digest);
    }
  }

  void walks() {
    Digest fields, ones, zeros, batches;
    std::vector<ub4> rows(20000);
    Random random(recorded_seed);
    const std::vector<ub8> vectors[] = {words_of_density(40000, 60, random), words_of_density(40000, 2, random),
                                        sources_[0]};
    for (const std::vector<ub8> &bits : vectors)
      for (const ub8 start : {0, 5, 64, 130})
        for (const ub8 less : {0, 1, 37, 64}) {
          const ub8 limit = 64 * bits.size() - less;
          mipo_lbiv_ictx walk{};
          for (const ub4 mode : {0, 1}) {
            entries_.begin(&walk, units(bits), limit, mode, start);
            fields.add(reinterpret_cast<ub8>(walk.next_word) - reinterpret_cast<ub8>(bits.data()));
            fields.add(&walk.bit_limit, 3 * sizeof(ub8));
            for (int step = 0; step < 500; ++step)
              (mode ? zeros : ones).add((mode ? entries_.next_clear : entries_.next_set)(&walk));
          }
          for (const ub8 capacity : {8, 256, 20000}) {
            entries_.begin(&walk, units(bits), limit, 0, start);
            for (ub8 got = capacity; got == capacity;) {
              got = entries_.batch(&walk, rows.data(), capacity);
              batches.add(got);
              batches.add(rows.data(), sizeof(ub4) * got);
            }
          }
        }
    record("_ictx_ini2", fields);
    record("iter", ones);
    record("iter_clr", zeros);
    record("ones", batches);
    Digest run, runs;
    run.add(entries_.run(1, 2));
    runs.add(entries_.runs(1, 2, 3, 4));
    record("run", run);
    record("runs", runs);
  }

private:
  static const Unit *units(const std::vector<ub8> &words) { return reinterpret_cast<const Unit *>(words.data()); }
  void record(const std::string &entry, const Digest &digest) {
    digests_["mipo_" + std::string(entries_.form) + entry + "_dydi"] = digest.value();
  }

  BitVectorEntries<Unit> entries_;
  Digests &digests_;
  std::vector<ub8> sources_[3];
};

template <class Unit>
void add_form(const Level &level, Digests &digests) {
  FormDigests<Unit> form(level, digests);
  form.algebra();
  form.ranges();
  form.walks();
}

Digests computed(const Level &level) {
  Digests digests;
  for (const ListedKernel &kernel : all_kernels()) {
    if (kernel.shape == Shape::placeholder) continue; // has no result
    const bool has_rows_of_bits =
        kernel.shape == Shape::one_sided || kernel.shape == Shape::two_sided || kernel.shape == Shape::set;
    if (!has_rows_of_bits || family_of(kernel) != nullptr)
      digests[kernel.name] = kernel_digest(kernel, level.record->dispatch_table[kernel.key()]);
    else
      ADD_FAILURE() << kernel.name << " has no input here";
  }
  add_form<ub1>(level, digests);
  add_form<ub8>(level, digests);
  return digests;
}

void write_recorded(const Digests &digests) {
  std::ofstream file(MIPO_TEST_RECORDED_RESULTS);
  file << "# Written by recorded_results_test under MIPO_TEST_RECORD=1; a changed line is a changed result.\n";
  for (const auto &[name, value] : digests) {
    char digest[20];
    std::snprintf(digest, sizeof digest, "%016" PRIx64, value);
    file << name << " " << digest << "\n";
  }
}

Digests read_recorded() {
  Digests digests;
  std::ifstream file(MIPO_TEST_RECORDED_RESULTS);
  std::string line, name;
  std::getline(file, line);
  while (file >> name >> std::hex >> digests[name]) {
  }
  digests.erase("");
  return digests;
}

TEST(RecordedResults, EveryLevelAgrees) {
  if (std::getenv("MIPO_TEST_RECORD") != nullptr) write_recorded(computed(levels().front()));
  const Digests recorded = read_recorded();
  for (const Level &level : levels()) {
    const Digests digests = computed(level);
    EXPECT_EQ(recorded.size(), digests.size());
    for (const auto &[name, value] : digests) {
      const auto found = recorded.find(name);
      EXPECT_TRUE(found != recorded.end() && found->second == value) << name << " at level " << level.name;
    }
  }
}

} // namespace
