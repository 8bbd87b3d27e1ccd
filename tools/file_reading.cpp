#include "file_reading.h"

#include <chrono>

#include "mipo/host/csv.h"
#include "reading_progress.h"

namespace mipo::tools {

host::Table read_file(const std::string &file, const ReadingOptions &options, Reading &reading) {
  reading.file = file;
  ReadingProgress progress(file);
  host::CsvOptions csv;
  csv.kinds = options.kinds;
  csv.encodings = options.encodings;
  csv.progress = [&](ub8 done, ub8 total) { progress.show(done, total); };
  const auto start = std::chrono::steady_clock::now();
  host::Table table = host::read_csv(file, csv);
  reading.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  reading.text_bytes = table.text_bytes;
  reading.rows = table.row_count;
  reading.columns = table.columns.size();
  return table;
}

} // namespace mipo::tools
