// Bytes of a column file, altered, made to look sound again: what a stranger's program could write.
#ifndef MIPO_TESTS_COLUMN_FILE_SEAL_H
#define MIPO_TESTS_COLUMN_FILE_SEAL_H

#include <cstring>
#include <string>

#include "host/file/column_file_format.h"

namespace mipo::host {

/// Makes all checksums anew that the header and the directory lead to.
inline void seal_column_file(std::string &bytes) {
  using namespace column_file;
  Header header;
  if (bytes.size() < sizeof header) return;
  std::memcpy(&header, bytes.data(), sizeof header);
  std::memcpy(header.magic, magic, sizeof magic);
  header.version = version;
  header.file_bytes = bytes.size();
  const bool has_directory = header.directory_offset <= bytes.size();
  if (has_directory) {
    header.directory_bytes = bytes.size() - header.directory_offset;
    char *const directory = bytes.data() + header.directory_offset;
    for (ub8 at = sizeof(TableRecord); at + sizeof(ColumnRecord) <= header.directory_bytes;
         at += sizeof(ColumnRecord)) {
      ColumnRecord record;
      std::memcpy(&record, directory + at, sizeof record);
      for (Section &section : record.sections)
        if (section.offset <= bytes.size() && section.bytes <= bytes.size() - section.offset)
          section.checksum = checksum(bytes.data() + section.offset, section.bytes);
      std::memcpy(directory + at, &record, sizeof record);
    }
    header.directory_checksum = checksum(directory, header.directory_bytes);
  }
  header.header_checksum = checksum(&header, offsetof(Header, header_checksum));
  std::memcpy(bytes.data(), &header, sizeof header);
}

} // namespace mipo::host

#endif
