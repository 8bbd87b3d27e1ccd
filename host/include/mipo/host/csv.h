// Reading CSV files into tables. Only in builds with MIPO_BUILD_TOOLS.
#ifndef MIPO_HOST_CSV_H
#define MIPO_HOST_CSV_H

#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "mipo/host/errors.h"
#include "mipo/host/table.h"

namespace mipo::host {

struct CsvOptions {
  std::string table_name;                    ///< empty: the file's name up to its first point
  std::map<std::string, ValueKind> kinds;    ///< by column name; the others are inferred from all their values
  std::map<std::string, Encoding> encodings; ///< by column name; the others are chosen from the data
  bool may_lack_columns = false;             ///< kinds and encodings of columns that the file lacks are passed over
  char delimiter = ',';
  Compressor compressor; ///< as in ColumnOptions; zstd_compress for compressed encodings if there is none
  /// Called now and then with the bytes of the file read so far and the size of the file. May throw to stop.
  std::function<void(ub8 bytes_done, ub8 bytes_total)> progress;
};

/// Reads a file whose first row names the columns. A file that ends in ".zst" is decompressed while it is read.
///
/// Fields may be quoted with double quotes, a quote inside doubled; a quoted field may hold line ends. Spaces belong to
/// the field. An empty field, quoted or not, is a row without value. Blank lines are skipped. Lines end in LF, CR LF
/// or CR. A byte order mark in front is skipped.
///
/// Throws CsvError, naming file, line and column, for: a file that cannot be read or decompressed, no header, an empty
/// or repeated column name, an override for a column that does not exist (unless it may lack columns), a row with
/// another number of fields than the header, broken quoting, bytes that are not UTF-8, a field that is no value of the
/// column's given kind, and an encoding that cannot hold the values of its column.
Table read_csv(const std::filesystem::path &path, const CsvOptions &options = {});

} // namespace mipo::host

#endif
