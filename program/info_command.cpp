#include "program/commands.h"

#include <iterator>

#include <fmt/format.h>
#include <fmt/ostream.h>

#include "mipo/host/library.h"
#include "program/json_value.h"

namespace mipo::program {

using namespace engine;

void info_command(const InfoOptions &options, const Streams &streams) {
  const host::Library library = host::Library::open();
  const mipo_specialized_ctx &record = library.record();
  const std::size_t kernels = host::all_kernels().size();
  const std::size_t entries = MIPO_ENTRY_COUNT;
  if (options.format == OutputFormat::json) {
    using Object = JsonValue::Object;
    const JsonValue::Array layout(std::begin(record.layout), std::end(record.layout));
    const Object info = {
        {"library", library.path()},
        {"level", library.level()},
        {"level_reason", library.message()},
        {"record", Object{{"magic", record.magic},
                          {"version", record.version},
                          {"format", record.format},
                          {"specialisation", record.specialisation},
                          {"layout", layout}}},
        {"entries", Object{{"present", library.entry_count()}, {"of", entries}}},
        {"kernels", Object{{"present", library.kernel_count()}, {"of", kernels}}},
    };
    streams.out << json_text(info, 2) << '\n';
    return;
  }
  const auto line = [&](std::string_view name, const std::string &value) {
    fmt::print(streams.out, "{:<15} {}\n", name, value);
  };
  line("library", std::string(library.path()));
  line("level", fmt::format("{} ({})", library.level(), library.message()));
  line("magic", fmt::format("{:#x}", record.magic));
  line("version", record.version);
  line("format", std::to_string(record.format));
  line("specialisation", record.specialisation);
  line("layout", fmt::format("{}", fmt::join(record.layout, " ")));
  line("entries", fmt::format("{} of {}", library.entry_count(), entries));
  line("kernels", fmt::format("{} of {}", library.kernel_count(), kernels));
}

} // namespace mipo::program
