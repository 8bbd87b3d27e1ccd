// What columns that are read block by block and the tests of their rows agree on.
#ifndef MIPO_COLUMN_BLOCK_READING_H
#define MIPO_COLUMN_BLOCK_READING_H

#include <stddef.h>

namespace mipo::column {

// What a test needs to see in a lane. A column may deliver more than that, never less.
enum class LaneForm {
  bytes,   // equal codes are equal, whatever the order of their bytes
  ordered, // comparing lanes is comparing codes
  value    // the code itself
};

// Of block loops over streams that are read at full speed: how far ahead, in bytes.
inline constexpr size_t prefetch_distance = 8192; // 64 blocks
inline constexpr size_t cache_line_bytes = 64;

} // namespace mipo::column

#endif
