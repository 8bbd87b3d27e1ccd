#include "program/commands.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <fmt/format.h>
#include <fnmatch.h>

#include "mipo/host/library.h"

namespace mipo::program {

using namespace engine;
namespace {

bool matches(const std::string &pattern, const std::string &name) {
  if (pattern.find_first_of("*?[") == std::string::npos) return name.find(pattern) != std::string::npos;
  return fnmatch(pattern.c_str(), name.c_str(), 0) == 0;
}

} // namespace

void kernels_command(const KernelsOptions &options, const Streams &streams) {
  const host::Library library = host::Library::open();
  std::vector<host::KernelDescription> kernels;
  for (const host::KernelDescription &kernel : host::all_kernels()) {
    if (matches(options.pattern, std::string(kernel.name))) kernels.push_back(kernel);
  }
  if (kernels.empty()) throw host::Error(fmt::format("no kernel's name matches \"{}\"", options.pattern));
  std::sort(kernels.begin(), kernels.end(), [](const host::KernelDescription &a, const host::KernelDescription &b) {
    return strverscmp(std::string(a.name).c_str(), std::string(b.name).c_str()) < 0;
  });

  OutputTable relation;
  relation.columns = {{"key", CellKind::number}, {"name"}, {"family"}, {"present", CellKind::truth}};
  relation.row_count = kernels.size();
  relation.append_cell = [&](std::string &out, std::size_t row, std::size_t column) {
    const host::KernelDescription &kernel = kernels[row];
    switch (column) {
    case 0:
      out += std::to_string(kernel.key);
      break;
    case 1:
      out += kernel.name;
      break;
    case 2:
      out += kernel.family;
      break;
    default:
      out += library.has_kernel(kernel.key) ? "yes" : "no";
      break;
    }
    return true;
  };
  write(streams.out, relation, options.format);
}

} // namespace mipo::program
