// What the library takes from the process that loads it. Weak: a host that links this library may bring its own.
#include <stdio.h>

#include "mipo/call.h"
#include "mipo/open.h"

#define DEFAULT_CALLBACK __attribute__((weak, visibility("default")))

DEFAULT_CALLBACK void hostierr(void *env, void *error_frame, const char *message, ub8 zero) {
  (void)env;
  (void)zero;
  mipo_error_frame *frame = error_frame;
  if (frame != NULL)
    frame->report(frame, message);
  else
    fprintf(stderr, "mipo: %s\n", message);
}

DEFAULT_CALLBACK ub4 brep_decode(void *env, void *heap, const void *source, void *destination, ub4 *out_length,
                                 ub4 size, ub8 zero1, ub8 zero2, ub8 zero3) {
  (void)env;
  (void)zero1;
  (void)zero2;
  (void)zero3;
  mipo_decompressor *decompressor = heap;
  if (decompressor == NULL) return 1;
  return decompressor->decompress(decompressor, source, destination, out_length, size);
}
