// A host in C that loads its modules locally and does not link libm: what it cannot resolve by itself has to come from
// libmipohost.so, whose path is the argument.
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

#include "mipo/mipo.h"
#include "mipo/open.h"

static int failures;

static void check(int condition, const char *what) {
  if (condition) return;
  ++failures;
  fprintf(stderr, "failed: %s\n", what);
}

static char reported[256];

static void report(mipo_error_frame *frame, const char *message) {
  (void)frame;
  snprintf(reported, sizeof reported, "frame: %s", message);
}

#ifdef MIPO_TEST_OWN_HOSTIERR
#define EXPECTED_REPORTER "own"
void hostierr(void *env, void *error_frame, const char *message, ub8 zero) {
  (void)env;
  snprintf(reported, sizeof reported, "own: %s", error_frame != NULL && zero == 0 ? message : "wrong arguments");
}
#else
#define EXPECTED_REPORTER "frame"
#endif

static unsigned char memory[256] __attribute__((aligned(64)));

static void *allocate(void *env, void *heap, ub4 size, const char *label, ub4 eight, ub4 sixteen, ub8 hint) {
  (void)env;
  (void)heap;
  (void)label;
  return size <= sizeof memory && eight == 8 && sixteen == 16 && hint == 77 ? memory : NULL;
}

// Counts down from the stream's first byte; fails for an empty stream.
static ub4 decompress(mipo_decompressor *self, const void *source, void *destination, ub4 *out_length, ub4 size) {
  (void)self;
  const unsigned char first = *(const unsigned char *)source;
  unsigned char *out = destination;
  for (ub4 i = 0; i < size; ++i) out[i] = (unsigned char)(first - i);
  *out_length = size;
  return first == 0;
}

// Rows whose code is at least 200, of a compressed column that counts down from `first`.
static ub4 count_at_least_200(const mipo_specialized_ctx *record, mipo_decompressor *decompressor,
                              unsigned char first) {
  enum { rows = 100 };
  mipo_error_frame frame = {report};
  void *env[MIPO_ENV_ERROR_FRAME_WORD + 1] = {NULL};
  env[MIPO_ENV_ERROR_FRAME_WORD] = &frame;
  mipo_host_ctx host = {.env = env, .heap = decompressor, .alloc = allocate, .decode = record->mipo_brep_decode_dydi};
  mipo_call_ctx call = {.host = &host};
  mipo_enc_ctx enc_ctx = {.flags = MIPO_BREP, .bits = 8};
  void *decompressed = NULL;
  mipo_vec column = {.data = &first,
                     .enc_ctx = &enc_ctx,
                     .nrows = rows,
                     .decomp_size = rows,
                     .decomp_slot = &decompressed,
                     .decomp_hint = 77};
  ub8 bits[(rows + 63) / 64];
  mipo_vec result = {.bv = bits, .nrows = rows};
  ub8 value = 200;
  mipo_vec constant = {.data = &value, .nrows = 1};
  const ub4 key = mipo_key(MIPO_OP_GE, MIPO_FAMILY_DICT, mipo_convert_width(8), MIPO_VARIANT_PLAIN);
  record->dispatch_table[key].one_sided(&result, &column, &constant, &call);
  return result.nset;
}

int main(int argc, char **argv) {
  if (argc != 2) return 2;
#if !defined(MIPO_TEST_SANITIZED) // sanitizers bring libm
  check(dlsym(RTLD_DEFAULT, "pow") == NULL, "this test must not have libm from the start");
#endif
  void *opener = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (opener == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  int (*open_library)(mipo_library *) = NULL;
  void (*close_library)(mipo_library *) = NULL;
  *(void **)&open_library = dlsym(opener, "mipo_open");
  *(void **)&close_library = dlsym(opener, "mipo_close");

  mipo_library library;
  if (open_library == NULL || close_library == NULL || open_library(&library) != 0) {
    fprintf(stderr, "%s\n", open_library != NULL ? library.message : "no mipo_open");
    return 1;
  }
  printf("%s at level %s: %s\n", library.path, library.level, library.message);
  const mipo_specialized_ctx *record = library.record;

  const ub8 bits[2] = {UINT64_C(0xf0f0), 7};
  ub4 count = 0;
  record->mipo_lbiwvpopcnt_dydi(&count, bits, 66);
  check(count == 10, "the bits below the length are counted");

  mipo_decompressor decompressor = {decompress};
  check(count_at_least_200(record, &decompressor, 250) == 51, "the column is decompressed");
  check(reported[0] == '\0', "no error so far");
  // 0 fails; the kernel goes on with the bytes that are there: 0, 255, 254 and so on.
  check(count_at_least_200(record, &decompressor, 0) == 56, "the kernel carries on after a failed decompression");
  check(strcmp(reported, EXPECTED_REPORTER ": mipo_ge_dict_8bit: mipo_brep_decode failed") == 0, reported);
  reported[0] = '\0';
  count_at_least_200(record, NULL, 250);
  check(strcmp(reported, EXPECTED_REPORTER ": mipo_ge_dict_8bit: mipo_brep_decode failed") == 0,
        "without a decompressor decompression fails");

  check(dlsym(RTLD_DEFAULT, "pow") != NULL && dlsym(RTLD_DEFAULT, "sqrt") != NULL, "libm is visible to the library");
  close_library(&library);
  check(library.record == NULL, "a closed library has no record");
  close_library(&library);
  return failures != 0;
}
