// From a CSV or column file to a table in memory, telling how far it is.
#ifndef MIPO_ENGINE_CATALOG_FILE_READING_H
#define MIPO_ENGINE_CATALOG_FILE_READING_H

#include <functional>
#include <string>

#include "engine/catalog/reading_options.h"
#include "mipo/host/library.h"
#include "mipo/host/table.h"

namespace mipo::engine {

/// How the reading went.
struct Reading {
  std::string file;
  bool mapped = false; // a column file
  ub8 text_bytes = 0;  // of the file, once decompressed
  ub8 rows = 0;
  std::size_t columns = 0;
  char delimiter = 0; // of a CSV file
  double seconds = 0; // reading, decompressing and encoding; of a column file, mapping
};

/// Is told of a file's bytes how many are done, and how many there are.
using ReadingProgress = std::function<void(ub8 done, ub8 total)>;

/// `file` may be "-", standard input. Throws host::Error, host::CsvError or host::ColumnFileError; the latter also for
/// reading options with a column file, which has its types and encodings. With `one_of_several`, options for columns
/// that the file does not have are passed over.
host::Table read_file(const host::Library &library, const std::string &file, const ReadingOptions &options,
                      Reading &reading, const ReadingProgress &progress, bool one_of_several = false);

} // namespace mipo::engine

#endif
