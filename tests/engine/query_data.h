// What the tests of the program share: the shipped flights as text, a copy with gaps, and both in SQLite.
#ifndef MIPO_TESTS_QUERY_DATA_H
#define MIPO_TESTS_QUERY_DATA_H

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <sqlite3.h>

namespace mipo::tests {

/// A folder of this process's own, removed at its end.
const std::filesystem::path &scratch_folder();

/// Writes a file into the scratch folder and returns its path.
std::string scratch_file(const std::string &name, std::string_view content);

/// The text of the shipped flights, decompressed.
const std::string &flights_text();

/// Every third flight, with fields emptied here and there (a seventh of them, by a fixed seed): the same header.
std::string flights_with_gaps();

/// A value of a result, as it is printed: no text for NULL.
struct Cell {
  std::optional<std::string> text;
  bool real = false; // a floating-point number
};
using ResultRows = std::vector<std::vector<Cell>>;

/// The text of the shipped airports.
std::string airports_text();

/// Tables of SQLite in memory with the rows of CSV texts, whose fields may stand in quotes but hold none: column types
/// as declared, empty fields NULL.
class SqliteTables {
public:
  SqliteTables();

  /// `declaration` as in CREATE TABLE, for instance "delay INTEGER, origin TEXT".
  void add(const std::string &declaration, std::string_view csv, const std::string &name);

  /// The numbers (from 0) of the rows of a table that a condition and what follows it select, in the order of the rows.
  std::vector<std::uint32_t> rows(const std::string &name, const std::string &where_and_limit) const;
  ResultRows result(const std::string &sql) const;

private:
  void run(const std::string &sql) const;
  [[noreturn]] void fail(const std::string &what) const;

  std::unique_ptr<sqlite3, int (*)(sqlite3 *)> database_;
};

} // namespace mipo::tests

#endif
