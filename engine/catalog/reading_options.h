// What a user tells of a file that is read.
#ifndef MIPO_ENGINE_CATALOG_READING_OPTIONS_H
#define MIPO_ENGINE_CATALOG_READING_OPTIONS_H

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "mipo/host/encoding.h"
#include "mipo/host/values.h"

namespace mipo::engine {

/// How a file is read, where it is not to be inferred from the data.
struct ReadingOptions {
  std::map<std::string, host::ValueKind> kinds;    // by column name
  std::map<std::string, host::Encoding> encodings; // the same
  std::optional<char> delimiter;                   // of CSV files
  bool has_header = true;
  std::vector<std::string> nulls; // texts that stand for NULL

  /// Whether anything is told of CSV files.
  bool concern_csv() const { return delimiter || !has_header || !nulls.empty(); }
};

/// "tab", "comma", "semicolon" and "bar", or the character itself.
std::string delimiter_name(char delimiter);
/// The delimiter of such a name, or of a text of one byte that may part fields; nothing for another text.
std::optional<char> delimiter_from(const std::string &text);

} // namespace mipo::engine

#endif
