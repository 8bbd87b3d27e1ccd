// Opening the library. Link `libmipohost.so` (it needs libc and libm alone) and call mipo_open().
//
// What it does for the caller: it makes `hostierr`, `brep_decode`, `sqrt` and `pow` visible to the library even in a
// process that loads its modules locally and does not link libm; picks the library built for the best instruction set
// this processor has; and checks the record's header before anybody calls through it.
#ifndef MIPO_OPEN_H
#define MIPO_OPEN_H

#include "mipo/entries.h"

#ifdef __cplusplus
extern "C" {
#endif

// Environment variable that forces a level: "plain", "sse42", "avx2" or "neon".
#define MIPO_LEVEL_VARIABLE "MIPO_LEVEL"

typedef struct mipo_library {
  const mipo_specialized_ctx *record; // null if the library could not be opened
  void *handle;                       // for dlclose, by mipo_close
  char level[16];                     // instruction set that the library was built for, read from the file itself
  char path[1024];                    // the file that was opened
  char message[1024];                 // why this level was chosen; after a failure, what went wrong
} mipo_library;

// Opens the library that lies beside libmipohost.so, at the level in MIPO_LEVEL or the best one for this processor.
// Returns 0, or -1 with `message` filled and `record` null. May be called any number of times, from any thread.
int mipo_open(mipo_library *library);

// Opens the library in the file `path`, whatever MIPO_LEVEL says.
int mipo_open_path(mipo_library *library, const char *path);

// Gives the library back; the record must not be used any more. Does nothing after a failed open.
void mipo_close(mipo_library *library);

// The error frame that the default `hostierr` of libmipohost.so looks for in word MIPO_ENV_ERROR_FRAME_WORD of `env`:
// it calls `report`. Without a frame the message goes to standard error. A host that defines `hostierr` itself, and
// exports it from the executable, replaces all of this.
typedef struct mipo_error_frame mipo_error_frame;
struct mipo_error_frame {
  void (*report)(mipo_error_frame *frame, const char *message);
};

// The heap handle that the default `brep_decode` of libmipohost.so looks for: it calls `decompress`, which returns 0
// and stores the length, or another value for a failure. Without one, decompression fails.
typedef struct mipo_decompressor mipo_decompressor;
struct mipo_decompressor {
  ub4 (*decompress)(mipo_decompressor *self, const void *source, void *destination, ub4 *out_length, ub4 size);
};

#ifdef __cplusplus
}
#endif

#endif
