// Which instruction set this file was built for, as an ELF note: the exported record says the same in every build.
#include <elf.h>

namespace mipo::frame {
namespace {

struct LevelNote {
  Elf64_Nhdr header;
  char owner[8];
  char level[8];
};

constexpr unsigned char level_note_type = 1;

// "alloc" notes are mapped with the library, where a host finds them through its program headers.
__attribute__((section(".note.mipo"), used, aligned(4))) constinit const LevelNote level_note = {
    {sizeof "mipo", sizeof(LevelNote::level), level_note_type}, "mipo", MIPO_LEVEL_NAME};

} // namespace
} // namespace mipo::frame
