// The bridge to the host's decompressor, the usual value of the `decode` callback.
#include "interface/entry_functions.h"

extern "C" ub4 mipo_brep_decode_dydi(mipo_decode_args *args, const void *source, void *destination, ub4 *out_length,
                                     ub4 size) {
  return brep_decode(args->env, args->heap, source, destination, out_length, size, 0, 0, 0);
}
