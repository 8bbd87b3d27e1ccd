#include "host/open/level.h"

#include <elf.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

// MIPO_LEVEL_TABLE comes from the list in cmake/MipoLevels.cmake.
const mipo_level mipo_levels[] = {MIPO_LEVEL_TABLE{NULL, NULL}};

const mipo_level *mipo_find_level(const char *name) {
  for (const mipo_level *level = mipo_levels; level->name != NULL; ++level)
    if (strcmp(level->name, name) == 0) return level;
  return NULL;
}

bool mipo_processor_runs(const mipo_level *level) {
#if defined(__x86_64__)
  // The telling features of the loader's x86-64-v2 and x86-64-v3: no processor has them without the others.
  if (strcmp(level->name, "sse42") == 0)
    return __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt");
  if (strcmp(level->name, "avx2") == 0)
    return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") && __builtin_cpu_supports("bmi") &&
           __builtin_cpu_supports("bmi2");
#endif
  (void)level; // the others need no more than the architecture's baseline
  return true;
}

typedef struct note_search {
  const struct link_map *file;
  char *level;
  size_t size;
} note_search;

enum { level_note_type = 1 };

static size_t padded(size_t bytes) {
  return (bytes + 3) & ~(size_t)3;
}

static bool read_notes(const char *at, size_t bytes, const note_search *search) {
  const char *end = at + bytes;
  while ((size_t)(end - at) >= sizeof(ElfW(Nhdr))) {
    ElfW(Nhdr) note;
    memcpy(&note, at, sizeof note);
    const char *owner = at + sizeof note;
    if (padded(note.n_namesz) > (size_t)(end - owner)) return false;
    const char *text = owner + padded(note.n_namesz);
    if (note.n_descsz > (size_t)(end - text)) return false;
    if (note.n_type == level_note_type && note.n_namesz == sizeof "mipo" && memcmp(owner, "mipo", sizeof "mipo") == 0) {
      snprintf(search->level, search->size, "%.*s", (int)note.n_descsz, text);
      return true;
    }
    const size_t descriptor = padded(note.n_descsz);
    if (descriptor > (size_t)(end - text)) return false;
    at = text + descriptor;
  }
  return false;
}

static int visit_file(struct dl_phdr_info *info, size_t size, void *data) {
  (void)size;
  const note_search *search = data;
  if (info->dlpi_addr != search->file->l_addr || strcmp(info->dlpi_name, search->file->l_name) != 0) return 0;
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr) *header = &info->dlpi_phdr[i];
    // Segments of 8-byte alignment hold other notes, padded in another way.
    if (header->p_type != PT_NOTE || header->p_align > 4) continue;
    if (read_notes((const char *)(uintptr_t)(info->dlpi_addr + header->p_vaddr), header->p_memsz, search)) break;
  }
  return 1;
}

void mipo_read_level_note(const struct link_map *file, char *level, size_t size) {
  snprintf(level, size, "unknown");
  note_search search = {file, level, size};
  dl_iterate_phdr(visit_file, &search);
}
