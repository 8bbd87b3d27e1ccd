#include "file_reading.h"

#include <chrono>

#include "file_progress.h"
#include "mipo/host/column_file.h"
#include "mipo/host/csv.h"

namespace mipo::tools {

namespace {

host::Table read_table(const std::string &file, const host::CsvOptions &csv, bool is_column_file) {
  if (!is_column_file) return host::read_csv(file, csv);
  if (!csv.kinds.empty() || !csv.encodings.empty())
    throw host::ColumnFileError(file + ": is a column file: types and encodings were settled when it was packed");
  return host::open_column_file(file);
}

} // namespace

host::Table read_file(const std::string &file, const ReadingOptions &options, Reading &reading) {
  reading.file = file;
  reading.mapped = host::is_column_file(file);
  FileProgress progress("reading", file);
  host::CsvOptions csv;
  csv.kinds = options.kinds;
  csv.encodings = options.encodings;
  csv.progress = [&](ub8 done, ub8 total) { progress.show(done, total); };
  const auto start = std::chrono::steady_clock::now();
  host::Table table = read_table(file, csv, reading.mapped);
  reading.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  reading.text_bytes = table.text_bytes;
  reading.rows = table.row_count;
  reading.columns = table.columns.size();
  return table;
}

} // namespace mipo::tools
