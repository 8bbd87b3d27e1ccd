// Column files: every encoding comes back, and nothing that can happen to a file goes unnoticed or does harm.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "host/column_file_seal.h"
#include "mipo/host/column_file.h"
#include "mipo/host/context.h"
#include "mipo/host/zstd_decompressor.h"

namespace mipo::host {
namespace {

namespace fs = std::filesystem;

class ColumnFile : public testing::Test {
protected:
  void SetUp() override {
    folder_ = fs::temp_directory_path() / ("mipo-column-file-" + std::to_string(::getpid()));
    fs::create_directories(folder_);
  }
  void TearDown() override { fs::remove_all(folder_); }

  const Library library_ = Library::open();
  fs::path path(const std::string &name = "t.mipo") const { return folder_ / name; }
  std::string bytes_of(const Table &table) const {
    write_column_file(path("written"), table);
    std::ifstream file(path("written"), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  fs::path file_of(const std::string &bytes) const {
    std::ofstream(path(), std::ios::binary | std::ios::trunc)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return path();
  }
  std::set<std::string> files() const {
    std::set<std::string> names;
    for (const auto &entry : fs::directory_iterator(folder_)) names.insert(entry.path().filename());
    return names;
  }
  // The message of what `action` throws; empty if it throws nothing.
  template <class Action>
  std::string error_of(Action action) const {
    try {
      action();
    } catch (const ColumnFileError &error) {
      const std::string text = error.what();
      EXPECT_EQ(text.rfind(folder_.string(), 0), 0u) << text;
      return text.substr(std::min(text.size(), text.find(": ") + 2));
    }
    return {};
  }

private:
  fs::path folder_;
};

Dictionary texts(std::size_t count, bool has_null) {
  std::vector<std::string> values;
  for (std::size_t i = 0; i < count; ++i) values.push_back(std::string(i % 4, 'a') + std::to_string(1000 + i));
  std::ranges::sort(values);
  return Dictionary(std::vector<std::string_view>(values.begin(), values.end()), has_null);
}

// A column for each encoding, of numbers with and without gaps, and texts.
Table table_of(ub4 rows) {
  Table table;
  table.name = "t";
  table.row_count = rows;
  table.text_bytes = 12345;
  std::mt19937 random(7);
  std::vector<std::int64_t> numbers;
  for (int i = 0; i < 40; ++i) numbers.push_back((i - 11) * 256);
  for (const char *form : {"dict", "dict:7", "dict:16", "dict:64", "fixed", "fixed:24", "fixed:64", "tz", "tz:32",
                           "tz-const", "dynp", "dynp:64", "dynp-tz", "text"})
    for (const char *further : {"", "+runs8", "+runs16", "+starts", "+zstd", "+runs8+zstd"})
      for (const bool has_null : {false, true}) {
        const bool is_text = form == std::string("text");
        const Encoding encoding = parse_encoding((is_text ? "dict" : form) + std::string(further));
        Dictionary dictionary = is_text ? texts(40, has_null) : Dictionary({ValueKind::decimal, 2}, numbers, has_null);
        std::vector<ub4> codes(rows);
        for (ub4 row = 0; row < rows; ++row)
          codes[row] =
              row != 0 && random() % 3 != 0 ? codes[row - 1] : static_cast<ub4>(random() % dictionary.code_count());
        table.columns.push_back({form + std::string(further) + (has_null ? " with gaps" : ""),
                                 EncodedColumn(codes, std::move(dictionary), {encoding, zstd_compress}),
                                 rows * ub8{3}});
      }
  return table;
}

void expect_same(const Table &table, const Table &expected) {
  EXPECT_EQ(table.name, expected.name);
  EXPECT_EQ(table.row_count, expected.row_count);
  EXPECT_EQ(table.text_bytes, expected.text_bytes);
  ASSERT_EQ(table.columns.size(), expected.columns.size());
  const Library library = Library::open();
  ZstdDecompressor zstd;
  CallContext context(library, &zstd);
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    const Column &column = table.columns[i], &other = expected.columns[i];
    SCOPED_TRACE(column.name);
    EXPECT_EQ(column.name, other.name);
    EXPECT_EQ(column.text_bytes, other.text_bytes);
    EXPECT_EQ(column.type(), other.type());
    EXPECT_EQ(column.data.encoding(), other.data.encoding());
    EXPECT_EQ(column.data.null_rows(), other.data.null_rows());
    EXPECT_EQ(column.domain().value_count(), other.domain().value_count());
    EXPECT_EQ(column.data.stored_size().total(), other.data.stored_size().total());
    const ub8 middle = (column.domain().first_code() + column.domain().code_count()) / 2;
    for (const EncodedColumn *data : {&column.data, &other.data}) data->decompress(zstd);
    Result results[] = {Result(table.row_count), Result(table.row_count)};
    for (const Column *each : {&column, &other})
      library.one_sided(each->data.key(MIPO_OP_LE))(results[each == &other].vec(), &each->data.vec(),
                                                    &each->data.constant(middle).vec(), context.record());
    EXPECT_EQ(results[0].bits(), results[1].bits());
    for (ub4 row = 0; row < table.row_count; ++row) {
      std::string value, wanted;
      ASSERT_EQ(column.data.append_value(value, row), other.data.append_value(wanted, row)) << row;
      ASSERT_EQ(value, wanted) << row;
    }
  }
}

TEST_F(ColumnFile, EveryEncodingComesBack) {
  for (const ub4 rows : {0u, 1u, 65u, 700u}) {
    const Table table = table_of(rows);
    write_column_file(path(), table);
    EXPECT_TRUE(is_column_file(InputFile(path())));
    const Table opened = open_column_file(library_, path());
    for (const Column &column : opened.columns) EXPECT_NO_THROW(column.data.check()) << column.name;
    expect_same(opened, table);
    const VerifiedColumnFile verified = verify_column_file(library_, path());
    EXPECT_EQ(verified.bytes, fs::file_size(path()));
    EXPECT_GE(verified.sections, rows == 0 ? 0 : table.columns.size());
    // What was opened can be written again, over the very file that it lies in.
    write_column_file(path(), opened);
    expect_same(open_column_file(library_, path()), table);
  }
  write_column_file(path(), Table{});
  EXPECT_TRUE(open_column_file(library_, path()).columns.empty());
  EXPECT_EQ(files(), std::set<std::string>{"t.mipo"});
}

Table small_table() {
  Table table = table_of(30);
  Table small;
  small.name = "small";
  small.row_count = 30;
  for (Column &column : table.columns)
    if (std::set<std::string>{"text+runs8 with gaps", "dynp with gaps", "dict+starts", "tz", "fixed+zstd",
                              "dict with gaps"}
            .count(column.name) != 0)
      small.columns.push_back(std::move(column));
  return small;
}

TEST_F(ColumnFile, CutOffAndAlteredFilesAreTold) {
  const std::string sound = bytes_of(small_table());
  for (std::size_t size = 0; size < sound.size(); size += size < 200 || size + 3000 > sound.size() ? 1 : 37) {
    const std::string error = error_of([&] { open_column_file(library_, file_of(sound.substr(0, size))); });
    EXPECT_TRUE(size < 8 ? error.find("is not a column file") == 0 : error.find("is cut off: it has ") == 0)
        << size << ": " << error;
  }
  EXPECT_EQ(error_of([&] { open_column_file(library_, file_of(sound + '\0')); }),
            "has been altered: there are bytes after its end");

  column_file::Header header;
  std::memcpy(&header, sound.data(), sizeof header);
  std::size_t in_sections = 0;
  for (std::size_t at = 0; at < sound.size(); ++at) {
    std::string altered = sound;
    altered[at] = static_cast<char>(altered[at] ^ (1 << at % 8));
    const bool in_directory = at < sizeof header || at >= header.directory_offset;
    if (!in_directory && at % 3 != 0) continue;
    const std::string on_opening = error_of([&] { open_column_file(library_, file_of(altered)); });
    EXPECT_EQ(on_opening.empty(), !in_directory) << at << ": " << on_opening;
    if (in_directory) continue;
    const std::string error = error_of([&] { verify_column_file(library_, path()); });
    const bool is_between = error.empty(); // the zeros after a section are nobody's
    in_sections += !is_between;
    EXPECT_TRUE(is_between ? sound[at] == 0
                           : error.find("column ") == 0 && error.find(" have been altered") != error.npos)
        << at << ": " << error;
  }
  EXPECT_GT(in_sections, 100u);
}

TEST_F(ColumnFile, OtherFilesAreTold) {
  const std::string sound = bytes_of(small_table());
  std::string later = sound;
  later[8] = 2;
  EXPECT_EQ(error_of([&] { open_column_file(library_, file_of(later)); }),
            "was written by a later release (format 2; this one reads 1)");
  EXPECT_EQ(error_of([&] { open_column_file(library_, file_of("name,n\na,1\n")); }),
            "is not a column file; mipo pack makes one of a CSV file");
  EXPECT_EQ(error_of([&] { open_column_file(library_, path("nowhere")); }),
            "cannot be opened: No such file or directory");
  EXPECT_NE(error_of([&] { open_column_file(library_, path("").parent_path()); }), "");
}

// Whatever the bytes, once the checksums are right: an error, or a column of which all can be read.
TEST_F(ColumnFile, NoContentsDoHarm) {
  const std::string sound = bytes_of(small_table());
  column_file::Header header;
  std::memcpy(&header, sound.data(), sizeof header);
  std::mt19937 random(11);
  unsigned told = 0;
  constexpr int tries = 4000;
  for (int i = 0; i < tries; ++i) {
    std::string altered = sound;
    const bool in_directory = i % 2 == 0;
    const std::size_t first = in_directory ? header.directory_offset : sizeof header;
    const std::size_t end = in_directory ? altered.size() : header.directory_offset;
    for (unsigned many = 1 + random() % 3; many != 0; --many)
      altered[first + random() % (end - first)] = static_cast<char>(random() % 4 == 0 ? 0xff : random());
    seal_column_file(altered);
    ZstdDecompressor zstd;
    try {
      const Table table = open_column_file(library_, file_of(altered));
      for (const Column &column : table.columns) {
        column.data.check();
        column.data.decompress(zstd);
        std::string text;
        for (ub4 row = 0; row < table.row_count; ++row)
          ASSERT_EQ(column.data.append_value(text, row), column.data.has_value(row));
      }
    } catch (const ColumnFileError &) {
      ++told;
    }
  }
  EXPECT_GT(told, tries / 3u);
}

TEST_F(ColumnFile, FailedWritesLeaveEverythingAsItWas) {
  const Table table = table_of(700);
  write_column_file(path(), small_table());
  const auto before = fs::file_size(path());
  // No more room: as on a full disk, but for the signal.
  rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit small{4096, limit.rlim_max};
  std::signal(SIGXFSZ, SIG_IGN);
  ::setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_EQ(error_of([&] { write_column_file(path(), table); }), "cannot be written: File too large");
  ::setrlimit(RLIMIT_FSIZE, &limit);
  struct Stop {};
  EXPECT_THROW(write_column_file(path(), table,
                                 [](ub8 done, ub8 total) {
                                   EXPECT_LE(done, total);
                                   if (done > 5000) throw Stop();
                                 }),
               Stop);
  EXPECT_EQ(files(), std::set<std::string>{"t.mipo"});
  EXPECT_EQ(fs::file_size(path()), before);
  EXPECT_NE(error_of([&] { write_column_file(path("no/folder"), table); }), "");
  EXPECT_EQ(error_of([&] { write_column_file(path("").parent_path(), table); }), "is a folder");
}

} // namespace
} // namespace mipo::host
