// The column file: encoded columns as they lie in memory, mapped when the file is opened. Only in builds with
// MIPO_HOST_FILES.
#ifndef MIPO_HOST_COLUMN_FILE_H
#define MIPO_HOST_COLUMN_FILE_H

#include <filesystem>
#include <functional>

#include "mipo/host/errors.h"
#include "mipo/host/input_file.h"
#include "mipo/host/library.h"
#include "mipo/host/table.h"

namespace mipo::host {

/// Called now and then with the bytes done so far and in all. May throw to stop.
using ColumnFileProgress = std::function<void(ub8 bytes_done, ub8 bytes_total)>;

/// Writes a table to `path`, which is replaced in one step when all bytes are on the disk: whatever happens before
/// leaves it as it was, and no other file behind. Throws ColumnFileError if that cannot be done, and what `progress`
/// throws.
void write_column_file(const std::filesystem::path &path, const Table &table, const ColumnFileProgress &progress = {});

/// Whether the file begins as column files do. False if it cannot be read.
bool is_column_file(const InputFile &file) noexcept;

/// Maps a column file. Looks at its directory alone, and so takes no longer for many rows than for few: whoever uses a
/// column calls its check() first, which looks at the column's bytes once. The file must not be changed while the table
/// lives; replacing it by another one does no harm. The library, whose kernels look through the codes, must outlive the
/// table. Throws ColumnFileError for files that cannot be read, are not
/// column files, are cut off or altered, or come from a later release.
Table open_column_file(const Library &library, const std::filesystem::path &path);
/// The same of a file that is open already; one that is no regular file is read to its end.
Table open_column_file(const Library &library, InputFile &&file);

/// What verify_column_file() has looked at.
struct VerifiedColumnFile {
  Table table;
  std::size_t sections = 0; ///< pieces of columns, each with its checksum
  ub8 bytes = 0;            ///< of the file
};

/// Opens the file, and holds every section against its checksum and the columns against what they say of themselves.
/// Throws ColumnFileError, which names the column and the section.
VerifiedColumnFile verify_column_file(const Library &library, const std::filesystem::path &path,
                                      const ColumnFileProgress &progress = {});

} // namespace mipo::host

#endif
