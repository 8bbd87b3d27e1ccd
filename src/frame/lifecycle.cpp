// The lifecycle entries do nothing, and that is their contract: the library has no global and no per-thread state.
#include "interface/entry_functions.h"

extern "C" {

void mipo_init_sharedlib_dydi(ub8, ub8) {
}

void mipo_set_trace_level_dydi(ub8) {
}

ub4 mipo_thread_ctx_init_dydi(void) {
  return 0;
}

ub4 mipo_thread_ctx_fini_dydi(void) {
  return 0;
}
}
