// Code translation: every kernel of every level against a model that works one row at a time, in memory that ends where
// tables, codes and values do.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "check/built_kernels.h"
#include "check/guarded_sources.h"
#include "check/levels.h"
#include "mipo/xlate.h"
#include "reference/translation_model.h"

namespace {

using namespace mipo::check;
using namespace mipo::reference;

enum Layout : ub4 { codes, offsets, constant_length, separate_lengths };

constexpr unsigned widths[] = {1, 4, 8, 16, 32};
constexpr const char *width_names[] = {"bit", "nib", "ub1", "ub2", "ub4"};
constexpr ub4 none = 0xffffffff;

constexpr int repeats = repeats_of(12, 3);

// What a key says of its kernel.
struct Form {
  explicit Form(const ListedKernel &kernel)
      : mapping(kernel.family),
        bits(widths[kernel.width_field & 7]),
        layout(static_cast<Layout>(kernel.width_field >> 3)),
        c2d(kernel.variant == MIPO_VARIANT_C2D),
        width_name(width_names[kernel.width_field & 7]) {}

  ub4 mapping;
  unsigned bits;
  Layout layout;
  bool c2d;
  std::string width_name;

  ub4 absent() const { return static_cast<ub4>((ub8{1} << bits) - 1); }
  std::string name() const {
    constexpr const char *mappings[] = {"sim", "off", "ind", "groupkey"};
    constexpr const char *layouts[] = {"", "_cla", "_const", "_sep"};
    return std::string("mipo_xlate_") + mappings[mapping] + "_" + width_name + (c2d ? "_c2d" : "") + layouts[layout];
  }
};

std::vector<ListedKernel> translation_kernels(bool group_keys) {
  std::vector<ListedKernel> kernels;
  for (const ListedKernel &kernel : kernels_under_test())
    if (kernel.shape == Shape::xlate && (kernel.family == MIPO_FAMILY_XLATE_GROUPKEY) == group_keys)
      kernels.push_back(kernel);
  return kernels;
}

// Entries of so many bits, low bits first in a byte.
std::vector<ub1> stored_entries(const std::vector<ub4> &entries, unsigned bits) {
  std::vector<ub1> bytes((entries.size() * bits + 7) / 8);
  for (std::size_t i = 0; i < entries.size(); ++i)
    for (unsigned bit = 0; bit < bits; ++bit)
      if (entries[i] >> bit & 1) bytes[(i * bits + bit) / 8] |= static_cast<ub1>(1 << (i * bits + bit) % 8);
  return bytes;
}

// A table in memory that holds the entries of a range of codes and nothing else.
class Table {
public:
  Table(const Form &form, ub4 least, ub4 greatest, Random &random) : form_(form) {
    fill_with_noise(random, vec, enc);
    vec.enc_ctx = &enc;
    const bool is_empty = least > greatest;
    if (form.mapping == MIPO_FAMILY_XLATE_IND) {
      shift_ = 3 + static_cast<ub4>(random.below(6));
      while (!is_empty && (greatest - least) >> shift_ > 16) ++shift_;
      if (greatest < 30000 && random.chance(10)) shift_ = 32 + static_cast<ub4>(random.below(32)); // one segment
      enc.bloom_shift = shift_ | static_cast<ub4>(random.below(4)) << 6; // what lies above six bits does not count
      enc.bloom_word_mask = static_cast<ub4>((ub8{1} << std::min(shift_, 32u)) - 1);
      if (is_empty) return;
      first_ = segment_of(least);
      std::vector<const ub1 *> addresses;
      for (ub4 segment = first_; segment <= segment_of(greatest); ++segment) {
        // The last one only up to the last code.
        const ub4 last = segment == segment_of(greatest) ? greatest & enc.bloom_word_mask : enc.bloom_word_mask;
        segments_.push_back(random.chance(30) ? std::vector<ub4>() : some_entries(ub8{last} + 1, random));
        addresses.push_back(segments_.back().empty() ? nullptr
                                                     : sources_.keep(stored_entries(segments_.back(), form.bits)));
      }
      vec.bv = reinterpret_cast<ub8 *>(sources_.keep(addresses)) - first_;
      return;
    }
    // A base above all codes: differences are taken in 32 bits.
    if (form.mapping == MIPO_FAMILY_XLATE_OFF)
      base_ = random.chance(10) ? greatest + 100 : least - static_cast<ub4>(random.below(std::min(least, 40u) + 1));
    if (is_empty) return;
    // Only from the byte of the first entry on.
    const ub4 per_byte = form.bits < 8 ? 8 / form.bits : 1;
    first_ = (least - base_) / per_byte * per_byte;
    entries_ = some_entries(greatest - base_ - first_ + 1, random);
    vec.bv = reinterpret_cast<ub8 *>(sources_.keep(stored_entries(entries_, form.bits)) - ub8{first_} * form.bits / 8);
  }

  std::optional<ub4> entry(ub8 key) const {
    if (form_.mapping != MIPO_FAMILY_XLATE_IND) return entries_.at(static_cast<ub4>(key) - base_ - first_);
    const std::vector<ub4> &segment = segments_.at(segment_of(key) - first_);
    if (segment.empty()) return {};
    return segment.at(key & enc.bloom_word_mask);
  }
  ub4 base() const { return base_; }

  mipo_vec vec;
  mipo_enc_ctx enc;

private:
  ub4 segment_of(ub8 key) const { return static_cast<ub4>(key >> shift_); }

  std::vector<ub4> some_entries(std::size_t count, Random &random) const {
    std::vector<ub4> entries(count);
    for (ub4 &entry : entries) {
      entry = static_cast<ub4>(random.next()) & form_.absent();
      if (random.chance(35)) entry = form_.absent();
      if (form_.bits > 1 && random.chance(15)) entry = form_.absent() - 1;
    }
    return entries;
  }

  const Form &form_;
  GuardedSources sources_;
  ub4 base_ = 0, first_ = 0, shift_ = 0;
  std::vector<ub4> entries_;
  std::vector<std::vector<ub4>> segments_;
};

std::vector<ub1> some_value(std::size_t length, Random &random) {
  constexpr ub1 firsts[] = {0, 1, 127, 128, 129, 191, 192, 193, 194, 195, 196, 197, 200, 203, 240, 255};
  std::vector<ub1> value(length);
  for (ub1 &byte : value) byte = static_cast<ub1>(random.chance(90) ? 1 + random.below(10) : random.next());
  const auto digits = static_cast<ub1>(length == 0 ? 0 : length - 1);
  if (length != 0)
    value[0] = random.chance(25) ? firsts[random.below(std::size(firsts))]
                                 : static_cast<ub1>(192 + digits + (random.chance(20) ? random.below(3) : 0));
  if (length == 1 && random.chance(50)) value[0] = 128;
  return value;
}

// The rows of a call: their keys, and the memory that kernels find them in.
class Input {
public:
  Input(const Form &form, ub4 rows, ub4 first_row, ub4 least, Random &random) {
    fill_with_noise(random, vec, enc);
    vec.enc_ctx = &enc;
    vec.nrows = rows;
    enc.flags |= MIPO_HASHED;
    enc.bits = enc.bits << 8 | 32; // the low byte counts
    if (form.layout == codes)
      place_codes(rows, least, random);
    else
      place_values(form.layout, rows, first_row, random);
  }

  mipo_vec vec;
  mipo_enc_ctx enc;
  const void *values = nullptr;
  ub2 form_word = 0;
  std::vector<std::optional<ub8>> keys;

private:
  void place_codes(ub4 rows, ub4 least, Random &random) {
    std::vector<ub4> stored;
    for (ub4 row = 0; row < rows; ++row) {
      const ub4 code = static_cast<ub4>(random.chance(85) ? least - 20 + random.below(600) : random.next());
      keys.push_back(code);
      stored.push_back(__builtin_bswap32(code));
    }
    vec.data = sources_.keep(stored, some_edge(random));
  }

  void place_values(Layout layout, ub4 rows, ub4 first_row, Random &random) {
    const bool small = random.chance(60), far_apart = layout == offsets && random.chance(5);
    const ub8 one_length = random.chance(90) ? 1 + random.below(5) : random.below(16);
    const ub4 length_bits = static_cast<ub4>(1 + random.below(random.chance(70) ? 4 : 15));
    const ub4 stride = layout == separate_lengths && random.chance(50) ? static_cast<ub4>(1 + random.below(8)) : 0;
    const ub8 greatest_number = std::min<ub8>((1u << length_bits) - 1, small ? 2 : 40);
    const ub4 first_value = layout == constant_length ? 0 : first_row;
    std::vector<ub1> area;
    std::vector<std::size_t> places, lengths;
    std::size_t place = 0;
    for (ub4 row = first_value; row < rows; ++row) {
      lengths.push_back(layout == constant_length    ? one_length
                        : layout == separate_lengths ? 1 + random.below(greatest_number + 1)
                                                     : random.below(small ? 4 : 7));
      const std::vector<ub1> value = some_value(lengths.back(), random);
      places.push_back(place);
      area.resize(std::max(area.size(), place + value.size()));
      std::copy(value.begin(), value.end(), area.begin() + static_cast<std::ptrdiff_t>(place));
      // Lengths count modulo 65536.
      place += stride != 0 ? stride : value.size() + (far_apart && random.chance(3) ? 65536 : 0);
    }
    keys.resize(std::min(first_row, rows));
    std::size_t readable = 0; // no byte is read of values that are too long
    for (std::size_t i = 0; i < places.size(); ++i) {
      const auto first = area.begin() + static_cast<std::ptrdiff_t>(places[i]);
      const std::vector<ub1> value(first, first + static_cast<std::ptrdiff_t>(lengths[i]));
      if (first_value + i >= first_row) keys.push_back(decimal_key(value, layout != constant_length));
      if (value.size() <= 5) readable = std::max(readable, places[i] + value.size());
    }
    area.resize(readable);
    values = sources_.keep(area);
    if (layout == offsets) {
      places.push_back(place);
      std::vector<ub4> stored;
      for (const std::size_t each : places) stored.push_back(__builtin_bswap32(static_cast<ub4>(each)));
      vec.data = sources_.keep(stored);
      form_word = static_cast<ub2>(random.next());
    } else if (layout == constant_length) {
      form_word = static_cast<ub2>((random.next() & 0xfff0) | one_length);
    } else {
      form_word = static_cast<ub2>(stride << 4 | length_bits);
      if (stride == 0 && random.chance(30)) form_word |= 0x8000;            // not above 15, as a signed number
      std::vector<ub1> stream((ub8{rows} * length_bits + 31) / 32 * 4 + 4); // a word after the last one is read
      for (ub4 i = 0; i < lengths.size(); ++i)
        for (ub4 bit = 0; bit < length_bits; ++bit) {
          const ub8 at = ub8{first_row + i} * length_bits + bit;
          if ((lengths[i] - 1) >> (length_bits - 1 - bit) & 1) stream[at / 8] |= static_cast<ub1>(0x80 >> at % 8);
        }
      vec.data = sources_.keep(stream);
    }
  }

  GuardedSources sources_;
};

// Entries handed out, as their layout has them.
void store_entry(ub1 *out, unsigned bits, ub4 row, ub4 entry) {
  if (bits == 4)
    out[row / 2] = static_cast<ub1>(row % 2 == 0 ? (out[row / 2] & 0xf0) | entry : (out[row / 2] & 0x0f) | entry << 4);
  else
    std::memcpy(out + std::size_t{row} * bits / 8, &entry, bits / 8);
}

// What differs from the model, or an empty text.
std::string difference(const Form &form, const ListedKernel &kernel, ub4 rows, Random &random) {
  const ub4 first_row = random.chance(50) ? 0 : static_cast<ub4>(random.below(rows + 2));
  const bool decimal = form.layout != codes;
  const ub4 count = static_cast<ub4>(decimal && random.chance(50) ? 20000 : random.below(500));
  ub4 least = random.chance(40) ? 0 : static_cast<ub4>(random.below(300));
  if (!decimal && random.chance(20)) least = (random.chance(50) ? 0x7fffffff : none) - count; // up to where signs turn
  const ub4 greatest = random.chance(5) ? least - std::min(least, 1u) : least + count;
  Table table(form, least, greatest, random);
  Input input(form, rows, first_row, least, random);
  mipo_xlate_ctx range;
  fill_with_noise(random, range);
  const auto low_half = [&](ub4 number) { return random.next() << 32 | number; };
  range.min_code = low_half(least);
  range.max_code = low_half(greatest);
  range.code_base = low_half(table.base());

  mipo_call_ctx ctx;
  fill_with_noise(random, ctx);
  ctx.xlate_ctx = &range;
  ctx.first_row = first_row;
  ctx.xlate_values = const_cast<void *>(input.values);
  ctx.xlate_form = input.form_word;
  const bool selective = random.chance(decimal ? 10 : 50);
  std::vector<bool> selected(rows);
  for (ub4 row = 0; row < rows; ++row) selected[row] = random.chance(rows % 2 == 0 ? 30 : 90);
  GuardedSources sources;
  ctx.ones_vec = selective ? sources.keep_bits(selected, random) : nullptr;
  const bool refused_form = !decimal && random.chance(5);
  if (refused_form && random.chance(50))
    input.enc.flags &= ~ub4{MIPO_HASHED};
  else if (refused_form)
    input.enc.bits ^= 48;
  const bool takes_selection = !decimal && selective;
  const bool refused = refused_form || (selective && (form.layout == offsets || form.layout == constant_length));
  const bool wide = form.c2d && form.bits < 32 && (form.layout == constant_length || form.layout == separate_lengths) &&
                    (ctx.eval_flags & MIPO_EVAL_WIDE_ENTRIES) != 0;
  const unsigned out_bits = wide ? 32 : form.bits;

  for (const Level &level : levels()) {
    running(kernel.name + " at level " + level.name);
    GuardedBuffer bits((rows + 63) / 64 * 8), ends(8, Edge::start);
    GuardedBuffer out(form.c2d ? (ub8{rows} * out_bits + 7) / 8 : 0);
    for (std::size_t i = 0; i < bits.size(); ++i) bits.data()[i] = static_cast<ub1>(random.next());
    for (std::size_t i = 0; i < out.size(); ++i) out.data()[i] = static_cast<ub1>(random.next());
    std::vector<ub1> expected_bits(bits.data(), bits.data() + bits.size());
    std::vector<ub1> expected_out(out.data(), out.data() + out.size());
    std::array<ub4, 2> expected_ends = {none, none};
    ub4 passed = 0;
    const TranslationRule rule = {least, greatest, form.absent(), [&](ub8 key) { return table.entry(key); },
                                  takes_selection};
    for (ub4 row = first_row; row < rows && !refused; ++row) {
      if (takes_selection && !selected[row]) continue;
      const TranslatedRow translated = translate(rule, input.keys[row]);
      if (form.c2d && translated.stored) store_entry(expected_out.data(), out_bits, row, *translated.stored);
      if (!translated.passes) continue;
      expected_bits[row / 8] |= static_cast<ub1>(1 << row % 8);
      ++passed;
      if (takes_selection || (ctx.eval_flags & MIPO_EVAL_COUNT_ONLY) == 0)
        expected_ends = {std::min(expected_ends[0], row), row};
    }
    mipo_vec res;
    fill_with_noise(random, res);
    res.bv = bits.words();
    res.data = ends.data();
    ctx.xlate_out = out.data();
    mipo_vec res_after = res;
    mipo_call_ctx ctx_after = ctx;
    if (!refused) res_after.nset = passed;
    if (!refused && takes_selection) ctx_after.done_flags |= MIPO_DONE_XLATE;
    mipo_call_ctx ctx_of_call = ctx;
    const ub4 code = level.record->dispatch_table[kernel.key()].xlate(&res, &input.vec, &table.vec, &ctx_of_call);

    std::string wrong;
    if (code != (refused ? 2u : passed == 0 ? 1u : 0u)) wrong += "the code is " + std::to_string(code) + "; ";
    if (!bits.intact() || !ends.intact() || !out.intact()) wrong += "wrote beside a result; ";
    if (!std::equal(expected_bits.begin(), expected_bits.end(), bits.data())) wrong += "wrong bits; ";
    if (!std::equal(expected_out.begin(), expected_out.end(), out.data())) wrong += "wrong entries; ";
    std::array<ub4, 2> got_ends;
    std::memcpy(got_ends.data(), ends.data(), 8);
    if (got_ends != (refused ? std::array<ub4, 2>{0xa5a5a5a5, 0xa5a5a5a5} : expected_ends)) wrong += "wrong ends; ";
    if (!same(res, res_after)) wrong += "nset is " + std::to_string(res.nset) + "; ";
    if (!same(ctx_of_call, ctx_after)) wrong += "wrote to the call's record; ";
    if (!wrong.empty())
      return wrong + "at level " + level.name + ", rows " + std::to_string(first_row) + " to " + std::to_string(rows) +
             ", codes " + std::to_string(least) + " to " + std::to_string(greatest) + (selective ? ", selective" : "") +
             (wide ? ", wide" : "");
  }
  return "";
}

TEST(TranslationTest, EveryKernelDoesAsTheModel) {
  const std::vector<ListedKernel> kernels = translation_kernels(false);
  ASSERT_EQ(kernels.size(), 108u);
  for (const ListedKernel &kernel : kernels) {
    const Form form(kernel);
    ASSERT_EQ(kernel.name, form.name());
    Random random(test_seed() + kernel.key());
    for (const ub4 rows : {0u, 1u, 2u, 15u, 63u, 64u, 65u, 128u, 130u, 300u})
      for (int repeat = 0; repeat < repeats; ++repeat)
        ASSERT_EQ(difference(form, kernel, rows, random), "") << kernel.name << ", seed " << test_seed();
  }
}

TEST(TranslationTest, GroupKeysTakeEntriesTimesTheMultiplier) {
  const std::vector<ListedKernel> kernels = translation_kernels(true);
  ASSERT_EQ(kernels.size(), 4u);
  for (const ListedKernel &kernel : kernels) {
    const Form form(kernel);
    ASSERT_EQ(kernel.name, form.name());
    Random random(test_seed() + kernel.key());
    for (const ub4 rows : {1u, 2u, 7u, 64u, 333u})
      for (const Level &level : levels()) {
        running(kernel.name);
        std::vector<ub4> entries(1 + random.below(300)), row_codes(rows);
        for (ub4 &entry : entries) entry = static_cast<ub4>(random.next()) & form.absent();
        for (ub4 &code : row_codes) code = static_cast<ub4>(random.below(entries.size()));
        GuardedSources sources;
        GuardedBuffer keys(rows * sizeof(ub4));
        std::vector<ub4> expected(rows);
        const auto multiplier = static_cast<ub4>(random.next());
        for (ub4 row = 0; row < rows; ++row) {
          const auto key = static_cast<ub4>(random.next());
          std::memcpy(keys.data() + row * sizeof key, &key, sizeof key);
          expected[row] = key + entries[row_codes[row]] * multiplier;
        }
        mipo_vec res, column;
        mipo_call_ctx ctx;
        fill_with_noise(random, res, column, ctx);
        res.data = keys.data();
        column.data = sources.keep(row_codes);
        column.nrows = rows;
        ctx.xlate_out = sources.keep(stored_entries(entries, form.bits));
        ctx.xlate_mult = multiplier;
        const mipo_vec res_after = res;
        EXPECT_EQ(level.record->dispatch_table[kernel.key()].xlate(&res, &column, nullptr, &ctx), rows == 1 ? 1u : 0u);
        EXPECT_TRUE(keys.intact() && same(res, res_after)) << kernel.name;
        EXPECT_EQ(std::memcmp(keys.data(), expected.data(), rows * sizeof(ub4)), 0)
            << kernel.name << ", " << level.name;
      }
  }
}

} // namespace
