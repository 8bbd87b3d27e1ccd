#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstring>
#include <memory>
#include <string>

#include "host/file/column_file_format.h"
#include "mipo/host/column_file.h"
#include "mipo/host/input_file.h"

namespace mipo::host {

ub8 column_file::checksum(const void *bytes, std::size_t size) noexcept {
  return XXH3_64bits(bytes, size);
}

namespace {

using namespace column_file;

// The bytes of a file. What reads them throws with the file's name.
class FileBytes {
public:
  explicit FileBytes(const std::filesystem::path &path) : name_(path.string()) {
    try {
      bytes_ = InputFile(path).contents();
    } catch (const Error &error) {
      fail(error.what());
    }
  }
  explicit FileBytes(InputFile &&file) : name_(file.name()) {
    try {
      bytes_ = file.contents();
    } catch (const Error &error) {
      fail(error.what());
    }
  }

  [[noreturn]] void fail(const std::string &what) const { throw ColumnFileError(name_ + ": " + what); }
  const std::byte *bytes() const noexcept { return bytes_.data(); }
  std::size_t size() const noexcept { return bytes_.size(); }

private:
  std::string name_;
  AlignedBuffer bytes_;
};

Header sound_header(const FileBytes &file) {
  Header header{};
  const std::size_t there = std::min(file.size(), sizeof header);
  if (there != 0) std::memcpy(&header, file.bytes(), there);
  if (there < sizeof magic || std::memcmp(header.magic, magic, sizeof magic) != 0)
    file.fail("is not a column file; mipo pack makes one of a CSV file");
  if (there < sizeof header) file.fail("is cut off: it has " + std::to_string(file.size()) + " bytes");
  if (header.version > version)
    file.fail("was written by a later release (format " + std::to_string(header.version) + "; this one reads " +
              std::to_string(version) + ")");
  if (header.header_checksum != checksum(&header, offsetof(Header, header_checksum)) || header.version == 0)
    file.fail("its header has been altered");
  if (header.file_bytes > file.size())
    file.fail("is cut off: it has " + std::to_string(file.size()) + " of " + std::to_string(header.file_bytes) +
              " bytes");
  if (header.file_bytes < file.size()) file.fail("has been altered: there are bytes after its end");
  if (header.directory_offset < sizeof header || header.directory_offset > header.file_bytes ||
      header.directory_bytes != header.file_bytes - header.directory_offset ||
      header.directory_checksum != checksum(file.bytes() + header.directory_offset, header.directory_bytes))
    file.fail("its directory has been altered");
  return header;
}

// Takes one piece after the other, and never more than there is.
class DirectoryReader {
public:
  DirectoryReader(const FileBytes &file, const Header &header)
      : file_(file), at_(file.bytes() + header.directory_offset), left_(header.directory_bytes) {}

  template <class Record>
  Record record() {
    Record record;
    std::memcpy(&record, take(sizeof record), sizeof record);
    return record;
  }
  std::string text(std::size_t size) {
    std::string text(reinterpret_cast<const char *>(take(size)), size);
    if (!is_utf8(text)) file_.fail("a name in its directory is not UTF-8");
    return text;
  }
  std::size_t left() const noexcept { return left_; }

private:
  const std::byte *take(std::size_t size) {
    if (size > left_) file_.fail("its directory is cut off");
    left_ -= size;
    return std::exchange(at_, at_ + size);
  }

  const FileBytes &file_;
  const std::byte *at_;
  std::size_t left_;
};

template <class Enumeration>
Enumeration enumerator(ub1 number, Enumeration greatest) {
  if (number > static_cast<ub1>(greatest)) throw Error("the directory names a form that there is not");
  return static_cast<Enumeration>(number);
}

ColumnShape shape_of(const ColumnRecord &record, ub4 rows) {
  ColumnShape shape;
  shape.type.kind = enumerator(record.kind, ValueKind::text);
  shape.type.precision = enumerator(record.precision, TimePrecision::fraction);
  shape.type.scale = record.scale;
  const int most_digits = shape.type.kind == ValueKind::decimal     ? max_decimal_digits
                          : shape.type.kind == ValueKind::date_time ? max_fraction_digits
                                                                    : 0;
  if (shape.type.scale > most_digits || record.flags > all_column_flags)
    throw Error("the directory names a type that there is not");
  shape.encoding = {enumerator(record.form, ValueForm::dynamic_packed_tz), record.bits,
                    enumerator(record.run_form, RunForm::starts), (record.flags & compressed) != 0};
  shape.cut_bytes = record.cut_bytes;
  shape.has_null = (record.flags & has_null) != 0;
  shape.has_long_runs = (record.flags & has_long_runs) != 0;
  shape.value_count = record.value_count;
  shape.first_code = record.first_code;
  shape.code_count = record.code_count;
  shape.rows = rows;
  shape.null_rows = record.null_rows;
  shape.runs = record.runs;
  shape.decompressed_bytes = record.decompressed_bytes;
  return shape;
}

struct OpenFile {
  std::shared_ptr<const FileBytes> file;
  Table table;
  std::size_t sections = 0;
};

// The bytes of a section, with the slack after them.
AlignedBuffer section_memory(const std::shared_ptr<const FileBytes> &file, const Header &header,
                             const Section &section) {
  if (section.bytes == 0) return {};
  if (section.offset < sizeof header || section.offset % section_alignment != 0 ||
      section.bytes > header.directory_offset || section.offset > header.directory_offset - section.bytes ||
      header.directory_offset - section.bytes - section.offset < section_slack)
    throw Error("a section lies outside the file");
  return AlignedBuffer(std::span(file->bytes() + section.offset, section.bytes), file);
}

Column column_from(const Library &library, const std::shared_ptr<const FileBytes> &file, const Header &header,
                   const ColumnRecord &record, const std::string &name, ub4 rows) {
  try {
    ColumnParts parts;
    parts.shape = shape_of(record, rows);
    for (std::size_t part = 0; part < column_part_count; ++part)
      parts.memory[part] = section_memory(file, header, record.sections[part]);
    check_sizes(parts);
    const auto check = [&library, file, record, name](const ColumnParts &column, CheckedContents contents) {
      const bool dictionary = contents == CheckedContents::dictionary;
      for (std::size_t part = 0; part < column_part_count; ++part) {
        if (is_dictionary_part(static_cast<ColumnPart>(part)) != dictionary) continue;
        const std::span<const std::byte> bytes = column.memory[part].bytes();
        if (!bytes.empty() && checksum(bytes.data(), bytes.size()) != record.sections[part].checksum)
          file->fail("column " + name + ": its " + std::string(part_name(static_cast<ColumnPart>(part))) +
                     " have been altered");
      }
      try {
        if (dictionary)
          check_dictionary(column);
        else
          check_rows(column, library);
      } catch (const Error &error) {
        file->fail("column " + name + ": " + error.what());
      }
    };
    return {name, std::move(parts).column(check), record.text_bytes};
  } catch (const Error &error) {
    file->fail("column " + name + ": " + error.what());
  }
}

OpenFile open(const Library &library, std::shared_ptr<const FileBytes> bytes) {
  OpenFile opened;
  opened.file = std::move(bytes);
  const FileBytes &file = *opened.file;
  const Header header = sound_header(file);
  DirectoryReader directory(file, header);
  const auto table = directory.record<TableRecord>();
  if (table.columns > directory.left() / sizeof(ColumnRecord)) file.fail("its directory is cut off");
  std::vector<ColumnRecord> records;
  for (ub4 column = 0; column < table.columns; ++column) records.push_back(directory.record<ColumnRecord>());
  opened.table.name = directory.text(table.name_bytes);
  opened.table.row_count = table.rows;
  opened.table.text_bytes = table.text_bytes;
  for (const ColumnRecord &record : records) {
    const std::string name = directory.text(record.name_bytes);
    if (name.empty() || opened.table.find(name) != nullptr)
      file.fail("its directory names a column twice, or not at all");
    opened.table.columns.push_back(column_from(library, opened.file, header, record, name, table.rows));
    for (const Section &section : record.sections) opened.sections += section.bytes != 0;
  }
  if (directory.left() != 0) file.fail("its directory has bytes after its end");
  return opened;
}

} // namespace

bool is_column_file(const InputFile &file) noexcept {
  return file.begins_with({magic, sizeof magic});
}

Table open_column_file(const Library &library, const std::filesystem::path &path) {
  return std::move(open(library, std::make_shared<const FileBytes>(path)).table);
}

Table open_column_file(const Library &library, InputFile &&file) {
  return std::move(open(library, std::make_shared<const FileBytes>(std::move(file))).table);
}

VerifiedColumnFile verify_column_file(const Library &library, const std::filesystem::path &path,
                                      const ColumnFileProgress &progress) {
  OpenFile opened = open(library, std::make_shared<const FileBytes>(path));
  ub8 done = 0;
  for (const Column &column : opened.table.columns) {
    if (progress) progress(done, opened.file->size());
    column.data.check();
    for (const AlignedBuffer &memory : ColumnParts::of(column.data).memory) done += memory.size();
  }
  return {std::move(opened.table), opened.sections, opened.file->size()};
}

} // namespace mipo::host
