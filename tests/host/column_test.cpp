// Columns as kernels see them: bytes, widths, memory, and a predicate over plain and compressed storage.
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <vector>

#include "host/reversal.h"
#include "mipo/host/column.h"
#include "mipo/host/context.h"
#include "mipo/host/predicate.h"
#include "mipo/host/translation_table.h"

namespace mipo::host {
namespace {

Dictionary numbers_up_to(ub8 values, bool has_null = false) {
  std::vector<std::int64_t> numbers(values);
  std::iota(numbers.begin(), numbers.end(), 0);
  return Dictionary({ValueKind::integer}, numbers, has_null);
}

TEST(Column, TakesTheNarrowestWidth) {
  const struct {
    ub8 values;
    bool has_null;
    int bits;
  } cases[] = {{0, false, 1},  {0, true, 1},      {2, false, 1},        {2, true, 2},        {255, true, 8},
               {256, true, 9}, {65536, true, 17}, {1 << 20, false, 20}, {1 << 20, true, 24}, {1 << 24, true, 32}};
  for (const auto &c : cases) {
    Dictionary dictionary = numbers_up_to(c.values, c.has_null);
    const auto last = static_cast<ub4>(dictionary.code_count() - (dictionary.code_count() != 0 ? 1 : 0));
    const std::vector<ub4> codes(c.values != 0 ? 3 : 0, last);
    const EncodedColumn column(codes, std::move(dictionary), {Encoding{}, {}});
    EXPECT_EQ(column.bits(), c.bits) << c.values;
    for (ub4 row = 0; row < column.rows(); ++row) EXPECT_EQ(column.code(row), last);
  }
}

TEST(Column, RefusesCodesThatDoNotFit) {
  const std::vector<ub4> outside = {0, 5};
  EXPECT_THROW(EncodedColumn(outside, numbers_up_to(5)), ArgumentError);
  const std::vector<ub4> inside = {0, 4};
  EXPECT_THROW(EncodedColumn(inside, numbers_up_to(300), {Encoding{ValueForm::dictionary, 8}, {}}), EncodingError);
  EXPECT_THROW(EncodedColumn(inside, numbers_up_to(5), {Encoding{ValueForm::dictionary, 21}, {}}), EncodingError);
}

ColumnOptions options_for(int bits, bool compressed) {
  return {Encoding{ValueForm::dictionary, bits, RunForm::none, compressed}, reversed};
}

// Rows with a code from lo to hi, by the kernel for the column's width.
std::vector<ub4> rows_between(const Library &library, CallContext &context, const EncodedColumn &column, ub8 lo,
                              ub8 hi) {
  Result result(column.rows());
  const Constant low(lo);
  const Constant high(hi);
  library.two_sided(column.key(MIPO_OP_GE_LE))(result.vec(), &column.vec(), &low.vec(), &high.vec(), context.record());
  EXPECT_EQ(result.count(), result.bits().count());
  std::vector<ub4> rows;
  RowReader reader(library, result.bits());
  for (auto batch = reader.next(); !batch.empty(); batch = reader.next())
    rows.insert(rows.end(), batch.begin(), batch.end());
  return rows;
}

TEST(Column, DecompressedCopiesOutliveTheirContext) {
  const Library library = Library::open();
  std::vector<ub4> codes(1000), expected_odd;
  BitVector odd_rows(codes.size());
  for (ub4 row = 0; row < codes.size(); ++row) {
    codes[row] = row * 37 % 251;
    if (row % 2 == 0) continue;
    odd_rows.set(row);
    if (codes[row] >= 100 && codes[row] <= 150) expected_odd.push_back(row);
  }
  ReversingDecompressor decompressor;
  const EncodedColumn column(codes, numbers_up_to(251), options_for(16, true));
  for (const bool selective : {false, true}) {
    CallContext context(library, &decompressor);
    context.select(odd_rows, selective);
    EXPECT_EQ(rows_between(library, context, column, 100, 150), expected_odd);
    EXPECT_EQ(context.record()->done_flags, ub4{MIPO_DONE_PREDICATE});
    EXPECT_EQ(context.allocation_labels().size(), selective ? 0u : 1u);
  }
  EXPECT_EQ(decompressor.runs, 1);
  EXPECT_TRUE(column.is_decompressed());
}

TEST(Predicate, OperandsHaveToFit) {
  const Library library = Library::open();
  const EncodedColumn column(std::vector<ub4>(100, 3), numbers_up_to(5), options_for(8, false));
  const EncodedColumn runs(std::vector<ub4>(100, 3), numbers_up_to(5), {parse_encoding("dict+runs8"), {}});
  CallContext context(library);
  Result result(100), shorter(99), longer(128);
  const Constant three(3), four(4);
  EXPECT_TRUE(evaluate(library, context, MIPO_OP_EQ, result, column, three));
  EXPECT_EQ(result.count(), 100u);
  EXPECT_FALSE(evaluate(library, context, MIPO_OP_GE_LE, result, column, four, four));
  EXPECT_TRUE(evaluate_set(library, context, result, column, BitVector(256, true)));
  EXPECT_THROW(evaluate_set(library, context, result, column, BitVector(255, true)), ArgumentError);
  for (Result *other : {&shorter, &longer})
    EXPECT_THROW(evaluate(library, context, MIPO_OP_EQ, *other, column, three), ArgumentError);
  for (const ub8 rows : {99, 128}) {
    const BitVector selection(rows, true);
    context.select(selection, false);
    try {
      evaluate(library, context, MIPO_OP_GE_LE, result, column, three, four);
      ADD_FAILURE() << rows;
    } catch (const ArgumentError &error) {
      EXPECT_NE(std::string(error.what()).find(std::to_string(rows)), std::string::npos) << error.what();
      EXPECT_NE(std::string(error.what()).find("column 100"), std::string::npos) << error.what();
    }
  }
  const BitVector all(100, true);
  context.select(all, true);
  EXPECT_THROW(evaluate(library, context, MIPO_OP_EQ, result, runs, three), ArgumentError);
  EXPECT_THROW(evaluate(library, context, MIPO_OP_GE_LE, result, column, three), MissingKernel);
  const TranslationTable table(std::vector<ub4>{7, no_entry, 9});
  TranslatedCodes codes(3);
  codes.set(std::vector<ub4>{2, 1, 0});
  EXPECT_THROW(translate(library, context, table, codes), ArgumentError); // 100 rows are selected
  context.select_all();
  std::byte entries[2];
  const Result joined = translate(library, context, table, codes, entries);
  EXPECT_EQ(joined.count(), 2u);
  EXPECT_EQ(joined.first_row(), 0u);
  EXPECT_EQ(joined.last_row(), 2u);
  EXPECT_EQ(handed_out(entries, table.width(), 0), 9u);
  EXPECT_THROW(translate(library, context, table, codes, std::span(entries).first(1)), ArgumentError);
}

TEST(Context, CollectsWhatKernelsReport) {
  const Library library = Library::open();
  ReversingDecompressor decompressor;
  decompressor.fails = true;
  const EncodedColumn column(std::vector<ub4>(100, 3), numbers_up_to(5), options_for(16, true));
  CallContext context(library, &decompressor);
  EXPECT_NO_THROW(context.throw_if_reported());
  rows_between(library, context, column, 1, 2);
  ASSERT_EQ(context.messages().size(), 1u);
  EXPECT_EQ(context.messages()[0], "mipo_ge_le_dict_16bit: mipo_brep_decode failed");
  ASSERT_EQ(context.allocation_labels().size(), 1u);
  EXPECT_EQ(context.allocation_labels()[0], "mipo_ge_le_dict_16bit: vec1_decomp");
  EXPECT_THROW(context.throw_if_reported(), Error);
  context.clear_messages();
  EXPECT_NO_THROW(context.throw_if_reported());
}

TEST(Context, ScratchIsCountedAndGivenBack) {
  const Library library = Library::open();
  CallContext context(library);
  mipo_host_ctx &host = *context.host();
  void *first_cookie = nullptr;
  void *second_cookie = nullptr;
  void *first = host.temp_alloc(host.env, 1000, "first", 4, 0, &first_cookie);
  void *second = host.temp_alloc(host.env, 1000, "second", 4, 0, &second_cookie);
  std::memset(first, 1, 1000);
  std::memset(second, 2, 1000);
  EXPECT_EQ(context.scratch_in_use(), 2u);
  host.temp_free(host.env, first, first_cookie);
  EXPECT_EQ(context.scratch_in_use(), 1u) << "the other one is released with the context";
  EXPECT_EQ(context.allocation_labels(), (std::vector<std::string>{"first", "second"}));
  std::memset(host.alloc(host.env, host.heap, 500, "kept", 8, 16, 0), 3, 500);
}

// A host may leave a kernel by an exception: nothing is held, and the call can be made again.
TEST(Context, ExceptionsPassThroughKernels) {
  const Library library = Library::open();
  struct ThrowingOnce : ReversingDecompressor {
    ThrowingOnce() { decompress = run_or_throw; }
    static ub4 run_or_throw(mipo_decompressor *self, const void *source, void *destination, ub4 *length, ub4 size) {
      auto &once = *static_cast<ThrowingOnce *>(self);
      if (!std::exchange(once.thrown, true)) throw CompressionError("interrupted");
      return run(self, source, destination, length, size);
    }
    bool thrown = false;
  } decompressor;
  const std::vector<ub4> codes = {4, 1, 2, 4};
  EncodedColumn column(codes, numbers_up_to(5), options_for(0, true));
  CallContext context(library, &decompressor);
  EXPECT_THROW(rows_between(library, context, column, 1, 2), CompressionError);
  column.drop_decompressed();
  EXPECT_EQ(rows_between(library, context, column, 1, 2), (std::vector<ub4>{1, 2}));
}

TEST(Constant, PointsToItsOwnCell) {
  Constant a(7);
  const Constant b = a;
  EXPECT_NE(a.vec().data, b.vec().data);
  EXPECT_EQ(*static_cast<const ub8 *>(b.vec().data), 7u);
  a = Constant(0xffffffffffffffff, 3, nullptr);
  EXPECT_EQ(*static_cast<const ub8 *>(a.vec().data), 0xffffffffffffffff);
  EXPECT_EQ(*static_cast<const ub1 *>(a.vec().lens), 3);
}

} // namespace
} // namespace mipo::host
