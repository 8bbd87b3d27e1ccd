// The loops around kernels that decode, with buffers of every small size, over each form of a dictionary column.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "host/reversal.h"
#include "mipo/host/column.h"
#include "mipo/host/context.h"
#include "mipo/host/resumable.h"

namespace mipo::host {
namespace {

constexpr ub4 row_count = 150;
constexpr ub4 text_count = 40; // and code 0 for a NULL row

std::vector<ub4> some_codes(ub4 codes, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<ub4> rows;
  while (rows.size() < row_count)
    rows.insert(rows.end(), std::min<std::size_t>(1 + random() % 5, row_count - rows.size()),
                static_cast<ub4>(random() % codes));
  return rows;
}

EncodedColumn make_column(const std::vector<ub4> &codes, const std::string &encoding) {
  std::vector<std::string> texts;
  for (ub4 i = 0; i < text_count; ++i) texts.push_back(std::string(i % 5, 'x') + std::to_string(i));
  std::ranges::sort(texts);
  const std::vector<std::string_view> views(texts.begin(), texts.end());
  return EncodedColumn(codes, Dictionary(views, true), {parse_encoding(encoding), reversed});
}

class Resumable : public testing::Test {
protected:
  Resumable() : context(library, &decompressor), bits(row_count) {
    for (ub4 row = 0; row < row_count; row += 1 + row % 9) {
      bits.set(row);
      list.push_back(row);
    }
  }

  // Calls visit(selection, its rows) for each way to select.
  void with_selections(const auto &visit) const {
    std::vector<ub4> all(row_count);
    std::iota(all.begin(), all.end(), 0);
    visit(RowSelection(), all);
    visit(RowSelection(bits), list);
    visit(RowSelection(bits, true), list);
    visit(RowSelection(std::span(list)), list);
    visit(RowSelection(std::span<const ub4>()), std::vector<ub4>());
  }

  Library library = Library::open();
  ReversingDecompressor decompressor;
  CallContext context;
  BitVector bits;
  std::vector<ub4> list, one = {0};
};

TEST_F(Resumable, UnpackedCodesAreThoseOfTheRows) {
  const std::vector<ub4> codes = some_codes(text_count + 1, 1);
  for (const char *encoding : {"dict", "dict:8", "dict:13", "dict:32", "dict+runs8", "dict+starts", "dict:16+zstd"}) {
    const EncodedColumn column = make_column(codes, encoding);
    with_selections([&](const RowSelection &selection, const std::vector<ub4> &rows) {
      std::vector<ub4> expected;
      for (const ub4 row : rows) expected.push_back(codes[row]);
      for (ub4 capacity = 1; capacity <= row_count + 1; ++capacity) {
        std::vector<ub4> got;
        std::vector<ub4> buffer(capacity);
        CodeCursor cursor(library, context, column.vec(), column.key(MIPO_OP_DECODE_UNPACK, MIPO_VARIANT_PLAIN),
                          selection);
        for (auto filled = cursor.next(buffer); !filled.empty(); filled = cursor.next(buffer))
          got.insert(got.end(), filled.begin(), filled.end());
        ASSERT_EQ(got, expected) << encoding << ", " << capacity << " rows at a time";
      }
    });
  }
}

TEST_F(Resumable, DecodedRowsHaveTheirValues) {
  const std::vector<ub4> codes = some_codes(text_count + 1, 2);
  for (const char *encoding : {"dict", "dict:8", "dict:17", "dict+zstd"}) {
    const EncodedColumn column = make_column(codes, encoding);
    with_selections([&](const RowSelection &selection, const std::vector<ub4> &rows) {
      for (const ub4 capacity : {1u, 2u, 7u, 64u, row_count, row_count + 1, 5000u}) {
        std::size_t got = 0;
        SymbolCursor cursor(library, context, column.vec(), column.key(MIPO_OP_DECODE, MIPO_VARIANT_PLAIN), capacity,
                            selection);
        for (DecodedRows filled = cursor.next(); filled.size() != 0; filled = cursor.next()) {
          ASSERT_LE(filled.size(), capacity);
          for (std::size_t i = 0; i < filled.size(); ++i, ++got) {
            ASSERT_EQ(filled.rows[i], rows.at(got));
            const ub4 code = codes[rows[got]];
            ASSERT_EQ(filled.value(i).value_or("NULL"), code != 0 ? column.dictionary().text(code) : "NULL");
          }
        }
        ASSERT_EQ(got, rows.size()) << encoding << ", " << capacity << " rows at a time";
      }
    });
  }
}

TEST_F(Resumable, GroupKeysCombineTheColumns) {
  const std::vector<ub4> codes[] = {some_codes(text_count + 1, 4), some_codes(text_count + 1, 5),
                                    some_codes(text_count + 1, 6)};
  const char *encodings[] = {"dict", "dict:8", "dict+runs8"};
  std::vector<EncodedColumn> columns;
  std::vector<mipo_vec> vecs;
  for (std::size_t i = 0; i < 3; ++i) {
    columns.push_back(make_column(codes[i], encodings[i]));
    vecs.push_back(columns[i].vec());
  }
  for (const std::size_t used : {1, 2, 3})
    for (const KeyPacking packing : {KeyPacking::shifts, KeyPacking::products}) {
      std::vector<ub4> expected = codes[0];
      ub8 groups = text_count + 1;
      for (std::size_t i = 1; i < used; ++i) {
        const ub4 factor = packing == KeyPacking::products ? text_count + 1 : ub4{1} << columns[i].bits();
        groups = text_count + 1 + (groups - 1) * factor;
        for (ub4 row = 0; row < row_count; ++row) expected[row] = expected[row] * factor + codes[i][row];
      }
      for (ub4 capacity = 1; capacity <= row_count + 1; ++capacity) {
        std::vector<ub4> got;
        std::vector<ub4> buffer(capacity);
        GroupKeyCursor cursor(library, context, std::span(vecs).first(used), packing);
        for (auto keys = cursor.next(buffer); !keys.empty(); keys = cursor.next(buffer))
          got.insert(got.end(), keys.begin(), keys.end());
        EXPECT_EQ(cursor.key_count(), groups);
        ASSERT_EQ(got, expected) << used << " columns, " << capacity << " rows at a time";
      }
    }
  const auto combine = [&](std::span<const mipo_vec> of) {
    GroupKeyCursor(library, context, of, KeyPacking::shifts).next(one);
  };
  EXPECT_THROW(combine({}), ArgumentError);
  const EncodedColumn wide = make_column(codes[0], "dict:64");
  EXPECT_THROW(combine({&wide.vec(), 1}), ArgumentError);
  const std::vector<mipo_vec> too_many(7, vecs[0]);
  EXPECT_THROW(combine(too_many), Error);
  vecs[1].nrows = 3;
  EXPECT_THROW(combine(vecs), ArgumentError);
}

TEST_F(Resumable, WrongCallsAreRefused) {
  const EncodedColumn column = make_column(some_codes(text_count + 1, 7), "dict:16+zstd");
  const EncodedColumn runs = make_column(some_codes(text_count + 1, 7), "dict:16+runs8");
  const ub4 unpack = column.key(MIPO_OP_DECODE_UNPACK, MIPO_VARIANT_PLAIN);
  const ub4 decode = column.key(MIPO_OP_DECODE, MIPO_VARIANT_PLAIN);
  EXPECT_THROW(CodeCursor(library, context, column.vec(), unpack).next({}), ArgumentError);
  EXPECT_THROW(CodeCursor(library, context, column.vec(), 8191), MissingKernel);
  EXPECT_THROW(SymbolCursor(library, context, column.vec(), decode, 0), ArgumentError);
  EXPECT_THROW(SymbolCursor(library, context, runs.vec(), decode, 1), ArgumentError);
  const std::vector<ub4> outside = {1, row_count};
  const RowSelection selection{std::span(outside)};
  EXPECT_THROW(CodeCursor(library, context, column.vec(), unpack, selection), ArgumentError);
  EXPECT_THROW(SymbolCursor(library, context, column.vec(), decode, 1, selection), ArgumentError);
  EXPECT_THROW(extreme_codes(library, context, column.vec(), column.key(MIPO_OP_MINMAX), selection), ArgumentError);
  // What the column's bytes are after a failed decompression is not handed on.
  decompressor.fails = true;
  EXPECT_THROW(CodeCursor(library, context, column.vec(), unpack).next(one), Error);
}

} // namespace
} // namespace mipo::host
