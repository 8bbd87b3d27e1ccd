// From a CSV or column file to a table in memory, with progress on a terminal.
#ifndef MIPO_TOOLS_FILE_READING_H
#define MIPO_TOOLS_FILE_READING_H

#include <string>

#include "commands.h"
#include "mipo/host/library.h"
#include "mipo/host/table.h"

namespace mipo::tools {

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

/// `file` may be "-", standard input. Throws host::Error, host::CsvError or host::ColumnFileError; the latter also for
/// reading options with a column file, which has its types and encodings. With `one_of_several`, options for columns
/// that the file does not have are passed over.
host::Table read_file(const host::Library &library, const std::string &file, const ReadingOptions &options,
                      Reading &reading, bool one_of_several = false);

} // namespace mipo::tools

#endif
