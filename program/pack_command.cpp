#include <filesystem>

#include <fmt/format.h>
#include <fmt/ostream.h>

#include "engine/catalog/file_reading.h"
#include "mipo/host/column_file.h"
#include "mipo/host/input_file.h"
#include "program/commands.h"
#include "program/file_progress.h"
#include "program/interruption.h"
#include "program/json_value.h"

namespace mipo::program {

using namespace engine;

namespace {

// Nothing that somebody may still want is replaced unasked.
void check_output(const PackOptions &options) {
  std::error_code unknown;
  const std::filesystem::path to = options.to;
  if (std::filesystem::equivalent(options.from, to, unknown))
    throw host::Error(options.from + ": cannot be packed into itself");
  const std::filesystem::file_status status = std::filesystem::status(to, unknown);
  if (!std::filesystem::exists(status)) return;
  if (std::filesystem::is_directory(status)) throw host::Error(options.to + ": is a directory");
  if (!std::filesystem::is_regular_file(status)) throw host::Error(options.to + ": is no regular file");
  if (!options.force && std::filesystem::file_size(to) != 0 && !host::is_column_file(host::InputFile(to)))
    throw host::Error(options.to + ": exists and is no column file; --force replaces it");
}

} // namespace

void pack_command(const PackOptions &options, const Streams &streams) {
  check_output(options);
  // Reading leaves nothing behind and may be killed; writing must clear up after itself.
  Reading reading;
  const host::Library library = host::Library::open();
  const host::Table table = read_file(library, options.from, options.reading, reading, reading_progress(options.from));
  {
    const Interruptible interruptible;
    FileProgress progress("writing", options.to);
    host::write_column_file(options.to, table, [&](ub8 done, ub8 total) {
      interruptible.check();
      progress.show(done, total);
    });
  }
  const ub8 bytes = std::filesystem::file_size(options.to);
  if (options.format == OutputFormat::json) {
    const JsonValue::Object packed = {{"file", options.to},
                                      {"rows", table.row_count},
                                      {"columns", table.columns.size()},
                                      {"bytes", bytes},
                                      {"text_bytes", table.text_bytes}};
    streams.out << json_text(packed, 2) << '\n';
    return;
  }
  fmt::print(streams.out, "{}: {} rows, {} columns, {} bytes for {} bytes of text\n", options.to, table.row_count,
             table.columns.size(), bytes, table.text_bytes);
}

} // namespace mipo::program
