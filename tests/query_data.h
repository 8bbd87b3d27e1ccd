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

/// A table of SQLite in memory with the rows of a CSV text without quotes: column types as declared, empty fields NULL.
class SqliteTable {
public:
  /// `declaration` as in CREATE TABLE, for instance "delay INTEGER, origin TEXT". The table is named `flights`.
  SqliteTable(const std::string &declaration, std::string_view csv);

  /// The numbers (from 0) of the rows that a condition and what follows it select, in the order of the rows.
  std::vector<std::uint32_t> rows(const std::string &where_and_limit) const;
  /// The texts of the one row that a list of aggregates gives; nothing for NULL.
  std::vector<std::optional<std::string>> aggregates(const std::string &list, const std::string &where) const;

private:
  void run(const std::string &sql) const;
  [[noreturn]] void fail(const std::string &what) const;

  std::unique_ptr<sqlite3, int (*)(sqlite3 *)> database_;
};

} // namespace mipo::tests

#endif
