// The exported record: constant data that the linker fills, all a host ever sees of the library.
#include "frame/dispatch_table.h"
#include "mipo/mipo.h"

// Weak and hidden: the linker leaves a null pointer where no family defines an entry yet.
extern "C" {
#define DECLARE_WEAK(result, name, arguments) __attribute__((weak, visibility("hidden"))) result name arguments;
MIPO_ENTRIES(DECLARE_WEAK)
#undef DECLARE_WEAK
}

namespace mipo::frame {
namespace {

constexpr mipo_specialized_ctx make_record() {
  mipo_specialized_ctx record{};
  record.magic = MIPO_MAGIC;
  record.version = MIPO_VERSION_TEXT;
  record.format = MIPO_FORMAT;
  record.specialisation = MIPO_SPECIALISATION;
  constexpr ub8 layout[] = {8, 8, 8, 8, 8, 8, 8, 16, 0, 16};
  for (unsigned i = 0; i < 10; ++i) record.layout[i] = layout[i];
  record.dispatch_table = mipo_dispatch_table.kernels;

#define FILL_ENTRY(result, name, arguments) record.name = name;
  MIPO_ENTRIES(FILL_ENTRY)
#undef FILL_ENTRY
  return record;
}

} // namespace
} // namespace mipo::frame

extern "C" __attribute__((visibility("default"))) constinit const mipo_specialized_ctx mipo_global_specialized_ctx =
    mipo::frame::make_record();
