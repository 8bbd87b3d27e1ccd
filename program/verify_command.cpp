#include <fmt/format.h>
#include <fmt/ostream.h>

#include "mipo/host/column_file.h"
#include "program/commands.h"
#include "program/file_progress.h"
#include "program/json_value.h"

namespace mipo::program {

using namespace engine;

void verify_command(const VerifyOptions &options, const Streams &streams) {
  const host::Library library = host::Library::open();
  FileProgress progress("verifying", options.file);
  const host::VerifiedColumnFile verified =
      host::verify_column_file(library, options.file, [&](ub8 done, ub8 total) { progress.show(done, total); });
  const host::Table &table = verified.table;
  if (options.format == OutputFormat::json) {
    const JsonValue::Object sound = {{"file", options.file},          {"sound", true},
                                     {"rows", table.row_count},       {"columns", table.columns.size()},
                                     {"sections", verified.sections}, {"bytes", verified.bytes}};
    streams.out << json_text(sound, 2) << '\n';
    return;
  }
  fmt::print(streams.out, "{} is sound: {} rows, {} columns, {} sections, {} bytes\n", options.file, table.row_count,
             table.columns.size(), verified.sections, verified.bytes);
}

} // namespace mipo::program
