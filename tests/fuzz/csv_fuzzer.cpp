// Any bytes as a CSV file: an error, or a table whose cells can all be read.
#include "bytes_as_file.h"
#include "every_cell.h"
#include "mipo/host/csv.h"
#include "mipo/host/errors.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t size) {
  using namespace mipo;
  static fuzz::BytesAsFile file;
  try {
    host::CsvOptions options;
    options.table_name = "fuzzed";
    fuzz::read_every_cell(host::read_csv(file.holding(bytes, size), options));
  } catch (const host::Error &) {
  }
  return 0;
}
