// Code translation on a table in the second-level cache, random codes: `sim`, `off` and `bit` against the scalar loop
// that a host would write for the one case, and every other kernel of the grid against its plain `sim` sibling; an
// `ind` kernel against that sibling and a load of a segment's address for each row.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "data.h"
#include "harness.h"
#include "mipo/xlate.h"

namespace mipo::bench {
namespace {

constexpr ub4 rows = 32 << 10, table_bytes = 256 << 10, segment_slots = 1024;

enum Mapping : ub4 { sim, off, ind };
enum Form : ub4 { codes, cla, constant, sep };
constexpr const char *mapping_names[] = {"sim", "off", "ind"};
constexpr const char *form_names[] = {"", "_cla", "_const", "_sep"};

struct Width {
  const char *name;
  unsigned bits;
};
constexpr Width widths[] = {{"bit", 1}, {"nib", 4}, {"ub1", 8}, {"ub2", 16}, {"ub4", 32}};

// Half of the rows find an entry; what they hold is random, and so is which.
struct TranslationOperands {
  Pages table{table_bytes + 64}, input{rows * 8 + 64}, values{rows * 8 + 64}, output{rows * 4}, bits{rows / 8};
  std::vector<const ub1 *> segments;
  std::vector<ub4> segment_of_row; // any, to be loaded beside
  mipo_enc_ctx column_encoding{}, table_encoding{};
  mipo_vec result{}, column{}, table_vec{};
  mipo_xlate_ctx range{};
  mipo_call_ctx ctx{};
  ub4 first_and_last[2];

  TranslationOperands(Mapping mapping, Width width, Form form) {
    fill_random(table.bytes(), table_bytes, 3);
    // Ten thousand keys of coded decimals are four digits of seven bits each.
    const ub4 slots = form == codes ? table_bytes * 8 / width.bits : 10 << 21;
    if (form != codes) {
      ctx.xlate_values = values.bytes();
      write_values(form);
    } else {
      fill_random(input.bytes(), input.size(), 4);
      auto *code = reinterpret_cast<ub4 *>(input.bytes());
      for (ub4 row = 0; row < rows; ++row) code[row] = __builtin_bswap32(code[row] % slots + (mapping == off ? 77 : 0));
    }
    if (width.bits >= 8) // every other entry absent
      for (ub4 slot = 0; slot < table_bytes / (width.bits / 8); ++slot)
        if (table.bytes()[slot * (width.bits / 8)] % 2 != 0)
          std::memset(table.bytes() + slot * (width.bits / 8), 0xff, width.bits / 8);
    if (mapping == ind) {
      const ub4 segment_bytes = segment_slots * width.bits / 8;
      for (ub4 at = 0; at < slots; at += segment_slots)
        segments.push_back(table.bytes() + at / segment_slots * segment_bytes % table_bytes);
      std::mt19937 random(6);
      for (ub4 row = 0; row < rows; ++row) segment_of_row.push_back(static_cast<ub4>(random() % segments.size()));
      table_encoding.bloom_shift = 10;
      table_encoding.bloom_word_mask = segment_slots - 1;
      table_vec.bv = reinterpret_cast<ub8 *>(segments.data());
    } else {
      table_vec.bv = table.words();
    }
    if (mapping == off) range.code_base = range.min_code = form == codes ? 77 : 0;
    range.max_code = range.min_code + slots - 1;
    if (form != codes) range.max_code = table_bytes * 8 / width.bits - 1; // greater keys have no entry
    table_vec.enc_ctx = &table_encoding;
    column_encoding.flags = MIPO_HASHED;
    column_encoding.bits = 32;
    column.data = input.bytes();
    column.enc_ctx = &column_encoding;
    column.nrows = rows;
    result.bv = bits.words();
    result.data = first_and_last;
    ctx.xlate_ctx = &range;
    ctx.xlate_out = output.bytes();
  }
  TranslationOperands(const TranslationOperands &) = delete;

  // Numbers of two digits, or of one and of two where lengths differ.
  void write_values(Form form) {
    ub1 *value = values.bytes();
    auto *offsets = reinterpret_cast<ub4 *>(input.bytes());
    Pages random(rows);
    fill_random(random.bytes(), rows, 5);
    std::vector<ub1> lengths(rows);
    for (ub4 row = 0; row < rows; ++row) {
      const ub1 number = random.bytes()[row] % 100;
      const ub1 digits = form == constant || number >= 10 ? 2 : 1;
      if (form == cla) offsets[row] = __builtin_bswap32(static_cast<ub4>(value - values.bytes()));
      lengths[row] = static_cast<ub1>(digits + 1);
      *value++ = static_cast<ub1>(192 + digits);
      if (digits == 2) *value++ = static_cast<ub1>(number / 10 + 1);
      *value++ = static_cast<ub1>(number % 10 + 1);
    }
    if (form == cla) offsets[rows] = __builtin_bswap32(static_cast<ub4>(value - values.bytes()));
    ctx.xlate_form = form == constant ? 3 : 4; // bytes of a value, or bits of a length
    if (form == sep)
      for (ub4 row = 0; row < rows; ++row)
        input.bytes()[row / 2] =
            static_cast<ub1>(input.bytes()[row / 2] | (lengths[row] - 1) << (row % 2 == 0 ? 4 : 0));
  }

  ub4 call(ub4 key) { return record().dispatch_table[key].xlate(&result, &column, &table_vec, &ctx); }
};

template <unsigned entry_bits, bool from_base>
[[gnu::noinline]] void by_hand(TranslationOperands &operands) {
  const auto *code = reinterpret_cast<const ub4 *>(operands.input.bytes());
  const ub1 *table = operands.table.bytes();
  ub8 *bits = operands.bits.words();
  const ub4 least = static_cast<ub4>(operands.range.min_code), greatest = static_cast<ub4>(operands.range.max_code);
  ub4 count = 0, first = ~ub4{0}, last = ~ub4{0};
  ub8 word = 0;
  for (ub4 row = 0; row < rows; ++row) {
    if (row % 64 == 0 && row != 0) {
      bits[(row - 1) >> 6] |= word;
      word = 0;
    }
    const ub4 c = __builtin_bswap32(code[row]);
    if (c < least || c > greatest) continue;
    const ub4 slot = from_base ? c - static_cast<ub4>(operands.range.code_base) : c;
    bool found;
    if constexpr (entry_bits == 1) {
      found = (table[slot >> 3] >> (slot & 7) & 1) == 0;
    } else if constexpr (entry_bits == 8) {
      found = table[slot] != 0xff;
    } else if constexpr (entry_bits == 16) {
      found = reinterpret_cast<const ub2 *>(table)[slot] != 0xffff;
    } else {
      found = reinterpret_cast<const ub4 *>(table)[slot] != 0xffffffff;
    }
    word |= ub8{found} << (row & 63);
    count += found;
    first = found && first == ~ub4{0} ? row : first;
    last = found ? row : last;
  }
  bits[(rows - 1) >> 6] |= word;
  operands.result.nset = count;
  operands.first_and_last[0] = first;
  operands.first_and_last[1] = last;
  benchmark::ClobberMemory();
}

void add_by_hand(const std::string &name, const std::shared_ptr<TranslationOperands> &operands, ub4 width, bool based) {
  using Loop = void (*)(TranslationOperands &);
  constexpr Loop loops[2][5] = {{by_hand<1, false>, nullptr, by_hand<8, false>, by_hand<16, false>, by_hand<32, false>},
                                {by_hand<1, true>, nullptr, by_hand<8, true>, by_hand<16, true>, by_hand<32, true>}};
  const Loop loop = loops[based][width];
  declare_limit({name, double(rows), rows * 4.0, [=] { loop(*operands); }});
}

// What `ind` has to load beside the entry.
void load_segments(const TranslationOperands &operands) {
  uintptr_t sum = 0;
  for (const ub4 segment : operands.segment_of_row) sum += reinterpret_cast<uintptr_t>(operands.segments[segment]);
  benchmark::DoNotOptimize(sum);
}

ub4 key_of(Mapping mapping, ub4 width, Form form, bool c2d) {
  return mipo_key(MIPO_OP_XLATE, mapping, width + 8 * form, c2d ? MIPO_VARIANT_C2D : MIPO_VARIANT_PLAIN);
}

void measure_grid() {
  std::shared_ptr<TranslationOperands> plain;
  for (const Form form : {codes, cla, constant, sep})
    for (ub4 width = 0; width < std::size(widths); ++width)
      for (const bool c2d : {false, true})
        for (const Mapping mapping : {sim, off, ind}) {
          if (c2d && width == 0) continue;
          const auto name = [&](Mapping of, bool entries) {
            return fmt::format("{}_{}{}{}", mapping_names[of], widths[width].name, entries ? "_c2d" : "",
                               form_names[form]);
          };
          const auto operands = std::make_shared<TranslationOperands>(mapping, widths[width], form);
          const ub4 key = key_of(mapping, width, form, c2d);
          const Measurement measurement{name(mapping, c2d), double(rows), rows * 4.0,
                                        [=] { benchmark::DoNotOptimize(operands->call(key)); }};
          const bool has_loop = form == codes && !c2d && mapping != ind && width != 1;
          if (has_loop) {
            const std::string loop = name(mapping, c2d) + " by hand";
            add_by_hand(loop, operands, width, mapping == off);
            measure(measurement, {loop, 0.9});
          }
          const std::string sibling = name(sim, false);
          if (mapping == sim && !c2d) {
            plain = operands;
            declare_limit({sibling + " itself", measurement.rows, measurement.bytes, measurement.run});
            continue;
          }
          std::string limit = sibling + " itself";
          if (mapping == ind) {
            limit = fmt::format("{} and segments{}", sibling, c2d ? " (c2d)" : "");
            declare_limit(
                {limit, measurement.rows, measurement.bytes, [=, key_of_plain = key_of(sim, width, form, false)] {
                   benchmark::DoNotOptimize(plain->call(key_of_plain));
                   load_segments(*operands);
                 }});
          }
          measure({"grid: " + measurement.name, measurement.rows, measurement.bytes, measurement.run},
                  {limit, 1 / 1.5});
        }
}

} // namespace
} // namespace mipo::bench

int main(int argc, char **argv) {
  mipo::bench::measure_grid();
  return mipo::bench::run(argc, argv, "Code translation");
}
