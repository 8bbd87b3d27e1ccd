#include "engine/query_data.h"

#include <fstream>
#include <random>
#include <stdexcept>

#include <fmt/format.h>
#include <unistd.h>
#include <zstd.h>

namespace mipo::tests {
namespace {

class ScratchFolder {
public:
  ScratchFolder() : path_(std::filesystem::temp_directory_path() / ("mipo-query-test-" + std::to_string(::getpid()))) {
    std::filesystem::create_directories(path_);
  }
  ScratchFolder(const ScratchFolder &) = delete;
  ScratchFolder &operator=(const ScratchFolder &) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  const std::filesystem::path &path() const { return path_; }

private:
  std::filesystem::path path_;
};

// Calls `take` with each line of `text`, without its end.
template <class Take>
void for_each_line(std::string_view text, Take take) {
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = text.find('\n', start);
    take(text.substr(start, end - start));
    start = end == std::string_view::npos ? text.size() : end + 1;
  }
}

std::vector<std::string_view> fields_of(std::string_view line) {
  std::vector<std::string_view> fields;
  for (std::size_t start = 0;;) {
    const bool quoted = line.substr(start, 1) == "\"";
    const std::size_t end = line.find(',', quoted ? line.find('"', start + 1) : start);
    const std::string_view field = line.substr(start, end - start);
    fields.push_back(quoted ? field.substr(1, field.size() - 2) : field);
    if (end == std::string_view::npos) return fields;
    start = end + 1;
  }
}

} // namespace

const std::filesystem::path &scratch_folder() {
  static const ScratchFolder folder;
  return folder.path();
}

std::string scratch_file(const std::string &name, std::string_view content) {
  const std::filesystem::path path = scratch_folder() / name;
  std::ofstream(path, std::ios::binary) << content;
  return path.string();
}

const std::string &flights_text() {
  static const std::string text = [] {
    std::ifstream file(MIPO_TEST_FLIGHTS, std::ios::binary);
    const std::string packed((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::string unpacked(ZSTD_getFrameContentSize(packed.data(), packed.size()), '\0');
    const std::size_t size = ZSTD_decompress(unpacked.data(), unpacked.size(), packed.data(), packed.size());
    if (ZSTD_isError(size) != 0) throw std::runtime_error("the shipped flights cannot be decompressed");
    return unpacked;
  }();
  return text;
}

std::string flights_with_gaps() {
  std::mt19937 random(20010101);
  std::string text;
  std::size_t line_number = 0;
  for_each_line(flights_text(), [&](std::string_view line) {
    const std::size_t number = line_number++;
    if (number == 0) text.append(line) += '\n';
    if (number % 3 != 1) return;
    std::string_view separator;
    for (const std::string_view field : fields_of(line)) {
      text += separator;
      separator = ",";
      if (random() % 7 != 0) text += field;
    }
    text += '\n';
  });
  return text;
}

std::string airports_text() {
  std::ifstream file(MIPO_TEST_AIRPORTS, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

SqliteTables::SqliteTables() : database_(nullptr, sqlite3_close) {
  sqlite3 *database = nullptr;
  const int opened = sqlite3_open(":memory:", &database);
  database_.reset(database);
  if (opened != SQLITE_OK) fail("open");
  run("PRAGMA case_sensitive_like = ON");
}

void SqliteTables::add(const std::string &declaration, std::string_view csv, const std::string &name) {
  sqlite3 *const database = database_.get();
  run("CREATE TABLE " + name + " (" + declaration + "); BEGIN");
  sqlite3_stmt *insert = nullptr;
  bool header = true;
  for_each_line(csv, [&](std::string_view line) {
    const auto fields = fields_of(line);
    if (header) {
      std::string sql = "INSERT INTO " + name + " VALUES (?";
      for (std::size_t i = 1; i < fields.size(); ++i) sql += ", ?";
      if (sqlite3_prepare_v2(database, (sql + ")").c_str(), -1, &insert, nullptr) != SQLITE_OK) fail("prepare");
      header = false;
      return;
    }
    for (std::size_t i = 0; i < fields.size(); ++i) {
      const int column = static_cast<int>(i) + 1;
      if (fields[i].empty())
        sqlite3_bind_null(insert, column);
      else
        sqlite3_bind_text(insert, column, fields[i].data(), static_cast<int>(fields[i].size()), SQLITE_STATIC);
    }
    if (sqlite3_step(insert) != SQLITE_DONE) fail("insert");
    sqlite3_reset(insert);
  });
  sqlite3_finalize(insert);
  run("COMMIT");
}

std::vector<std::uint32_t> SqliteTables::rows(const std::string &name, const std::string &where_and_limit) const {
  const std::string sql = "SELECT rowid - 1 FROM " + name + " " + where_and_limit;
  sqlite3_stmt *statement = nullptr;
  if (sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) fail(sql);
  std::vector<std::uint32_t> rows;
  while (sqlite3_step(statement) == SQLITE_ROW) {
    rows.push_back(static_cast<std::uint32_t>(sqlite3_column_int64(statement, 0)));
  }
  sqlite3_finalize(statement);
  return rows;
}

ResultRows SqliteTables::result(const std::string &sql) const {
  sqlite3_stmt *statement = nullptr;
  if (sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) fail(sql);
  ResultRows rows;
  int state = SQLITE_ROW;
  while ((state = sqlite3_step(statement)) == SQLITE_ROW) {
    std::vector<Cell> &row = rows.emplace_back();
    for (int column = 0; column < sqlite3_column_count(statement); ++column) {
      const int type = sqlite3_column_type(statement, column);
      Cell &cell = row.emplace_back();
      cell.real = type == SQLITE_FLOAT;
      if (cell.real)
        cell.text = fmt::format("{}", sqlite3_column_double(statement, column)); // all digits: SQLite's text has 15
      else if (type != SQLITE_NULL)
        cell.text = reinterpret_cast<const char *>(sqlite3_column_text(statement, column));
    }
  }
  sqlite3_finalize(statement);
  if (state != SQLITE_DONE) fail(sql);
  return rows;
}

void SqliteTables::run(const std::string &sql) const {
  if (sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail(sql);
}

void SqliteTables::fail(const std::string &what) const {
  throw std::runtime_error(what + ": " + sqlite3_errmsg(database_.get()));
}

} // namespace mipo::tests
