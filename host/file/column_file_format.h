// The bytes of a column file. All numbers are little-endian; checksums are XXH3 of 64 bits.
//
//   0             header          64 bytes
//   64            sections        each at a multiple of 64, with 64 zero bytes or more after it, as kernels need them
//   directory     table record, a column record for each column, then the names: the table's, the columns'
//
// A section is one piece of memory of a column as it is used. Sections without bytes are not there: offset 0.
#ifndef MIPO_HOST_FILE_COLUMN_FILE_FORMAT_H
#define MIPO_HOST_FILE_COLUMN_FILE_FORMAT_H

#include <bit>
#include <cstddef>

#include "host/column/column_parts.h"

namespace mipo::host::column_file {

static_assert(std::endian::native == std::endian::little, "sections are used in place, as the machine stores them");

inline constexpr char magic[8] = {'\x93', 'm', 'i', 'p', 'o', 'c', 'o', 'l'};
inline constexpr ub4 version = 1;
inline constexpr ub8 section_alignment = AlignedBuffer::alignment, section_slack = AlignedBuffer::slack;

struct Header {
  char magic[8];
  ub4 version;
  ub4 reserved;
  ub8 file_bytes;
  ub8 directory_offset; // the directory is the end of the file
  ub8 directory_bytes;
  ub8 directory_checksum;
  ub8 reserved_48;
  ub8 header_checksum; // of what stands before it
};
static_assert(sizeof(Header) == 64 && offsetof(Header, header_checksum) == 56, "the header has 64 bytes");

struct TableRecord {
  ub8 text_bytes;
  ub4 rows;
  ub4 columns;
  ub4 name_bytes;
  ub4 reserved;
};
static_assert(sizeof(TableRecord) == 24, "the table record has 24 bytes");

struct Section {
  ub8 offset;
  ub8 bytes; // without what follows it
  ub8 checksum;
};

struct ColumnRecord {
  ub8 text_bytes;
  ub8 value_count;
  ub8 first_code;
  ub8 code_count;
  ub4 null_rows;
  ub4 runs;
  ub4 decompressed_bytes;
  ub4 name_bytes;
  ub1 kind; // ValueKind
  ub1 scale;
  ub1 precision; // TimePrecision
  ub1 form;      // ValueForm
  ub1 bits;
  ub1 run_form; // RunForm
  ub1 cut_bytes;
  ub1 flags;                           // the following
  Section sections[column_part_count]; // in the order of ColumnPart
};
static_assert(sizeof(ColumnRecord) == 56 + 24 * column_part_count, "a column record has no gaps");

enum ColumnFlag : ub1 { compressed = 1, has_null = 2, has_long_runs = 4, all_column_flags = 7 };

ub8 checksum(const void *bytes, std::size_t size) noexcept;

} // namespace mipo::host::column_file

#endif
