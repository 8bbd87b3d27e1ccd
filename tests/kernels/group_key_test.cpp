// Group keys: codes of several columns in one number a row, against a model that works one row at a time.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "check/column_data.h"
#include "check/column_format.h"
#include "check/guarded_sources.h"
#include "check/levels.h"
#include "check/stored_runs.h"
#include "check/test_host.h"
#include "reference/group_model.h"

namespace {

using namespace mipo::check;
using namespace mipo::reference;

constexpr unsigned code_widths[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 24, 32};

enum class Stored { row_by_row, run_lengths_of_8_bits, run_lengths_of_16_bits, run_starts };

struct ChosenColumns {
  std::vector<KeyColumn> columns;
  std::vector<Stored> stored;              // one a column
  std::vector<std::vector<ub4>> run_codes; // one a run
  std::vector<std::vector<ub4>> run_lengths;
  ub4 rows = 0;
};

ub4 choose_code(ub4 code_count, Random &random) {
  return static_cast<ub4>(random.chance(25) ? code_count - 1 : random.chance(10) ? 0 : random.below(code_count));
}

void choose_codes(ChosenColumns &chosen, Random &random) {
  for (KeyColumn &column : chosen.columns) {
    const auto stored = static_cast<Stored>(random.chance(60) ? 0 : 1 + random.below(3));
    chosen.stored.push_back(stored);
    auto &codes = chosen.run_codes.emplace_back();
    auto &lengths = chosen.run_lengths.emplace_back();
    while (column.codes.size() < chosen.rows) {
      const ub8 most = std::min<ub8>(chosen.rows - column.codes.size(), random.chance(80) ? 5 : 200);
      codes.push_back(choose_code(column.code_count, random));
      lengths.push_back(stored == Stored::row_by_row ? 1 : static_cast<ub4>(1 + random.below(most)));
      column.codes.insert(column.codes.end(), lengths.back(), codes.back());
    }
  }
}

// Columns whose keys fit, of widths as different as that allows.
ChosenColumns choose_columns(std::size_t count, ub4 rows, bool multiply, Random &random) {
  ChosenColumns chosen;
  chosen.rows = rows;
  do {
    chosen.columns.clear();
    for (std::size_t i = 0; i < count; ++i) {
      const unsigned bits = code_widths[random.below(random.chance(60) ? 5 : std::size(code_widths))];
      const ub8 most = bits == 32 ? 0xffffffff : ub8{1} << bits;
      chosen.columns.push_back(
          {bits, static_cast<ub4>(random.chance(50) ? most : 1 + random.below(std::min<ub8>(most, 50)))});
    }
  } while (key_range(chosen.columns, multiply).code != 0);
  choose_codes(chosen, random);
  return chosen;
}

class GroupKeyCase {
public:
  GroupKeyCase(const ChosenColumns &chosen, bool multiply, Random &random)
      : chosen_(chosen),
        multiply_(multiply),
        random_(random),
        compressed_(random.below(2 * chosen.columns.size() + 1)) {
    compression_ = some_compression(0, random);
    compression_.already_decompressed = false;
    for (std::size_t i = 0; i < chosen.columns.size(); ++i) place(i);
    descriptors_ = sources_.keep(placed_);
    fill_with_noise(random, ctx);
    ctx.host = host_.ctx();
    ctx.ones_vec = nullptr;
    ctx.ones_list = nullptr;
    ctx.eval_flags = static_cast<ub2>(multiply ? ctx.eval_flags | MIPO_EVAL_MULTIPLY_KEYS
                                               : ctx.eval_flags & ~MIPO_EVAL_MULTIPLY_KEYS);
  }

  struct Result {
    ub4 code, nset;
    std::vector<ub4> keys;
  };

  // One call with room for `capacity` keys, `chunk` at a time. What was changed without reason goes to `wrong`.
  Result run(const Level &level, ub4 capacity, ub4 chunk, std::string &wrong) {
    const Edge edge = some_edge(random_);
    const bool needs_temp = chosen_.columns.size() > 1;
    GuardedBuffer keys(capacity * sizeof(ub4), edge), codes(needs_temp ? chunk * sizeof(ub4) : 0, edge);
    GuardedBuffer range_memory(sizeof(mipo_group_range), edge);
    auto *range = reinterpret_cast<mipo_group_range *>(range_memory.data());
    mipo_vec out, temp;
    fill_with_noise(random_, out, temp);
    out.data = keys.data();
    out.nrows = capacity;
    temp.data = codes.data();
    temp.nrows = chunk;
    const KeyRange expected = key_range(chosen_.columns, multiply_);
    const auto count = static_cast<ub4>(chosen_.columns.size());
    const bool reads_rows = expected.code == 0 && count != 0 && capacity != 0 && ctx.next_row < chosen_.rows;
    std::vector<std::string> calls = {"temp_alloc(env, " + std::to_string(12 * count) +
                                      ", \"mipo_groupkey_dydi: temp column info\", 4, 0, cookie)"};
    if (reads_rows && compressed_ < count && !data_[compressed_].is_decompressed())
      for (const std::string &call :
           compression_.calls("mipo_decode_unpack_dict_" + std::to_string(chosen_.columns[compressed_].bits) + "bit"))
        calls.push_back(call);
    calls.push_back("temp_free(env, scratch, cookie)");
    host_.calls.clear();
    mipo_vec out_after = out, temp_after = temp;
    mipo_call_ctx ctx_after = ctx;

    const ub4 code = level.record->mipo_groupkey_dydi(&out, range, descriptors_, count, &temp, &ctx);

    const ub4 groups_after = expected.code == 0 ? static_cast<ub4>(expected.groups) : 0xa5a5a5a5;
    if (range->ngroups != groups_after)
      wrong += "range is " + std::to_string(range->ngroups) + ", not " + std::to_string(groups_after) + "; ";
    wrong += host_.difference_from(calls);
    if (expected.code == 0) {
      out_after.nset = out.nset;
      ctx_after.next_row = ctx.next_row;
      temp_after.nset = temp.nset; // its data is scratch, and so may be the count
    }
    if (!(same(out, out_after) && same(temp, temp_after) && same(ctx, ctx_after)))
      wrong += "changed a field that is not its own; ";
    if (!keys.intact() || !codes.intact() || !range_memory.intact()) wrong += "wrote beside a result; ";
    const auto *first = reinterpret_cast<const ub4 *>(keys.data());
    const ub4 written = expected.code == 0 ? std::min(out.nset, capacity) : 0;
    // Compacting the selected rows of bits stores whole registers, within the room there is.
    for (ub4 row = written; row < capacity && ctx.ones_vec == nullptr; ++row)
      if (first[row] != 0xa5a5a5a5) {
        wrong += "wrote a key after the last; ";
        break;
      }
    return {code, out.nset, {first, first + written}};
  }

  // From row `first` on, over outputs of `capacity` keys, with the model beside it.
  std::string run_to_the_end(const Level &level, ub4 first, ub4 capacity, ub4 chunk) {
    ctx.next_row = first;
    for (ColumnData &data : data_) data.forget_decompressed();
    const ub4 end = chosen_.columns.empty() ? 0 : chosen_.rows;
    for (ub4 row = first;;) {
      const ub4 rows = row >= end ? 0 : std::min(end - row, capacity);
      std::string wrong;
      const Result result = run(level, capacity, chunk, wrong);
      const ub4 code = row + rows < end ? 19 : 0;
      if (result.code != code)
        wrong += "the code is " + std::to_string(result.code) + ", not " + std::to_string(code) + "; ";
      if (result.nset != rows) wrong += std::to_string(result.nset) + " keys, not " + std::to_string(rows) + "; ";
      if (ctx.next_row != row + rows)
        wrong += "next_row is " + std::to_string(ctx.next_row) + ", not " + std::to_string(row + rows) + "; ";
      for (ub4 i = 0; i < result.keys.size() && wrong.empty(); ++i)
        if (const ub4 key = group_key(chosen_.columns, multiply_, row + i); result.keys[i] != key)
          wrong += "the key of row " + std::to_string(row + i) + " is " + std::to_string(result.keys[i]) + ", not " +
                   std::to_string(key) + "; ";
      if (!wrong.empty()) return "from row " + std::to_string(row) + ": " + wrong;
      row += rows;
      if (rows == 0 || code == 0) return {};
    }
  }

  mipo_call_ctx ctx;

private:
  void place(std::size_t i) {
    const KeyColumn &column = chosen_.columns[i];
    mipo_vec &vec = placed_.emplace_back();
    mipo_enc_ctx &enc = encodings_.emplace_back();
    fill_with_noise(random_, vec, enc);
    vec.enc_ctx = &enc;
    vec.nrows = chosen_.rows;
    vec.bv = nowhere_.words();
    enc.flags &= ~ub4{MIPO_RLE | MIPO_PACKED};
    if (column.has_codes) enc.flags |= MIPO_PACKED;
    enc.bits = column.bits;
    enc.sym_count = column.code_count;
    enc.width_index = static_cast<ub1>(mipo_convert_width(static_cast<int>(column.bits)));
    enc.decode_form = static_cast<ub1>(4 * enc.width_index + 1);
    std::vector<Value> values;
    for (const ub4 code : chosen_.run_codes[i]) values.push_back({code});
    const std::vector<ub1> bytes = code_format(column.bits).column(values, column.bits).data;
    compression_.compressed = i == compressed_;
    if (compression_.compressed) compression_.decomp_size = static_cast<ub4>(bytes.size());
    data_.emplace_back().place(compression_, bytes, vec, enc, host_, random_);
    compression_.compressed = true;
    if (chosen_.stored[i] == Stored::row_by_row) return;
    const auto form = static_cast<RunForm>(static_cast<int>(chosen_.stored[i]) - 1);
    place_runs(enc, chosen_.run_lengths[i], form, sources_, nowhere_);
  }

  const ChosenColumns &chosen_;
  bool multiply_;
  Random &random_;
  const std::size_t compressed_; // number of the column after the host's decompressor, if there is one of that number
  Compression compression_;
  TestHost host_;
  std::deque<ColumnData> data_;
  GuardedSources sources_;
  GuardedBuffer nowhere_{0};
  std::vector<mipo_vec> placed_;
  std::deque<mipo_enc_ctx> encodings_;
  const mipo_vec *descriptors_;
};

std::string describe(const ChosenColumns &chosen, bool multiply, const Level &level) {
  std::string text = std::to_string(chosen.rows) + " rows by " + (multiply ? "multiplying" : "shifting");
  for (std::size_t i = 0; i < chosen.columns.size(); ++i)
    text += ", " + std::to_string(chosen.columns[i].code_count) + " codes of " +
            std::to_string(chosen.columns[i].bits) + " bits form " + std::to_string(static_cast<int>(chosen.stored[i]));
  return text + " at level " + level.name;
}

void expect_keys(const ChosenColumns &chosen, bool multiply, ub4 first, ub4 capacity, ub4 chunk, Random &random) {
  GroupKeyCase in_memory(chosen, multiply, random);
  for (const Level &level : levels()) {
    const std::string what = running(describe(chosen, multiply, level));
    ASSERT_EQ(in_memory.run_to_the_end(level, first, capacity, chunk), "")
        << what << ", seed " << test_seed() << ", first row " << first << ", capacity " << capacity << ", chunk "
        << chunk;
  }
}

TEST(GroupKeyTest, KeysOfManyColumns) {
  Random random;
  for (const bool multiply : {false, true})
    for (std::size_t count = 0; count <= 5; ++count)
      for (const ub4 rows : {0, 1, 2, 3, 4, 5, 7, 8, 9, 31, 33, 127, 128, 129, 1000})
        for (int repeat = 0; repeat < 6; ++repeat) {
          const ChosenColumns chosen = choose_columns(count, rows, multiply, random);
          const auto first = static_cast<ub4>(random.chance(60) ? 0 : random.below(rows + 3));
          const auto capacity = static_cast<ub4>(random.chance(50) ? rows + 1 : 1 + random.below(rows + 1));
          const auto chunk = static_cast<ub4>(random.chance(50) ? rows + 1 : 1 + random.below(rows + 1));
          expect_keys(chosen, multiply, first, capacity, chunk, random);
        }
}

TEST(GroupKeyTest, EveryWidthGivesItsCodes) {
  Random random;
  for (const unsigned bits : code_widths)
    for (const unsigned other : {1u, 8u, 15u}) {
      ChosenColumns chosen;
      chosen.rows = 77;
      chosen.columns = {{bits, bits == 32 ? 0xffffffff : ub4{1} << bits}};
      if (bits + other <= 32) chosen.columns.push_back({other, ub4{1} << other});
      if (random.chance(50)) std::swap(chosen.columns.front(), chosen.columns.back());
      if (key_range(chosen.columns, false).code != 0) chosen.columns.pop_back();
      choose_codes(chosen, random);
      expect_keys(chosen, false, 0, 77, static_cast<ub4>(1 + random.below(80)), random);
    }
}

TEST(GroupKeyTest, EveryChunkAndEveryCapacity) {
  Random random;
  constexpr ub4 rows = 37;
  for (const bool multiply : {false, true})
    for (std::size_t count = 1; count <= 5; ++count)
      for (ub4 size = 0; size <= rows + 2; ++size) {
        const ChosenColumns chosen = choose_columns(count, rows, multiply, random);
        const auto other = static_cast<ub4>(1 + random.below(rows + 2));
        expect_keys(chosen, multiply, static_cast<ub4>(random.below(4)), size, other, random);
        if (size != 0) expect_keys(chosen, multiply, static_cast<ub4>(random.below(4)), other, size, random);
      }
}

// Selected rows alone have keys; how far a call gets after the last of them is its own affair.
TEST(GroupKeyTest, KeysOfSelectedRows) {
  Random random;
  for (const bool multiply : {false, true})
    for (const int selection : {0, 1, 2}) // bits, bits one by one, a list
      for (std::size_t count = 1; count <= 3; ++count)
        for (const unsigned percent : {1, 30, 100})
          for (const ub4 rows : {1, 40, 300}) {
            const ChosenColumns chosen = choose_columns(count, rows, multiply, random);
            GroupKeyCase in_memory(chosen, multiply, random);
            GuardedSources sources;
            std::vector<ub4> selected, expected;
            std::vector<bool> bits(rows);
            for (ub4 row = 0; row < rows; ++row)
              if (bits[row] = random.chance(percent); bits[row]) selected.push_back(row);
            if (selected.empty()) bits[0] = true, selected.push_back(0);
            for (const ub4 row : selected) expected.push_back(group_key(chosen.columns, multiply, row));
            if (selection == 2) {
              in_memory.ctx.ones_list = sources.keep(selected);
              in_memory.ctx.ones_list_len = static_cast<ub4>(selected.size());
            } else {
              in_memory.ctx.ones_vec = sources.keep_bits(bits, random);
              in_memory.ctx.eval_flags = static_cast<ub2>((in_memory.ctx.eval_flags & ~MIPO_EVAL_SELECTIVE) |
                                                          (selection == 1 ? MIPO_EVAL_SELECTIVE : 0));
            }
            const auto capacity = static_cast<ub4>(random.chance(50) ? rows : 1 + random.below(rows));
            const auto chunk = static_cast<ub4>(random.chance(50) ? rows : 1 + random.below(rows));
            for (const Level &level : levels()) {
              const std::string what =
                  running(describe(chosen, multiply, level) + ", selection " + std::to_string(selection));
              in_memory.ctx.next_row = 0;
              std::vector<ub4> keys;
              for (ub4 code = 19; code != 0;) {
                std::string wrong;
                const GroupKeyCase::Result result = in_memory.run(level, capacity, chunk, wrong);
                code = result.code;
                keys.insert(keys.end(), result.keys.begin(), result.keys.end());
                ASSERT_EQ(wrong, "") << what;
                ASSERT_TRUE(code == 0 || (code == 19 && result.nset == capacity)) << what << ", code " << code;
                ASSERT_LE(keys.size(), expected.size()) << what;
              }
              ASSERT_EQ(keys, expected) << what << ", capacity " << capacity << ", chunk " << chunk << ", seed "
                                        << test_seed();
            }
          }
}

// Ranges up to the last number of 32 bits, and one beyond; a column without codes is told first.
TEST(GroupKeyTest, RangesThatFitAndRangesThatDoNot) {
  Random random;
  const KeyColumn none = {8, 1, false}, wide = {32, 0xffffffff};
  const struct {
    std::vector<KeyColumn> columns;
    bool multiply;
    ub4 code;
  } cases[] = {{{wide}, false, 0},
               {{wide}, true, 0},
               {{{16, 65536}, {16, 65535}}, false, 0},
               {{{16, 65536}, {16, 65536}}, false, 4},
               {{{16, 65535}, {16, 65536}}, false, 0},
               {{{17, 65537}, {16, 1}}, false, 4}, // the first column's last key, shifted, is beyond already
               {{{17, 65537}, {16, 65535}}, true, 0},
               {{{16, 65536}, {16, 65535}}, true, 0},
               {{{16, 65536}, {17, 65536}}, true, 4},
               {{{17, 65537}, {16, 65535}, {1, 1}}, true, 0},
               {{{17, 65537}, {16, 65535}, {1, 2}}, true, 4},
               {{{1, 1}, wide}, false, 0}, // keys that are all 0 so far stand any shift
               {{{1, 2}, wide}, false, 4},
               {{{1, 1}, wide, {1, 1}}, true, 0},
               {{wide, wide}, true, 4},
               {{wide, {1, 1}}, true, 0},
               {{wide, {1, 1}}, false, 4},
               {{none}, false, 2},
               {{none}, true, 2},
               {{{4, 9}, none}, false, 2},
               {{{4, 9}, none}, true, 2},
               {{wide, wide, none}, true, 4},
               {{wide, wide, none}, false, 4},
               {{none, wide, wide}, true, 2},
               {{wide, {32, 0xffffffff, false}}, true, 2}, // no codes, and a range beyond: that of no codes
               {{wide, {32, 0xffffffff, false}}, false, 2}};
  for (const auto &[columns, multiply, code] : cases) {
    ChosenColumns chosen;
    chosen.columns = columns;
    chosen.rows = 20;
    choose_codes(chosen, random);
    ASSERT_EQ(key_range(columns, multiply).code, code);
    if (code == 0) {
      expect_keys(chosen, multiply, 0, 20, 7, random);
      continue;
    }
    GroupKeyCase in_memory(chosen, multiply, random);
    for (const Level &level : levels())
      for (const ub4 first : {0u, 3u, 20u, 21u}) {
        const std::string what = running(describe(chosen, multiply, level));
        in_memory.ctx.next_row = first;
        std::string wrong;
        EXPECT_EQ(in_memory.run(level, 20, 20, wrong).code, code) << what;
        EXPECT_EQ(wrong, "") << what;
      }
  }
}

} // namespace
