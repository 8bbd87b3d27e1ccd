// The instruction set levels that the library is built for.
#ifndef MIPO_HOST_OPEN_LEVEL_H
#define MIPO_HOST_OPEN_LEVEL_H

#include <link.h>
#include <stdbool.h>
#include <stddef.h>

// A level of this architecture: its name, and its folder below the one of libmipohost.so.
typedef struct mipo_level {
  const char *name;
  const char *folder;
} mipo_level;

// All levels of this architecture, the best first; ends with a null name.
extern const mipo_level mipo_levels[];

// The level of this name, or null.
const mipo_level *mipo_find_level(const char *name);

// Whether this processor can run code of the level.
bool mipo_processor_runs(const mipo_level *level);

// Copies the level that the loaded file names in its note; "unknown" if it has none.
void mipo_read_level_note(const struct link_map *file, char *level, size_t size);

#endif
