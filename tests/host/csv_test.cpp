// CSV files: what is read, and how it is said where and why a file is refused.
#include <gtest/gtest.h>
#include <zlib.h>
#include <zstd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "mipo/host/csv.h"
#include "mipo/host/zstd_decompressor.h"

namespace mipo::host {
namespace {

class Csv : public testing::Test {
protected:
  Csv() : folder_(std::filesystem::path(testing::TempDir()) / "mipo-csv-test") {
    std::filesystem::create_directories(folder_);
  }
  ~Csv() override { std::filesystem::remove_all(folder_); }

  std::filesystem::path write(const std::string &name, const std::string &bytes) const {
    std::ofstream(folder_ / name, std::ios::binary) << bytes;
    return folder_ / name;
  }

  // What read_csv() says, without the folder; the table's content if it says nothing.
  std::string outcome(const std::string &bytes, const CsvOptions &options = {}) const {
    try {
      return content(read_csv(write("t.csv", bytes), options));
    } catch (const CsvError &error) {
      EXPECT_EQ(error.file(), (folder_ / "t.csv").string());
      const std::string message = error.what();
      const std::string line = error.line() != 0 ? std::to_string(error.line()) + ":" : "";
      EXPECT_EQ(message.find(error.file() + ":" + line), 0u) << message;
      return message.substr(folder_.string().size() + 1);
    }
  }

  // Names and rows as text: columns by '|', rows by '/', "~" for a NULL row.
  static std::string content(const Table &table) {
    std::string out;
    for (const Column &column : table.columns) out += (out.empty() ? "" : "|") + column.name;
    for (ub4 row = 0; row < table.row_count; ++row)
      for (std::size_t i = 0; i < table.columns.size(); ++i) {
        const Column &column = table.columns[i];
        out += i == 0 ? "/" : "|";
        if (!column.data.append_value(out, row)) out += "~";
      }
    return out;
  }

  std::filesystem::path folder_;
};

std::string gzip(const std::string &bytes) {
  z_stream stream{};
  deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, MAX_WBITS + 16, MAX_MEM_LEVEL, Z_DEFAULT_STRATEGY);
  std::string out(deflateBound(&stream, bytes.size()), 0);
  stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef *>(out.data());
  stream.avail_out = static_cast<uInt>(out.size());
  deflate(&stream, Z_FINISH);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  return out;
}

std::string zstd(const std::string &bytes) {
  std::string out(ZSTD_compressBound(bytes.size()), '\0');
  out.resize(ZSTD_compress(out.data(), out.size(), bytes.data(), bytes.size(), 3));
  return out;
}

TEST_F(Csv, ReadsWhatIsThere) {
  const struct {
    const char *bytes;
    const char *content;
  } cases[] = {{"a,b\n1,x\n2,y\n", "a|b/1|x/2|y"},
               {"a,b\r\n1,x\r\n2,y", "a|b/1|x/2|y"},
               {"a,b\r1,x\r2,y\r", "a|b/1|x/2|y"},
               {"a,b\n", "a|b"},
               {"a,b", "a|b"},
               {"\xef\xbb\xbf"
                "a\n1\n",
                "a/1"},
               {"a,b\n,\n\"\",x\n", "a|b/~|~/~|x"},
               {"a,b\n1,\n2,", "a|b/1|~/2|~"},
               {"\n\na,b\n\n1,x\r\n\r\n", "a|b/1|x"},
               {"a\n\"x,y\"\n\"he said \"\"no\"\"\"\n\"two\nlines\"\n", "a/x,y/he said \"no\"/two\nlines"},
               {"a,b\n x , y\n", "a|b/ x | y"},
               {"\" a\",b b\n1,2\n", " a|b b/1|2"},
               {"a\n\xc3\xa4\n\xf0\x9f\x9b\xab\n", "a/\xc3\xa4/\xf0\x9f\x9b\xab"},
               {"d,t\n2001-01-05,1.5\n2001-01-05 10:00,2\n", "d|t/2001-01-05 00:00|1.5/2001-01-05 10:00|2.0"}};
  for (const auto &c : cases) EXPECT_EQ(outcome(c.bytes), c.content);
}

TEST_F(Csv, TypesCanBeGiven) {
  CsvOptions options;
  options.kinds = {{"zip", ValueKind::integer}, {"n", ValueKind::text}};
  options.delimiter = ';';
  options.table_name = "places";
  const Table table = read_csv(write("some.file.csv", "zip;n\n00501;1\n501;01\n"), options);
  EXPECT_EQ(content(table), "zip|n/501|1/501|01");
  EXPECT_EQ(table.find("zip")->domain().value_count(), 1u);
  EXPECT_EQ(table.find("n")->type().kind, ValueKind::text);
  EXPECT_EQ(table.find("N"), nullptr);
  EXPECT_EQ(table.name, "places");
  EXPECT_EQ(read_csv(folder_ / "some.file.csv").name, "some");
}

TEST_F(Csv, EncodingsCanBeGiven) {
  const char *const bytes = "day,n\n2001-01-05,7\n2001-01-05,\n2001-01-06,-300\n";
  const struct {
    const char *day, *n;
    const char *outcome;
  } cases[] = {{"dict:8+runs", "dynp", "day|n/2001-01-05|7/2001-01-05|~/2001-01-06|-300"},
               {"fixed:32", "fixed+starts+zstd", "day|n/2001-01-05|7/2001-01-05|~/2001-01-06|-300"},
               {"fixed:8", "dict",
                "t.csv: column 1 (day): cannot be stored as fixed:8: the numbers of this column take "
                "16 bits, not 8"}};
  ZstdDecompressor decompressor;
  for (const auto &[day, n, expected] : cases) {
    CsvOptions options;
    options.encodings = {{"day", parse_encoding(day)}, {"n", parse_encoding(n)}};
    try {
      const Table table = read_csv(write("t.csv", bytes), options);
      for (const Column &column : table.columns) column.data.decompress(decompressor);
      EXPECT_EQ(content(table), expected);
      EXPECT_EQ(table.columns[0].text_bytes, 30u);
      EXPECT_EQ(table.columns[1].text_bytes, 5u);
    } catch (const CsvError &error) {
      EXPECT_NE(std::string(error.what()).find(expected), std::string::npos) << error.what();
    }
  }
  CsvOptions unknown;
  unknown.encodings = {{"m", Encoding{}}};
  EXPECT_EQ(outcome(bytes, unknown), "t.csv: an encoding is given for column 'm', but the columns are day, n");
}

TEST_F(Csv, SaysWhereAFileIsWrong) {
  CsvOptions integers;
  integers.kinds = {{"a", ValueKind::integer}, {"b", ValueKind::integer}};
  const CsvOptions none;
  const std::string latin1 = "; if the file is Latin-1, convert it: iconv -f LATIN1 -t UTF-8 ";
  const std::string utf16 = ": the file seems to be UTF-16; convert it: iconv -f UTF-16 -t UTF-8 ";
  const struct {
    std::string bytes;
    const CsvOptions &options;
    std::string message;
  } cases[] = {
      {"", none, "t.csv: the file is empty: there is no header row"},
      {"a,,c\n", none, "t.csv:1: column 2 has no name in the header"},
      {"\na,b,a\n", none, "t.csv:2: two columns are named 'a'"},
      {"a,b\xff\n", none, "t.csv:1: byte 0xff is not UTF-8" + latin1 + "(byte 4 of the line, offset 3 of the text)"},
      {"a\n1\xc3", none, "t.csv:2: byte 0xc3 is not UTF-8" + latin1 + "(byte 2 of the line, offset 3 of the text)"},
      {std::string("\xff\xfe"
                   "a\0\n\0",
                   6),
       none, "t.csv:1: a UTF-16 byte order mark" + utf16 + "(byte 1 of the line, offset 0 of the text)"},
      {std::string("a\0,\0b\0", 6), none,
       "t.csv:1: a zero byte" + utf16 + "(byte 2 of the line, offset 1 of the text)"},
      {"a,b\n1,2\n3\n", none, "t.csv:3: the row has 1 field, but the header names 2 columns"},
      {"a,b\n\"x\ny\",1\r\n\"z\n\n\",2,3\n", none, "t.csv:4: the row has 3 fields, but the header names 2 columns"},
      {"a,b\n1,2\nx,2\n1,y\n", integers, "t.csv:3: column 1 (a): 'x' is not a 64-bit integer"},
      {"a,b\n\n\"\n\",2\n", integers, "t.csv:3: column 1 (a): '\\x0a' is not a 64-bit integer"},
      {"c,a\n\"1\n2\",x\n", {}, "c|a/1\n2|x"},
      {"c,a,b\n\"1\n2\",x,1\n", integers, "t.csv:3: column 2 (a): 'x' is not a 64-bit integer"},
      {"a\nx\ncaf\xe9\n", none,
       "t.csv:3: byte 0xe9 is not UTF-8" + latin1 + "(byte 4 of the line, offset 7 of the text)"},
      {"a,b\n1,2\n\"x\n\ny\"z,1\n", none,
       "t.csv:5: column 1 (a): broken quoting: quotes must enclose the whole field, and a quote inside must be "
       "doubled"},
      {"a,\"b\"c\n", none, "t.csv:1: broken quoting in field 2: quotes must enclose the whole field"},
      {"a,b\n1,2\n3,\"x\ny\n", none, "t.csv:3: column 2 (b): a quote is opened here and never closed"},
      {"a\n" + std::string(100, 'x') + "\n", integers, "t.csv: a type is given for column 'b', but the columns are a"},
      {"a,b\n" + std::string(100, 'x') + ",\n", integers,
       "t.csv:2: column 1 (a): 'xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx...' is not a 64-bit "
       "integer"}};
  for (const auto &c : cases) EXPECT_EQ(outcome(c.bytes, c.options), c.message);
}

// Columns parted by c become "column|column"; rows are parted by "/".
TEST_F(Csv, DelimitersAndNullsAreFoundOrTold) {
  CsvOptions rows_alone, nulls, commas;
  rows_alone.has_header = false;
  nulls.nulls = {"N/A", "-"};
  commas.delimiter = ',';
  const struct {
    std::string bytes;
    const CsvOptions &options;
    std::string columns;
  } cases[] = {{"a;b\n1,5;2\n", {}, "a|b/1,5|2"},
               {"a\tb\n1\t2,3\n", {}, "a|b/1|2,3"},
               {"a|b\n1|2\n", {}, "a|b/1|2"},
               {"\"x;y\",b\n\"1;2\n;\",3\n", {}, "x;y|b/1;2\n;|3"}, // quoted ones do not count
               {"a;b,c\n1;2,3\n4,5\n", {}, "a;b|c/1;2|3/4|5"},      // not all rows have a semicolon
               {"a;b\n1;2\n", commas, "a;b/1;2"},
               {"1,x\n\"2\n\",y\n", rows_alone, "c1|c2/1|x/2\n|y"},
               {"7\n8", rows_alone, "c1/7/8"},
               {"a,b\nN/A,x\n3,-\n", nulls, "a|b/~|x/3|~"}};
  for (const auto &c : cases) EXPECT_EQ(outcome(c.bytes, c.options), c.columns) << c.bytes;
}

TEST_F(Csv, SaysWhyAFileCannotBeRead) {
  const std::string text = "a\n" + std::string(500000, '7') + "\n";
  const std::string compressed = zstd(text);
  const struct {
    const char *name;
    std::string bytes;
    const char *problem;
  } cases[] = {{"cut.csv.zst", compressed.substr(0, compressed.size() - 5), "ends in the middle of a compressed frame"},
               {"text.csv.zst", text, "is named .zst, and is not compressed"},
               {"cut.csv.gz", gzip(text).substr(0, 300), "ends in the middle of a compressed frame"},
               {"tail.csv.gz", gzip(text) + "tail", "is not a sound gzip file"},
               {"tail.csv.zst", compressed + "tail", "is not a sound zstd file"},
               {"empty.csv.zst", "", "the file is empty"}};
  for (const auto &c : cases) {
    try {
      read_csv(write(c.name, c.bytes));
      ADD_FAILURE() << c.name;
    } catch (const CsvError &error) {
      EXPECT_NE(std::string(error.what()).find(c.name), std::string::npos) << error.what();
      EXPECT_NE(std::string(error.what()).find(c.problem), std::string::npos) << error.what();
    }
  }
  for (const auto &[path, problem] : {std::pair{folder_ / "absent.csv", "No such file"}, {folder_, "directory"}}) {
    try {
      read_csv(path);
      ADD_FAILURE() << path;
    } catch (const CsvError &error) {
      EXPECT_NE(std::string(error.what()).find(problem), std::string::npos) << error.what();
    }
  }
}

// Long enough that fields, quotes and line ends fall on every kind of border between pieces.
TEST_F(Csv, LargeFilesReadTheSameCompressedOrNot) {
  std::string text = "n,t,q\n";
  const ub4 rows = 100000;
  for (ub4 i = 0; i < rows; ++i)
    text += std::to_string(i) + ",text " + std::to_string(i % 1000) + ",\"line\r\n" + std::to_string(i % 3) + "\"\r\n";
  std::vector<std::filesystem::path> files = {write("plain.csv", text), write("one.csv.zst", zstd(text))};
  files.push_back(write("frames.csv.zst", zstd(text.substr(0, 777777)) + zstd("") + zstd(text.substr(777777))));
  files.push_back(write("members.csv.gz", gzip(text.substr(0, 777777)) + gzip("") + gzip(text.substr(777777))));
  files.push_back(write("nameless", gzip(text)));
  for (const auto &file : files) {
    ub8 last_done = 0;
    ub8 calls = 0;
    CsvOptions options;
    options.progress = [&](ub8 done, ub8 total) {
      EXPECT_GE(done, last_done);
      EXPECT_EQ(total, std::filesystem::file_size(file));
      last_done = done;
      ++calls;
    };
    const Table table = read_csv(file, options);
    EXPECT_EQ(last_done, std::filesystem::file_size(file)) << file;
    EXPECT_GT(calls, 5u);
    ASSERT_EQ(table.row_count, rows);
    for (ub4 row = 0; row < rows; row += 997) {
      EXPECT_EQ(table.columns[0].domain().number(table.columns[0].data.code(row)), row);
      EXPECT_EQ(table.columns[1].domain().value(table.columns[1].data.code(row)), "text " + std::to_string(row % 1000));
      EXPECT_EQ(table.columns[2].domain().value(table.columns[2].data.code(row)), "line\r\n" + std::to_string(row % 3));
    }
  }
  std::string bad = text + "1,2\n";
  const std::string expected = "plain.csv:" + std::to_string(2 * rows + 2) + ": the row has 2 fields";
  try {
    read_csv(write("plain.csv", bad));
    ADD_FAILURE();
  } catch (const CsvError &error) {
    EXPECT_NE(std::string(error.what()).find(expected), std::string::npos) << error.what();
  }
}

TEST_F(Csv, ProgressMayStopTheReading) {
  struct Stopped {};
  CsvOptions options;
  options.progress = [](ub8, ub8) { throw Stopped{}; };
  EXPECT_THROW(read_csv(write("t.csv", "a\n1\n"), options), Stopped);
}

} // namespace
} // namespace mipo::host
