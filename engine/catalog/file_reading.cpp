#include "engine/catalog/file_reading.h"

#include <algorithm>
#include <chrono>

#include "mipo/host/column_file.h"
#include "mipo/host/csv.h"
#include "mipo/host/input_file.h"

namespace mipo::engine {

namespace {

host::Table read_column_file(const host::Library &library, host::InputFile &&input, const ReadingOptions &options,
                             bool one_of_several) {
  const std::string name = input.name();
  host::Table table = host::open_column_file(library, std::move(input));
  const auto concerns = [&](const auto &given) {
    return std::ranges::any_of(given, [&](const auto &entry) { return !one_of_several || table.find(entry.first); });
  };
  if (concerns(options.kinds) || concerns(options.encodings))
    throw host::ColumnFileError(name + ": is a column file: types and encodings were settled when it was packed");
  if (!one_of_several && options.concern_csv())
    throw host::ColumnFileError(name + ": is a column file: delimiter, header and NULL texts are those of CSV files");
  return table;
}

host::InputFile open_input(const std::string &file) {
  try {
    return host::InputFile(file);
  } catch (const host::Error &error) {
    throw host::Error(file + ": " + error.what());
  }
}

} // namespace

constexpr std::pair<const char *, char> delimiters[] = {
    {"comma", ','}, {"semicolon", ';'}, {"tab", '\t'}, {"bar", '|'}};

std::string delimiter_name(char delimiter) {
  for (const auto &[name, named] : delimiters)
    if (named == delimiter) return name;
  return {delimiter};
}

std::optional<char> delimiter_from(const std::string &text) {
  for (const auto &[name, named] : delimiters)
    if (text == name) return named;
  if (text == "\\t") return '\t';
  const bool parts_fields =
      text.size() == 1 && (text[0] >= ' ' || text[0] == '\t') && text[0] != '"' && text[0] != 0x7f;
  return parts_fields ? std::optional(text[0]) : std::nullopt;
}

host::Table read_file(const host::Library &library, const std::string &file, const ReadingOptions &options,
                      Reading &reading, const ReadingProgress &progress, bool one_of_several) {
  host::InputFile input = open_input(file);
  reading.file = input.name();
  reading.mapped = host::is_column_file(input);
  host::CsvOptions csv;
  csv.kinds = options.kinds;
  csv.encodings = options.encodings;
  csv.delimiter = options.delimiter;
  csv.has_header = options.has_header;
  csv.nulls = options.nulls;
  csv.may_lack_columns = one_of_several;
  csv.progress = progress;
  const auto start = std::chrono::steady_clock::now();
  host::Table table = reading.mapped ? read_column_file(library, std::move(input), options, one_of_several)
                                     : host::read_csv(std::move(input), csv);
  reading.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  reading.text_bytes = table.text_bytes;
  reading.rows = table.row_count;
  reading.columns = table.columns.size();
  reading.delimiter = table.delimiter;
  return table;
}

} // namespace mipo::engine
