// What the host kit throws. Every failure that a caller can meet is an Error; the derived classes carry what a program
// may want to act on. Memory exhaustion alone stays std::bad_alloc.
#ifndef MIPO_HOST_ERRORS_H
#define MIPO_HOST_ERRORS_H

#include <stdexcept>
#include <string>

#include "mipo/integers.h"

namespace mipo::host {

/// Base of all exceptions of the host kit. `what()` is one complete sentence without a final stop.
class Error : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// The library could not be opened, or its record is not one that this release knows.
class OpenError : public Error {
public:
  using Error::Error;
};

/// A kernel or an entry that this build of the library does not have, or a kernel asked for under another shape than
/// its own.
class MissingKernel : public Error {
public:
  MissingKernel(const std::string &message, std::string name, ub4 key)
      : Error(message), name_(std::move(name)), key_(key) {}

  /// Name of the kernel or entry; "mipo_invalid_dispatch" for a key that stands for no kernel at all.
  const std::string &name() const noexcept { return name_; }
  /// Key in the dispatch table; for an entry, its slot in the record.
  ub4 key() const noexcept { return key_; }

private:
  std::string name_;
  ub4 key_;
};

/// A text that is not a value of the type it should have.
class ValueError : public Error {
public:
  using Error::Error;
};

/// Arguments that contradict each other: a code that the dictionary does not hold, vectors of different lengths.
class ArgumentError : public Error {
public:
  using Error::Error;
};

/// A text that names no encoding, or an encoding that cannot hold the values of a column.
class EncodingError : public Error {
public:
  using Error::Error;
};

/// A compressed stream that is damaged, or data that could not be compressed.
class CompressionError : public Error {
public:
  using Error::Error;
};

/// A CSV file that could not be read. `what()` begins with "file:line:", without the line where none is to blame.
class CsvError : public Error {
public:
  CsvError(const std::string &message, std::string file, ub8 line, ub4 column, std::string column_name)
      : Error(message), file_(std::move(file)), line_(line), column_(column), column_name_(std::move(column_name)) {}

  const std::string &file() const noexcept { return file_; }
  /// Line of the file, from 1, on which the row or field begins; 0 if no line is to blame.
  ub8 line() const noexcept { return line_; }
  /// Number of the column, from 1; 0 if no column is to blame.
  ub4 column() const noexcept { return column_; }
  /// Name of the column in the header; empty if there is none.
  const std::string &column_name() const noexcept { return column_name_; }

private:
  std::string file_;
  ub8 line_;
  ub4 column_;
  std::string column_name_;
};

/// A column file that is none, is damaged, or was written by a later release. `what()` begins with the file's name.
class ColumnFileError : public Error {
public:
  using Error::Error;
};

} // namespace mipo::host

#endif
