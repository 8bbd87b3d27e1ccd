// A record that is right, but for the field that MIPO_TEST_WRONG_FIELD names when the module is loaded.
#include <stdlib.h>
#include <string.h>

#include "mipo/entries.h"

static const mipo_kernel no_kernels[MIPO_DISPATCH_TABLE_SLOTS];

// Not constant as in the library: filled by the constructor.
__attribute__((visibility("default"))) mipo_specialized_ctx record __asm__(MIPO_RECORD_SYMBOL) = {
    .magic = MIPO_MAGIC,
    .version = MIPO_VERSION_TEXT,
    .format = MIPO_FORMAT,
    .specialisation = MIPO_SPECIALISATION,
    .layout = {8, 8, 8, 8, 8, 8, 8, 16, 0, 16},
    .dispatch_table = no_kernels,
};

__attribute__((constructor)) static void spoil(void) {
  const char *field = getenv("MIPO_TEST_WRONG_FIELD");
  if (field == NULL) return;
  if (strcmp(field, "magic") == 0) record.magic ^= UINT64_C(1) << 40;
  if (strcmp(field, "version text") == 0) record.version = "TLW_23.1";
  if (strcmp(field, "format") == 0) record.format = 4;
  if (strcmp(field, "layout") == 0) record.layout[8] = 8;
  if (strcmp(field, "dispatch table") == 0) record.dispatch_table = NULL;
}
