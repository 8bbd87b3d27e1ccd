// Columns compressed by zstd.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "mipo/host/column.h"
#include "mipo/host/context.h"
#include "mipo/host/zstd_decompressor.h"

namespace mipo::host {
namespace {

std::vector<std::byte> some_bytes(std::size_t size) {
  std::vector<std::byte> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::byte>(i * i % 7);
  return bytes;
}

TEST(Zstd, ReturnsWhatWasCompressed) {
  ZstdDecompressor decompressor;
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{1000}, std::size_t{1} << 20}) {
    const std::vector<std::byte> bytes = some_bytes(size);
    const std::vector<std::byte> stream = zstd_compress(bytes);
    std::vector<std::byte> back(size + 1);
    ub4 length = 0;
    EXPECT_EQ(decompressor.decompress(&decompressor, stream.data(), back.data(), &length, static_cast<ub4>(size)), 0u);
    EXPECT_EQ(length, size);
    back.resize(size);
    EXPECT_EQ(back, bytes);
  }
}

TEST(Zstd, RefusesDamageAndWrongSizes) {
  ZstdDecompressor decompressor;
  const std::vector<std::byte> bytes = some_bytes(1000);
  const std::vector<std::byte> stream = zstd_compress(bytes);
  std::vector<std::byte> back(2000);
  ub4 length = 0;
  for (const ub4 size : {0u, 999u, 1001u})
    EXPECT_NE(decompressor.decompress(&decompressor, stream.data(), back.data(), &length, size), 0u) << size;
  for (std::size_t at = 8; at < stream.size(); at += 13) {
    std::vector<std::byte> damaged = stream;
    damaged[at] ^= std::byte{0x10};
    const ub4 code = decompressor.decompress(&decompressor, damaged.data(), back.data(), &length, 1000);
    EXPECT_TRUE(code != 0 || std::memcmp(back.data(), bytes.data(), 1000) == 0) << "byte " << at;
  }
}

TEST(Zstd, ColumnIsSmallerAndDecompressedOnFirstUse) {
  const Library library = Library::open();
  const std::vector<ub4> codes(10000, 1);
  const EncodedColumn column(codes, Dictionary({ValueKind::integer}, {10, 20}, false),
                             {parse_encoding("dict+zstd"), zstd_compress});
  EXPECT_LT(column.stored_bytes(), 100u);
  EXPECT_FALSE(column.is_decompressed());
  ZstdDecompressor decompressor;
  CallContext context(library, &decompressor);
  Result result(column.rows());
  const Constant wanted(1);
  EXPECT_EQ(library.one_sided(column.key(MIPO_OP_EQ))(result.vec(), &column.vec(), &wanted.vec(), context.record()),
            ub4{MIPO_DONE});
  EXPECT_EQ(result.count(), 10000u);
  EXPECT_NO_THROW(context.throw_if_reported());
  EXPECT_TRUE(column.is_decompressed());
}

} // namespace
} // namespace mipo::host
