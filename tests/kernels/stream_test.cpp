// Whole streams of byte strings: prefix-compressed values, comparison, and the copy of selected rows that goes on where
// it stopped.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "check/guarded_sources.h"
#include "check/levels.h"
#include "check/test_host.h"
#include "reference/stream_model.h"

namespace {

using namespace mipo::check;
using namespace mipo::reference;

constexpr struct RowShape {
  const char *name;
  ub4 flag;
  bool has_stream; ///< a row's place follows from the lengths before it
  bool has_lens;
  bool has_addresses;
} shapes[] = {{"fixed", MIPO_FIXED, false, false, false},
              {"lv", MIPO_LV, true, false, false},
              {"lv_sep", MIPO_LV_SEP, true, true, false},
              {"lp", MIPO_LP, false, false, true},
              {"lp_sep", MIPO_LP_SEP, false, true, true}};
constexpr ub4 all_shape_flags = MIPO_FIXED | MIPO_LV | MIPO_LV_SEP | MIPO_LP | MIPO_LP_SEP;

template <class T>
void append(std::vector<ub1> &bytes, const T &element) {
  const auto *first = reinterpret_cast<const ub1 *>(&element);
  bytes.insert(bytes.end(), first, first + sizeof element);
}

std::string random_bytes(std::size_t size, Random &random) {
  std::string bytes(size, '\0');
  for (char &byte : bytes) byte = static_cast<char>(random.next());
  return bytes;
}

struct StoredRows {
  std::vector<ub1> data;
  std::vector<ub2> lens;
};

StoredRows store(const Rows &rows, const std::vector<ub8> &addresses, const std::vector<ub4> &which,
                 const RowShape &shape) {
  StoredRows stored;
  for (const ub4 row : which) {
    const auto length = static_cast<ub2>(rows[row].size());
    if (shape.flag == MIPO_LV || shape.flag == MIPO_LP) append(stored.data, length);
    if (shape.has_addresses)
      append(stored.data, addresses[row]);
    else
      stored.data.insert(stored.data.end(), rows[row].begin(), rows[row].end());
    if (shape.has_lens) stored.lens.push_back(length);
  }
  return stored;
}

// A stream in guarded memory; what its shape does not have leads to an inaccessible page.
struct Stream {
  Stream(const Rows &rows, const RowShape &shape, std::size_t fixed_width, Random &random) {
    fill_with_noise(random, vec, enc);
    // The bytes of rows with addresses lie in any order, with others in between.
    std::vector<ub1> heap;
    std::vector<std::size_t> offsets(rows.size());
    if (shape.has_addresses)
      for (std::size_t place = 0; place < rows.size(); ++place) {
        const std::size_t row = place % 2 == 0 ? place / 2 : rows.size() - 1 - place / 2;
        if (place != 0) heap.resize(heap.size() + random.below(3), static_cast<ub1>(random.next()));
        offsets[row] = heap.size();
        heap.insert(heap.end(), rows[row].begin(), rows[row].end());
      }
    const ub1 *heap_bytes = sources.keep(heap, some_edge(random));
    for (std::size_t row = 0; row < rows.size(); ++row)
      addresses.push_back(reinterpret_cast<ub8>(rows[row].empty() ? nowhere.data() : heap_bytes + offsets[row]));

    std::vector<ub4> all(rows.size());
    std::iota(all.begin(), all.end(), 0);
    const StoredRows stored = store(rows, addresses, all, shape);
    vec.data = sources.keep(stored.data, some_edge(random));
    vec.lens = shape.has_lens ? static_cast<void *>(sources.keep(stored.lens, some_edge(random))) : nowhere.data();
    vec.bv = nowhere.words();
    vec.enc_ctx = &enc;
    vec.nrows = static_cast<ub4>(rows.size());
    enc.flags = (enc.flags & ~all_shape_flags) | shape.flag;
    if (shape.flag == MIPO_FIXED) enc.bits = static_cast<ub4>(8 * fixed_width);
  }
  Stream(const Stream &) = delete;
  Stream &operator=(const Stream &) = delete;

  mipo_vec vec;
  mipo_enc_ctx enc;
  std::vector<ub8> addresses;
  GuardedSources sources;
  GuardedBuffer nowhere{0};
};

std::vector<std::size_t> widths_of(const RowShape &shape) {
  if (shape.flag == MIPO_FIXED) return {1, 2, 3, 4, 5, 7, 8, 9, 16, 31, 300};
  return {20}; // the longest of most rows
}

Rows choose_rows(std::size_t count, const RowShape &shape, std::size_t width, Random &random) {
  Rows rows;
  for (std::size_t row = 0; row < count; ++row) {
    const std::size_t length = shape.flag == MIPO_FIXED ? width
                               : random.chance(3)       ? 250 + random.below(80)
                                                        : random.below(width + 1);
    rows.push_back(random_bytes(random.chance(20) && shape.flag != MIPO_FIXED ? 0 : length, random));
  }
  return rows;
}

// Another row that differs as little as can be: in one bit, or in its length alone.
std::string changed(std::string row, bool length_may_change, Random &random) {
  if (length_may_change && (row.empty() || random.chance(40))) {
    if (row.empty() || random.chance(50)) return row + random_bytes(1, random);
    row.pop_back();
    return row;
  }
  const std::size_t byte = random.chance(40) ? row.size() - 1 : random.below(row.size());
  row[byte] = static_cast<char>(row[byte] ^ 1 << random.below(8));
  return row;
}

void expect_comparison(const Rows &left_rows, const Rows &right_rows, const RowShape &shape, std::size_t width,
                       Random &random) {
  Stream left(left_rows, shape, width, random), right(right_rows, shape, width, random);
  // Rows and width are those of the left side.
  right.vec.nrows = static_cast<ub4>(random.next());
  right.enc.bits = static_cast<ub4>(random.next());
  const EqualRows expected = compare_streams(left_rows, right_rows);
  for (const Level &level : levels()) {
    const std::string what = running(std::string("comparison of ") + shape.name + " at level " + level.name);
    GuardedBuffer words((left_rows.size() + 63) / 64 * sizeof(ub8), some_edge(random));
    mipo_vec res;
    fill_with_noise(random, res);
    res.data = right.nowhere.data();
    res.bv = words.words();
    mipo_vec res_after = res;
    res_after.nset = expected.nset;
    const mipo_vec left_before = left.vec, right_before = right.vec;

    const ub4 code = level.record->mipo_eq_stream_dydi(&res, &left.vec, &right.vec, random.next());

    const std::vector<ub8> untouched(words.size() / sizeof(ub8), 0xa5a5a5a5a5a5a5a5);
    const std::vector<ub8> got(words.words(), words.words() + untouched.size());
    ASSERT_TRUE(code == expected.code && res.nset == expected.nset && got == expected.words.value_or(untouched))
        << what << ", seed " << test_seed() << ", " << left_rows.size() << " rows of width " << width << ": code "
        << code << ", not " << expected.code << "; " << res.nset << " equal rows, not " << expected.nset
        << (expected.words ? "" : "; the bit vector was to be left alone");
    ASSERT_TRUE(words.intact() && same(res, res_after) && same(left.vec, left_before) && same(right.vec, right_before))
        << what;
  }
}

TEST(StreamTest, ComparisonFindsUnequalRows) {
  Random random;
  for (const RowShape &shape : shapes)
    for (const std::size_t width : widths_of(shape))
      for (const std::size_t count : {0, 1, 2, 63, 64, 65, 127, 128, 129, 130, 256, 300})
        for (int kind = 0; kind < 8; ++kind) {
          const Rows left = choose_rows(count, shape, width, random);
          Rows right = left;
          const std::size_t only = kind == 2   ? 0
                                   : kind == 3 ? count - 1
                                               : random.below(std::max<std::size_t>(count, 1));
          for (std::size_t row = 0; row < count; ++row)
            if (kind == 0 ? false : kind == 1 ? true : kind < 6 ? row == only : random.chance(kind == 6 ? 3 : 50))
              right[row] = changed(right[row], shape.flag != MIPO_FIXED, random);
          expect_comparison(left, right, shape, width, random);
        }
}

// Of unlike shapes, or of none that is served, nothing is read and nothing written.
TEST(StreamTest, UnlikeShapesAreRefused) {
  Random random;
  GuardedBuffer nowhere(0);
  std::vector<ub4> flags = {0, MIPO_PACKED, MIPO_CODES};
  for (const RowShape &shape : shapes) flags.push_back(shape.flag);
  for (const Level &level : levels())
    for (const ub4 first : flags)
      for (const ub4 second : flags) {
        if (first == second && (first & all_shape_flags) != 0) continue;
        const std::string what =
            running(std::to_string(first) + " and " + std::to_string(second) + " at level " + level.name);
        mipo_vec vecs[3]; // the result and two sides, or the result and the source
        mipo_enc_ctx encs[3];
        mipo_call_ctx ctx;
        fill_with_noise(random, vecs, ctx);
        for (std::size_t i = 0; i < 3; ++i) {
          vecs[i].data = vecs[i].lens = nowhere.data();
          vecs[i].bv = nowhere.words();
          vecs[i].enc_ctx = &encs[i];
          if (random.chance(20)) vecs[i].nrows = 0;
          fill_with_noise(random, encs[i]);
          encs[i].flags &= ~ub4{all_shape_flags | MIPO_PACKED | MIPO_CODES};
        }
        encs[1].flags |= first;
        encs[0].flags |= second;
        encs[2].flags |= second;
        ctx.ones_vec = nowhere.words();
        ctx.ones_list = random.chance(50) ? reinterpret_cast<const ub4 *>(nowhere.data()) : nullptr;
        mipo_vec before[3];
        std::memcpy(before, vecs, sizeof vecs);
        const mipo_call_ctx ctx_before = ctx;
        EXPECT_EQ(level.record->mipo_eq_stream_dydi(&vecs[0], &vecs[1], &vecs[2], 0), 2u) << what;
        EXPECT_EQ(level.record->mipo_selective_dydi(&vecs[0], &vecs[1], &ctx), 2u) << what;
        EXPECT_TRUE(same(vecs, before) && same(ctx, ctx_before)) << what;
      }
}

class SelectiveCase {
public:
  SelectiveCase(const SelectiveCopy &call, const RowShape &shape, std::size_t width, Random &random)
      : call_(call), shape_(shape), width_(width), random_(random), source_(call.rows, shape, width, random) {
    fill_with_noise(random, ctx_);
    ctx_.host = reinterpret_cast<mipo_host_ctx *>(source_.nowhere.data());
    ctx_.ones_vec = nullptr;
    ctx_.ones_list = nullptr;
    if (call.is_list) {
      ctx_.ones_list = sources_.keep(call.selected, some_edge(random));
      ctx_.ones_list_len = static_cast<ub4>(call.selected.size());
      source_.vec.nrows = static_cast<ub4>(random.next());
      if (random.chance(50)) ctx_.ones_vec = source_.nowhere.words(); // beside a list, the bits are not looked at
    } else {
      std::vector<bool> bits(call.rows.size());
      for (const ub4 row : call.selected) bits[row] = true;
      ctx_.ones_vec = sources_.keep_bits(bits, random);
    }
    fill_with_noise(random, res_enc_);
    res_enc_.flags = (res_enc_.flags & ~all_shape_flags) | shape.flag;
    if (shape.flag == MIPO_FIXED) res_enc_.bits = source_.enc.bits;
  }

  // Copies over outputs of the call's capacities until all is done, or nothing gets on. What is wrong, or an empty
  // text.
  std::string run_to_the_end(const Level &level) {
    ctx_.next_row = 0;
    if (shape_.has_stream) ctx_.data_pos = 0;
    SelectiveCopy rest = call_;
    for (;;) {
      rest.next_row = ctx_.next_row;
      const SelectiveOutcome expected = copy_selected(rest);
      if (std::string wrong = run(level, expected); !wrong.empty())
        return "from position " + std::to_string(rest.next_row) + ": " + wrong;
      if (expected.code == 0 && is_done_) return {};
      is_done_ = expected.code == 0; // then once more: nothing is left
      if (expected.code != 0 && expected.copied.empty()) return {};
    }
  }

private:
  std::string run(const Level &level, const SelectiveOutcome &expected) {
    const std::size_t data_bytes = call_.byte_capacity      ? *call_.byte_capacity
                                   : shape_.has_lens        ? call_.row_capacity * sizeof(ub8)
                                   : shape_.flag == MIPO_LP ? call_.row_capacity * std::size_t{10}
                                                            : call_.row_capacity * width_;
    const Edge edge = some_edge(random_);
    GuardedBuffer data(data_bytes, edge), lens(shape_.has_lens ? call_.row_capacity * sizeof(ub2) : 0, edge);
    mipo_vec res;
    fill_with_noise(random_, res);
    res.data = data.data();
    res.lens = lens.data();
    res.bv = source_.nowhere.words();
    res.enc_ctx = &res_enc_;
    res.nrows = call_.row_capacity;
    if (call_.byte_capacity) res.data_bytes = *call_.byte_capacity;
    mipo_vec res_after = res;
    res_after.nrows = static_cast<ub4>(expected.copied.size());
    if (call_.byte_capacity) res_after.data_bytes = expected.bytes;
    const mipo_vec src_before = source_.vec;
    mipo_call_ctx ctx_after = ctx_;
    ctx_after.next_row = expected.next_row;

    const ub4 code = level.record->mipo_selective_dydi(&res, &source_.vec, &ctx_);

    std::string wrong;
    const auto compare = [&](const char *field, ub8 is, ub8 should_be) {
      if (is != should_be)
        wrong += std::string(field) + " is " + std::to_string(is) + ", not " + std::to_string(should_be) + "; ";
    };
    compare("the code", code, expected.code);
    compare("nrows", res.nrows, res_after.nrows);
    compare("data_bytes", res.data_bytes, res_after.data_bytes);
    compare("next_row", ctx_.next_row, expected.next_row);
    if (shape_.has_stream && expected.data_pos) compare("data_pos", ctx_.data_pos, *expected.data_pos);
    if (shape_.has_stream) ctx_after.data_pos = ctx_.data_pos;
    StoredRows output = store(call_.rows, source_.addresses, expected.copied, shape_);
    output.data.resize(data.size(), 0xa5);
    output.lens.resize(lens.size() / sizeof(ub2), 0xa5a5);
    if (!std::equal(output.data.begin(), output.data.end(), data.data())) wrong += "the data is wrong; ";
    if (!output.lens.empty() && std::memcmp(output.lens.data(), lens.data(), lens.size()) != 0)
      wrong += "the lengths are wrong; ";
    if (!data.intact() || !lens.intact()) wrong += "wrote beside the output; ";
    if (wrong.empty() && !(same(res, res_after) && same(source_.vec, src_before) && same(ctx_, ctx_after)))
      wrong = "changed a field that is not its own";
    return wrong;
  }

  SelectiveCopy call_;
  const RowShape &shape_;
  std::size_t width_;
  Random &random_;
  Stream source_;
  GuardedSources sources_;
  mipo_enc_ctx res_enc_;
  mipo_call_ctx ctx_;
  bool is_done_ = false;
};

void expect_copy(const SelectiveCopy &call, const RowShape &shape, std::size_t width, Random &random) {
  SelectiveCase in_memory(call, shape, width, random);
  for (const Level &level : levels()) {
    const std::string what = running(std::string("copy of ") + shape.name + " at level " + level.name);
    ASSERT_EQ(in_memory.run_to_the_end(level), "")
        << what << ", seed " << test_seed() << ", " << call.selected.size() << " of " << call.rows.size() << " rows by "
        << (call.is_list ? "list" : "bits") << ", capacity " << call.row_capacity << " rows, "
        << call.byte_capacity.value_or(0) << " bytes, width " << width;
  }
}

SelectiveCopy choose_copy(std::size_t count, const RowShape &shape, std::size_t width, bool is_list, unsigned percent,
                          Random &random) {
  SelectiveCopy call;
  call.rows = choose_rows(count, shape, width, random);
  if (shape.has_stream && random.chance(30)) // rows without bytes before the first byte
    for (std::size_t row = 0; row < std::min<std::size_t>(count, 3); ++row) call.rows[row].clear();
  call.is_list = is_list;
  for (ub4 row = 0; row < count; ++row)
    if (random.chance(percent)) call.selected.push_back(row);
  call.row_capacity = static_cast<ub4>(count + 1);
  if (shape.flag == MIPO_LV) call.bytes_beside_row = sizeof(ub2);
  if (shape.has_stream) call.byte_capacity = call.position_of(static_cast<ub4>(count)) + 1;
  return call;
}

TEST(StreamTest, CopyGoesOnFromEveryRowAndByte) {
  Random random;
  for (const RowShape &shape : shapes)
    for (const bool is_list : {false, true})
      for (const std::size_t width : widths_of(shape))
        for (const unsigned percent : {0, 30, 100}) {
          const SelectiveCopy whole = choose_copy(14, shape, width, is_list, percent, random);
          SelectiveCopy part = whole;
          for (part.row_capacity = 0; part.row_capacity <= whole.selected.size() + 1; ++part.row_capacity) {
            expect_copy(part, shape, width, random);
          }
          if (!shape.has_stream) continue;
          part.row_capacity = whole.row_capacity;
          for (part.byte_capacity = 0; *part.byte_capacity <= *whole.byte_capacity; ++*part.byte_capacity) {
            if (random.chance(20)) part.row_capacity = static_cast<ub4>(1 + random.below(5));
            expect_copy(part, shape, width, random);
            part.row_capacity = whole.row_capacity;
          }
        }
}

TEST(StreamTest, CopyOfLongStreams) {
  Random random;
  for (const RowShape &shape : shapes)
    for (const std::size_t width : widths_of(shape))
      for (const std::size_t count : {0, 1, 63, 64, 65, 128, 256, 300, 512})
        for (const bool is_list : {false, true})
          for (const unsigned percent : {2, 50, 95, 100}) {
            SelectiveCopy call = choose_copy(count, shape, width, is_list, percent, random);
            if (random.chance(50)) call.row_capacity = static_cast<ub4>(1 + random.below(count + 1));
            expect_copy(call, shape, width, random);
          }
}

// Rows that a walk over the stream has passed cannot be found again: the host is told, the walk goes on.
TEST(StreamTest, DecreasingListEntriesAreReported) {
  Random random;
  const std::string report =
      "hostierr(env, frame, \"mipo_selective found decreasing indices in ones_vec with LV or LV_SEP input\", 0)";
  const Rows rows = {"a", "bc", "", "def", "g", "hi", "jkl", "m", "no", "pqr"};
  const struct {
    std::vector<ub4> list;
    std::size_t reports;
  } cases[] = {{{5, 3, 9}, 1}, {{6, 1, 0, 9}, 2}, {{0, 4, 2, 7, 3, 9}, 2}, {{1, 5, 9}, 0}};
  for (const RowShape &shape : {shapes[1], shapes[2]})
    for (const auto &[list, reports] : cases)
      for (const Level &level : levels()) {
        const std::string what = running(std::string("list for ") + shape.name + " at level " + level.name);
        Stream source(rows, shape, 0, random);
        GuardedBuffer data(200), lens(20);
        TestHost host;
        mipo_vec res{};
        res.data = data.data();
        res.lens = lens.data();
        res.enc_ctx = &source.enc;
        res.nrows = 10;
        res.data_bytes = 200;
        mipo_call_ctx ctx{};
        ctx.host = host.ctx();
        ctx.ones_list = source.sources.keep(list);
        ctx.ones_list_len = static_cast<ub4>(list.size());
        EXPECT_EQ(level.record->mipo_selective_dydi(&res, &source.vec, &ctx), 0u) << what;
        EXPECT_EQ(host.calls, std::vector<std::string>(reports, report)) << what;
        EXPECT_EQ(ctx.next_row, list.size()) << what;
        EXPECT_EQ(res.nrows, list.size()) << what;
        // The entries that could be found are right.
        const StoredRows first = store(rows, source.addresses, {list.front()}, shape);
        const StoredRows last = store(rows, source.addresses, {list.back()}, shape);
        EXPECT_EQ(std::memcmp(data.data(), first.data.data(), first.data.size()), 0) << what;
        ASSERT_GE(res.data_bytes, last.data.size()) << what;
        EXPECT_EQ(std::memcmp(data.data() + res.data_bytes - last.data.size(), last.data.data(), last.data.size()), 0)
            << what;
      }
}

struct PrefixStream {
  Rows rows;
  std::vector<ub1> data, offsets;
};

// Groups in any order, with bytes of nobody in between; the prefix may be shorter than what the rows share.
PrefixStream choose_prefix_stream(std::size_t row_count, std::size_t groups, std::size_t width, Random &random) {
  constexpr std::size_t group_rows = 16;
  PrefixStream stream;
  std::vector<ub4> starts(groups);
  for (std::size_t row = 0; row < row_count; ++row) {
    const std::size_t shared = row % group_rows == 0 ? 0 : random.below(width + 1);
    stream.rows.push_back(stream.rows.empty() || shared == 0
                              ? random_bytes(width, random)
                              : stream.rows.back().substr(0, shared) + random_bytes(width - shared, random));
  }
  for (std::size_t place = 0; place < groups; ++place) {
    const std::size_t group = place % 2 == 0 ? place / 2 : groups - 1 - place / 2;
    const std::size_t first = std::min(group * group_rows, row_count);
    const std::size_t last = std::min(first + group_rows, row_count);
    std::size_t shared = width;
    for (std::size_t row = first; row < last; ++row)
      while (stream.rows[row].compare(0, shared, stream.rows[first], 0, shared) != 0) --shared;
    if (random.chance(30)) shared = random.below(shared + 1);
    if (first == last) shared = 0;
    stream.data.resize(stream.data.size() + (place != 0 ? random.below(3) : 0), static_cast<ub1>(random.next()));
    starts[group] = static_cast<ub4>(stream.data.size());
    stream.data.push_back(static_cast<ub1>(shared));
    const auto add = [&](const std::string &bytes) {
      stream.data.insert(stream.data.end(), bytes.begin(), bytes.end());
    };
    if (first != last) add(stream.rows[first].substr(0, shared));
    for (std::size_t row = first; row < last; ++row) add(stream.rows[row].substr(shared));
  }
  for (const ub4 start : starts)
    for (int shift = 24; shift >= 0; shift -= 8) stream.offsets.push_back(static_cast<ub1>(start >> shift));
  return stream;
}

TEST(StreamTest, PrefixStreams) {
  Random random;
  GuardedBuffer nowhere(0);
  for (std::size_t width = 1; width <= 8; ++width)
    for (const std::size_t rows : {0, 1, 2, 15, 16, 17, 31, 32, 33, 48, 100, 161})
      for (int kind = 0; kind < 6; ++kind) {
        // Groups that the rows do not reach have none; of rows without a group, none is written.
        const std::size_t needed = (rows + 15) / 16;
        const std::size_t groups = kind == 0 ? needed + 1 : kind == 1 ? needed / 2 : needed;
        const std::size_t written = std::min(rows, groups * 16);
        const PrefixStream stream = choose_prefix_stream(rows, std::max(groups, needed), width, random);
        GuardedSources sources;
        for (const Level &level : levels()) {
          const std::string what = running(std::to_string(rows) + " rows in " + std::to_string(groups) +
                                           " groups of width " + std::to_string(width) + " at level " + level.name);
          mipo_vec res, src;
          mipo_enc_ctx enc;
          mipo_call_ctx ctx;
          fill_with_noise(random, res, src, enc, ctx);
          GuardedBuffer output(written * width, some_edge(random));
          GuardedBuffer references(written * 16, some_edge(random));
          res.data = output.data();
          src.enc_ctx = &enc;
          src.data = sources.keep(stream.data, some_edge(random));
          src.lens = sources.keep(stream.offsets, some_edge(random));
          src.nrows = static_cast<ub4>(groups);
          enc.prefix_bytes = 16;
          enc.prefix_width = static_cast<ub2>(width);
          enc.prefix_rows = static_cast<ub4>(rows);
          const bool has_references = kind % 3 == 2;
          ctx.row_refs = has_references ? references.data() : nullptr;
          const mipo_vec res_before = res, src_before = src;
          const mipo_call_ctx ctx_before = ctx;

          EXPECT_EQ(level.record->mipo_prefix_decode_dydi(&res, &src, kind % 3 == 0 ? nullptr : &ctx), 0u) << what;

          std::string values;
          for (std::size_t row = 0; row < written; ++row) values += stream.rows[row];
          ASSERT_EQ(std::memcmp(output.data(), values.data(), values.size()), 0) << what << ", seed " << test_seed();
          for (std::size_t row = 0; has_references && row < written; ++row) {
            std::vector<ub1> reference;
            append(reference, reinterpret_cast<ub8>(output.data() + row * width));
            append(reference, static_cast<ub2>(width));
            append(reference, ub2{0});
            ASSERT_EQ(std::memcmp(references.data() + 16 * row, reference.data(), reference.size()), 0)
                << what << ", reference " << row;
          }
          if (!has_references) {
            const std::vector<ub1> untouched(references.size(), 0xa5);
            ASSERT_TRUE(std::equal(untouched.begin(), untouched.end(), references.data())) << what;
          }
          ASSERT_TRUE(output.intact() && references.intact()) << what;
          ASSERT_TRUE(same(res, res_before) && same(src, src_before) && same(ctx, ctx_before)) << what;
        }
      }
}

TEST(StreamTest, PrefixStreamsOfOtherShapesAreRefused) {
  Random random;
  GuardedBuffer nowhere(0);
  const struct {
    ub2 group_rows, width;
    ub4 groups, code;
  } cases[] = {{16, 0, 1, 24}, {16, 9, 1, 24}, {16, 0x100, 1, 24}, {16, 0xffff, 1, 24}, {15, 4, 1, 24}, {0, 4, 1, 24},
               {17, 8, 3, 24}, {16, 9, 0, 24}, {0x110, 4, 0, 24},  {16, 1, 0, 0},       {16, 8, 0, 0}};
  for (const auto &[group_rows, width, groups, code] : cases)
    for (const Level &level : levels()) {
      mipo_vec res, src;
      mipo_enc_ctx enc;
      fill_with_noise(random, res, src, enc);
      res.data = src.data = src.lens = nowhere.data();
      src.enc_ctx = &enc;
      src.nrows = groups;
      enc.prefix_bytes = group_rows;
      enc.prefix_width = width;
      const mipo_vec res_before = res;
      running("refusal of a prefix stream");
      EXPECT_EQ(level.record->mipo_prefix_decode_dydi(&res, &src, nullptr), code)
          << group_rows << " rows a group, width " << width << " at level " << level.name;
      EXPECT_TRUE(same(res, res_before));
    }
}

} // namespace
