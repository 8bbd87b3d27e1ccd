#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "host/file/column_file_format.h"
#include "mipo/host/column_file.h"

namespace mipo::host {
namespace {

using namespace column_file;

constexpr std::size_t piece_bytes = 1 << 20; // between two calls of `progress`

// A file under no name, or under a temporary one where the file system has no such files, until it is whole.
class NewFile {
public:
  explicit NewFile(const std::filesystem::path &path) : path_(path) {
    const std::filesystem::path folder = path.has_parent_path() ? path.parent_path() : ".";
    if (std::filesystem::is_directory(path)) throw ColumnFileError(path.string() + ": is a folder");
    folder_ = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder_ < 0) fail("its folder cannot be opened");
    file_ = ::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666);
    name_ = path.string() + ".tmp-" + std::to_string(::getpid());
    if (file_ >= 0) return;
    file_ = ::open(name_.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
    has_name_ = file_ >= 0;
    if (!has_name_) fail("cannot be created");
  }
  NewFile(const NewFile &) = delete;
  NewFile &operator=(const NewFile &) = delete;
  ~NewFile() {
    if (file_ >= 0) ::close(file_);
    if (folder_ >= 0) ::close(folder_);
    if (has_name_) ::unlink(name_.c_str());
  }

  void write_at(ub8 offset, const void *bytes, std::size_t size) {
    for (std::size_t done = 0; done < size;) {
      const ssize_t written =
          ::pwrite(file_, static_cast<const char *>(bytes) + done, size - done, static_cast<off_t>(offset + done));
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) fail("cannot be written");
      done += static_cast<std::size_t>(written);
    }
  }

  void take_its_place() {
    if (::fsync(file_) != 0) fail("cannot be flushed");
    if (!has_name_) {
      const std::string link = "/proc/self/fd/" + std::to_string(file_);
      if (::linkat(AT_FDCWD, link.c_str(), AT_FDCWD, name_.c_str(), AT_SYMLINK_FOLLOW) != 0) fail("cannot be named");
      has_name_ = true;
    }
    if (::rename(name_.c_str(), path_.c_str()) != 0) fail("cannot be replaced");
    has_name_ = false;
    if (::fsync(folder_) != 0 && errno != EINVAL) fail("its folder cannot be flushed");
  }

private:
  [[noreturn]] void fail(const char *what) {
    throw ColumnFileError(path_.string() + ": " + what + ": " + std::strerror(errno));
  }

  std::filesystem::path path_;
  std::string name_;
  int folder_ = -1, file_ = -1;
  bool has_name_ = false;
};

ub8 aligned(ub8 offset) {
  return (offset + section_alignment - 1) / section_alignment * section_alignment;
}

ColumnRecord record_of(const Column &column, const ColumnShape &shape) {
  ColumnRecord record{};
  record.text_bytes = column.text_bytes;
  record.value_count = shape.value_count;
  record.first_code = shape.first_code;
  record.code_count = shape.code_count;
  record.null_rows = shape.null_rows;
  record.runs = shape.runs;
  record.decompressed_bytes = shape.decompressed_bytes;
  record.name_bytes = static_cast<ub4>(column.name.size());
  record.kind = static_cast<ub1>(shape.type.kind);
  record.scale = static_cast<ub1>(shape.type.scale);
  record.precision = static_cast<ub1>(shape.type.precision);
  record.form = static_cast<ub1>(shape.encoding.form);
  record.bits = static_cast<ub1>(shape.encoding.bits);
  record.run_form = static_cast<ub1>(shape.encoding.runs);
  record.cut_bytes = static_cast<ub1>(shape.cut_bytes);
  record.flags = static_cast<ub1>((shape.encoding.compressed ? compressed : 0) | (shape.has_null ? has_null : 0) |
                                  (shape.has_long_runs ? has_long_runs : 0));
  return record;
}

// The directory, with the sections at their places and without their checksums.
struct Layout {
  std::vector<ColumnParts> columns;
  std::vector<ColumnRecord> records;
  std::string names;
  ub8 directory_offset = sizeof(Header);

  explicit Layout(const Table &table) : names(table.name) {
    for (const Column &column : table.columns) {
      columns.push_back(ColumnParts::of(column.data));
      ColumnRecord record = record_of(column, columns.back().shape);
      for (std::size_t part = 0; part < column_part_count; ++part) {
        const ub8 bytes = columns.back().memory[part].size();
        if (bytes == 0) continue;
        record.sections[part] = {directory_offset, bytes, 0};
        directory_offset = aligned(directory_offset + bytes + section_slack);
      }
      records.push_back(record);
      names += column.name;
    }
  }
};

void append(std::vector<std::byte> &bytes, const void *from, std::size_t size) {
  bytes.insert(bytes.end(), static_cast<const std::byte *>(from), static_cast<const std::byte *>(from) + size);
}

} // namespace

void write_column_file(const std::filesystem::path &path, const Table &table, const ColumnFileProgress &progress) {
  for (const Column &column : table.columns) column.data.check();
  Layout layout(table);
  NewFile file(path);
  for (std::size_t i = 0; i < layout.columns.size(); ++i)
    for (std::size_t part = 0; part < column_part_count; ++part) {
      const std::span<const std::byte> bytes = layout.columns[i].memory[part].bytes();
      Section &section = layout.records[i].sections[part];
      if (bytes.empty()) continue;
      section.checksum = checksum(bytes.data(), bytes.size());
      for (std::size_t done = 0; done < bytes.size(); done += piece_bytes) {
        if (progress) progress(section.offset + done, layout.directory_offset);
        file.write_at(section.offset + done, bytes.data() + done, std::min(piece_bytes, bytes.size() - done));
      }
    }

  std::vector<std::byte> directory;
  const TableRecord record{table.text_bytes, table.row_count, static_cast<ub4>(table.columns.size()),
                           static_cast<ub4>(table.name.size()), 0};
  append(directory, &record, sizeof record);
  append(directory, layout.records.data(), layout.records.size() * sizeof(ColumnRecord));
  append(directory, layout.names.data(), layout.names.size());
  Header header{};
  std::copy_n(magic, sizeof magic, header.magic);
  header.version = version;
  header.file_bytes = layout.directory_offset + directory.size();
  header.directory_offset = layout.directory_offset;
  header.directory_bytes = directory.size();
  header.directory_checksum = checksum(directory.data(), directory.size());
  header.header_checksum = checksum(&header, offsetof(Header, header_checksum));
  file.write_at(layout.directory_offset, directory.data(), directory.size());
  file.write_at(0, &header, sizeof header);
  if (progress) progress(layout.directory_offset, layout.directory_offset);
  file.take_its_place();
}

} // namespace mipo::host
