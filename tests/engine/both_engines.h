// CSV texts read by the program and by SQLite, to put the same questions to both.
#ifndef MIPO_TESTS_QUERY_ENGINES_H
#define MIPO_TESTS_QUERY_ENGINES_H

#include <map>
#include <string>

#include "engine/query_data.h"
#include "engine/query_result.h"
#include "mipo/host/csv.h"
#include "mipo/host/library.h"

namespace mipo::tests {

class BothEngines {
public:
  /// `declaration` is for SQLite, as in CREATE TABLE. The CSV text goes to `file` in the scratch folder. Queries name
  /// the table `name`.
  BothEngines(const std::string &declaration, const std::string &csv, const std::string &file,
              const host::CsvOptions &options = {}, const std::string &name = "flights");

  /// One more table.
  void add(const std::string &declaration, const std::string &csv, const std::string &file,
           const host::CsvOptions &options, const std::string &name);

  /// Reads a table's file once more, with other encodings.
  void read_again(const host::CsvOptions &options) { read_again(first_, options); }
  void read_again(const std::string &name, const host::CsvOptions &options);

  const host::Table &table() const { return tables_.at(first_).table; }

  /// The kernels that a query calls.
  std::vector<engine::KernelProfile> calls(const std::string &sql) const { return answered(sql, 1).output().profile(); }

  /// `column` is any column, for the rows to be asked for.
  void expect_same_rows(const std::string &column, const std::string &clause, const std::string &sqlite_clause) const;

  /// Whether the order of the rows tells: it does if ORDER BY leaves no two of them equal.
  enum class Order { any, told };

  /// The same query to both, on so many threads. Floating-point numbers may differ in the last digits.
  void expect_same_result(const std::string &sql, Order order = Order::any, unsigned threads = 1) const;

private:
  struct FileTable {
    std::string file;
    host::Table table;
  };

  engine::QueryResult answered(const std::string &sql, unsigned threads) const;
  ResultRows result(const std::string &sql, unsigned threads) const;

  std::string first_;
  std::map<std::string, FileTable> tables_; // by name
  host::Library library_;
  SqliteTables sqlite_;
};

} // namespace mipo::tests

#endif
