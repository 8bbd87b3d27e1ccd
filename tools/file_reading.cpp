#include "file_reading.h"

#include <algorithm>
#include <chrono>

#include "file_progress.h"
#include "mipo/host/column_file.h"
#include "mipo/host/csv.h"

namespace mipo::tools {

namespace {

host::Table read_column_file(const std::string &file, const ReadingOptions &options, bool one_of_several) {
  host::Table table = host::open_column_file(file);
  const auto concerns = [&](const auto &given) {
    return std::ranges::any_of(given, [&](const auto &entry) { return !one_of_several || table.find(entry.first); });
  };
  if (concerns(options.kinds) || concerns(options.encodings))
    throw host::ColumnFileError(file + ": is a column file: types and encodings were settled when it was packed");
  return table;
}

} // namespace

host::Table read_file(const std::string &file, const ReadingOptions &options, Reading &reading, bool one_of_several) {
  reading.file = file;
  reading.mapped = host::is_column_file(file);
  FileProgress progress("reading", file);
  host::CsvOptions csv;
  csv.kinds = options.kinds;
  csv.encodings = options.encodings;
  csv.may_lack_columns = one_of_several;
  csv.progress = [&](ub8 done, ub8 total) { progress.show(done, total); };
  const auto start = std::chrono::steady_clock::now();
  host::Table table = reading.mapped ? read_column_file(file, options, one_of_several) : host::read_csv(file, csv);
  reading.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  reading.text_bytes = table.text_bytes;
  reading.rows = table.row_count;
  reading.columns = table.columns.size();
  return table;
}

} // namespace mipo::tools
