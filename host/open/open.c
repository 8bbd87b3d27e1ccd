#include "mipo/open.h"

#include <dlfcn.h>
#include <limits.h>
#include <link.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "host/open/level.h"

#define EXPORTED __attribute__((visibility("default")))
#define LIBRARY_FILE "libmipo.so.1"

// The folder of libmipohost.so, once it has been made visible to the libraries that it opens.
typedef struct own_place {
  char folder[PATH_MAX];
  char problem[512]; // empty if all went well
} own_place;

static own_place place;
static pthread_once_t place_once = PTHREAD_ONCE_INIT;

// Moves this library and libm into the global scope, where the library's four symbols are looked up. The handle is kept
// for good: the symbols must not go away under an open library.
static void promote_self(void) {
  Dl_info self;
  if (dladdr(&place, &self) == 0 || self.dli_fname == NULL) {
    snprintf(place.problem, sizeof place.problem, "the file of libmipohost.so is not known to the loader");
    return;
  }
  void *handle = dlopen(self.dli_fname, RTLD_NOW | RTLD_GLOBAL | RTLD_NOLOAD);
  if (handle == NULL || dlinfo(handle, RTLD_DI_ORIGIN, place.folder) != 0)
    snprintf(place.problem, sizeof place.problem, "%s cannot be made visible to the library: %s", self.dli_fname,
             dlerror());
}

static int fail(mipo_library *library, const char *format, ...) __attribute__((format(printf, 2, 3)));

static int fail(mipo_library *library, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(library->message, sizeof library->message, format, arguments);
  va_end(arguments);
  if (library->handle != NULL) dlclose(library->handle);
  library->handle = NULL;
  library->record = NULL;
  return -1;
}

// What is wrong with the record, or null.
static const char *header_problem(const mipo_specialized_ctx *record) {
  static const ub8 layout[] = {8, 8, 8, 8, 8, 8, 8, 16, 0, 16};
  if (record->magic != MIPO_MAGIC) return "its record does not begin with the magic number";
  if (record->format != MIPO_FORMAT) return "its record has another format number";
  if (record->version == NULL || strcmp(record->version, MIPO_VERSION_TEXT) != 0)
    return "its record has another version text than " MIPO_VERSION_TEXT;
  if (memcmp(record->layout, layout, sizeof layout) != 0) return "its record has other layout constants";
  if (record->dispatch_table == NULL) return "its record has no dispatch table";
  return NULL;
}

// Takes over what dlopen() returned: finds the record and checks it. `reason` becomes the message.
static int accept(mipo_library *library, void *handle, const char *reason) {
  library->handle = handle;
  const struct link_map *file = NULL;
  if (dlinfo(handle, RTLD_DI_LINKMAP, &file) != 0) return fail(library, "the opened file is not known: %s", dlerror());
  snprintf(library->path, sizeof library->path, "%s", file->l_name);
  const mipo_specialized_ctx *record = dlsym(handle, MIPO_RECORD_SYMBOL);
  if (record == NULL) return fail(library, "%s is not this library: it has no " MIPO_RECORD_SYMBOL, library->path);
  const char *problem = header_problem(record);
  if (problem != NULL) return fail(library, "%s cannot be used by this host: %s", library->path, problem);
  library->record = record;
  mipo_read_level_note(file, library->level, sizeof library->level);
  snprintf(library->message, sizeof library->message, "%s", reason);
  return 0;
}

static int open_file(mipo_library *library, const char *path, const char *reason) {
  void *handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  if (handle == NULL) return fail(library, "%s", dlerror());
  return accept(library, handle, reason);
}

static int level_path(char *path, size_t size, const mipo_level *level) {
  const int length = strcmp(level->folder, ".") == 0
                         ? snprintf(path, size, "%s/" LIBRARY_FILE, place.folder)
                         : snprintf(path, size, "%s/%s/" LIBRARY_FILE, place.folder, level->folder);
  return length > 0 && (size_t)length < size ? 0 : -1;
}

static bool is_installed(const mipo_level *level) {
  char path[PATH_MAX];
  if (level_path(path, sizeof path, level) != 0) return false;
  FILE *file = fopen(path, "rb");
  if (file != NULL) fclose(file);
  return file != NULL;
}

// The levels that are installed beside this library, as in "avx2 plain".
static const char *list_installed(char *text, size_t size) {
  size_t used = 0;
  text[0] = '\0';
  for (const mipo_level *level = mipo_levels; level->name != NULL; ++level)
    if (is_installed(level) && used < size)
      used += (size_t)snprintf(text + used, size - used, "%s%s", used == 0 ? "" : " ", level->name);
  return used == 0 ? "none" : text;
}

static int open_level(mipo_library *library, const char *name) {
  char installed[64];
  const mipo_level *level = mipo_find_level(name);
  if (level == NULL)
    return fail(library, MIPO_LEVEL_VARIABLE "=%s: there is no such level on this architecture (installed: %s)", name,
                list_installed(installed, sizeof installed));
  if (!is_installed(level))
    return fail(library, MIPO_LEVEL_VARIABLE "=%s: this level is not installed in %s (installed: %s)", name,
                place.folder, list_installed(installed, sizeof installed));
  if (!mipo_processor_runs(level))
    return fail(library, MIPO_LEVEL_VARIABLE "=%s: this processor cannot run this level (installed: %s)", name,
                list_installed(installed, sizeof installed));
  char path[PATH_MAX];
  if (level_path(path, sizeof path, level) != 0) return fail(library, "the path of level %s is too long", name);
  return open_file(library, path, "forced by " MIPO_LEVEL_VARIABLE);
}

static int open_best(mipo_library *library, const char *reason) {
  for (const mipo_level *level = mipo_levels; level->name != NULL; ++level) {
    char path[PATH_MAX];
    if (!is_installed(level) || !mipo_processor_runs(level)) continue;
    if (level_path(path, sizeof path, level) != 0) continue;
    return open_file(library, path, reason);
  }
  char installed[64];
  return fail(library, "no " LIBRARY_FILE " that this processor can run lies in %s (installed: %s)", place.folder,
              list_installed(installed, sizeof installed));
}

#if defined(__x86_64__)
// The loader would answer with any library of this name that is open already, whatever its level.
static bool is_open_by_name(void) {
  void *handle = dlopen(LIBRARY_FILE, RTLD_LAZY | RTLD_NOLOAD);
  if (handle != NULL) dlclose(handle);
  return handle != NULL;
}
#endif

static int open_default(mipo_library *library) {
#if defined(__x86_64__)
  if (is_open_by_name())
    return open_best(library, "the best installed level for this processor; chosen by path, because a " LIBRARY_FILE
                              " was open in this process already");
  void *handle = dlopen(LIBRARY_FILE, RTLD_NOW | RTLD_LOCAL);
  if (handle != NULL)
    return accept(library, handle, "the best installed level for this processor; chosen by the dynamic loader");
#endif
  return open_best(library, "the best installed level for this processor; chosen by libmipohost.so");
}

static int begin(mipo_library *library) {
  memset(library, 0, sizeof *library);
  pthread_once(&place_once, promote_self);
  return place.problem[0] == '\0' ? 0 : fail(library, "%s", place.problem);
}

EXPORTED int mipo_open(mipo_library *library) {
  if (begin(library) != 0) return -1;
  const char *level = getenv(MIPO_LEVEL_VARIABLE);
  if (level != NULL && level[0] != '\0') return open_level(library, level);
  return open_default(library);
}

EXPORTED int mipo_open_path(mipo_library *library, const char *path) {
  if (begin(library) != 0) return -1;
  if (path == NULL || path[0] == '\0') return fail(library, "no path was given");
  return open_file(library, path, "the file was named by the caller");
}

EXPORTED void mipo_close(mipo_library *library) {
  if (library->handle != NULL) dlclose(library->handle);
  library->handle = NULL;
  library->record = NULL;
}
