#include "commands.h"

#include <fmt/format.h>
#include <fmt/ostream.h>
#include <nlohmann/json.hpp>

#include "mipo/host/library.h"

namespace mipo::tools {

void info_command(const InfoOptions &options, const Streams &streams) {
  const host::Library library = host::Library::open();
  const mipo_specialized_ctx &record = library.record();
  const std::size_t kernels = host::all_kernels().size();
  const std::size_t entries = MIPO_ENTRY_COUNT;
  if (options.format == OutputFormat::json) {
    const nlohmann::ordered_json info = {
        {"library", library.path()},
        {"level", library.level()},
        {"level_reason", library.message()},
        {"record",
         {{"magic", record.magic},
          {"version", record.version},
          {"format", record.format},
          {"specialisation", record.specialisation},
          {"layout", record.layout}}},
        {"entries", {{"present", library.entry_count()}, {"of", entries}}},
        {"kernels", {{"present", library.kernel_count()}, {"of", kernels}}},
    };
    streams.out << info.dump(2) << '\n';
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

} // namespace mipo::tools
