// The tables of a query: files, each read once however often the query names it.
#ifndef MIPO_ENGINE_CATALOG_QUERY_TABLES_H
#define MIPO_ENGINE_CATALOG_QUERY_TABLES_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "engine/catalog/file_reading.h"
#include "engine/sql/ast.h"
#include "mipo/host/table.h"

namespace mipo::engine {

class QueryTables {
public:
  /// `files` are bound to names in FROM; other names are paths, or "-" for standard input. Both must outlive the
  /// object.
  QueryTables(const host::Library &library, const std::map<std::string, std::string> &files,
              const ReadingOptions &options)
      : library_(library), files_(files), options_(options) {}

  /// Makes what is told how far the reading of a file is.
  using Progress = std::function<ReadingProgress(const std::string &file)>;

  /// Reads the files of all tables that the query names, also in the queries within it. Throws QueryError for a name
  /// that stands for no file, what read_file() throws, and host::Error for options about columns that no table has.
  void read(const Query &query, const Progress &progress);

  /// The table of a name that was read.
  const host::Table &table(const TableName &name) const { return tables_.at(file_of(name)); }
  /// How reading went, file by file.
  const std::vector<Reading> &readings() const { return readings_; }

private:
  std::string file_of(const TableName &table) const;
  void check_options() const;

  const host::Library &library_;
  const std::map<std::string, std::string> &files_;
  const ReadingOptions &options_;
  std::map<std::string, host::Table> tables_; // by file
  std::vector<Reading> readings_;
};

} // namespace mipo::engine

#endif
