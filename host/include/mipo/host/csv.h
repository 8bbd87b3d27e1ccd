// Reading CSV files into tables. Only in builds with MIPO_HOST_FILES.
#ifndef MIPO_HOST_CSV_H
#define MIPO_HOST_CSV_H

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mipo/host/errors.h"
#include "mipo/host/input_file.h"
#include "mipo/host/table.h"

namespace mipo::host {

struct CsvOptions {
  std::string table_name;                    ///< empty: the file's name up to its first point
  std::map<std::string, ValueKind> kinds;    ///< by column name; the others are inferred from all their values
  std::map<std::string, Encoding> encodings; ///< by column name; the others are chosen from the data
  bool may_lack_columns = false;             ///< kinds and encodings of columns that the file lacks are passed over
  std::optional<char> delimiter;             ///< nothing: comma, semicolon, tab or bar, found from the first rows
  bool has_header = true;                    ///< false: the first row is data, and the columns are c1, c2, ...
  std::vector<std::string> nulls;            ///< fields of exactly these texts are null, beside empty ones
  Compressor compressor; ///< as in ColumnOptions; zstd_compress for compressed encodings if there is none
  /// Called now and then with the bytes of the file read so far and the size of the file. May throw to stop.
  std::function<void(ub8 bytes_done, ub8 bytes_total)> progress;
};

/// Reads a file whose first row names the columns. A file that begins as zstd and gzip files do is decompressed while
/// it is read; "-" is standard input.
///
/// Fields may be quoted with double quotes, a quote inside doubled; a quoted field may hold line ends. Spaces belong to
/// the field. An empty field, quoted or not, is a NULL row. Blank lines are skipped. Lines end in LF, CR LF
/// or CR. A byte order mark in front is skipped.
///
/// Throws CsvError, naming file, line and column, for: a file that cannot be read or decompressed, no header, an empty
/// or repeated column name, an override for a column that does not exist (unless it may lack columns), a row with
/// another number of fields than the header, broken quoting, bytes that are not UTF-8 (with their place, and what to
/// do), a field that is no value of the column's given kind, and an encoding that cannot hold the values of its column.
Table read_csv(const std::filesystem::path &path, const CsvOptions &options = {});
/// The same of a file that is open already. Without a name in the options, standard input becomes the table "stdin".
Table read_csv(InputFile &&file, const CsvOptions &options = {});

} // namespace mipo::host

#endif
