#include "mipo/host/csv.h"

#include <csv.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

#include "host/input/csv_dialect.h"
#include "mipo/host/column_encoder.h"
#include "mipo/host/input_file.h"
#include "mipo/host/zstd_decompressor.h"

namespace mipo::host {
namespace {

// A field as part of a message: what cannot be printed is escaped, what is long is cut.
std::string printable(std::string_view field) {
  constexpr std::size_t longest = 60;
  const bool text = is_utf8(field);
  std::string out = "'";
  for (std::size_t i = 0; i < field.size(); ++i) {
    const auto c = static_cast<unsigned char>(field[i]);
    if (i >= longest && (!text || (c & 0xc0) != 0x80)) {
      out += "...";
      break;
    }
    if (c < 0x20 || c == 0x7f || (c >= 0x80 && !text)) {
      constexpr char hex[] = "0123456789abcdef";
      out += {'\\', 'x', hex[c >> 4], hex[c & 15]};
    } else {
      out += field[i];
    }
  }
  return out + "'";
}

constexpr std::size_t delimiter_sample = 64 * 1024;

class CsvReader {
public:
  CsvReader(std::string name, const CsvOptions &options);
  ~CsvReader() { csv_free(&parser_); }
  CsvReader(const CsvReader &) = delete;
  CsvReader &operator=(const CsvReader &) = delete;

  Table read(InputFile &file);

private:
  // Called by the parser. No exception may pass through it: it is kept until the parser has returned.
  static void on_field(void *field, std::size_t length, void *reader);
  static void on_row_end(int terminator, void *reader);

  std::span<const char> next_piece(InputFile &file);
  void take_field(std::string_view field);
  bool is_null(std::string_view field) const;
  void take_line_end(int terminator);
  void take_row();
  void take_header();
  void take_first_row();
  void begin_columns();
  void parse(std::string_view text);
  void finish_parsing();
  void rethrow_failure() const;
  Table encode();
  EncodedColumn encode_column(std::size_t i, ValueKind kind);

  [[noreturn]] void fail(const std::string &problem, ub8 line = 0, ub4 column = 0) const;
  [[noreturn]] void fail_quoting();
  std::string list_columns() const;

  std::string name_; // of the file
  const CsvOptions &options_;
  csv_parser parser_;
  EncodingCheck encoding_;
  char delimiter_ = ',';
  std::exception_ptr failure_;

  std::vector<std::string> names_;
  std::vector<ColumnEncoder> encoders_;
  bool has_header_ = false;
  ub8 line_ = 1;              // that the parser stands on
  ub8 row_line_ = 1;          // on which the row began
  ub4 fields_ = 0;            // of the row so far
  ub8 text_bytes_ = 0;        // of all text handed to the parser
  bool after_return_ = false; // the last character was a carriage return that ended a line
};

CsvReader::CsvReader(std::string name, const CsvOptions &options) : name_(std::move(name)), options_(options) {
  if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI | CSV_REPALL_NL) != 0) throw std::bad_alloc();
  csv_set_space_func(&parser_, [](unsigned char) { return 0; }); // spaces belong to the field
  csv_set_blk_size(&parser_, 4096);
}

void CsvReader::fail(const std::string &problem, ub8 line, ub4 column) const {
  std::string message = name_ + ":";
  if (line != 0) message += std::to_string(line) + ":";
  std::string name;
  if (column != 0) {
    message += " column " + std::to_string(column);
    if (column <= names_.size()) {
      name = names_[column - 1];
      message += " (" + name + ")";
    }
    message += ":";
  }
  throw CsvError(message + " " + problem, name_, line, column, name);
}

void CsvReader::fail_quoting() {
  const ub4 column = fields_ + 1;
  if (!has_header_ || column > names_.size())
    fail("broken quoting in field " + std::to_string(column) + ": quotes must enclose the whole field", line_);
  fail("broken quoting: quotes must enclose the whole field, and a quote inside must be doubled", line_, column);
}

std::string CsvReader::list_columns() const {
  std::string list;
  for (const std::string &name : names_) list += (list.empty() ? "" : ", ") + name;
  return list;
}

void CsvReader::on_field(void *field, std::size_t length, void *reader) {
  auto &self = *static_cast<CsvReader *>(reader);
  if (self.failure_) return;
  try {
    self.take_field({static_cast<const char *>(field), length});
  } catch (...) {
    self.failure_ = std::current_exception();
  }
}

void CsvReader::on_row_end(int terminator, void *reader) {
  auto &self = *static_cast<CsvReader *>(reader);
  if (self.failure_) return;
  try {
    self.take_line_end(terminator);
  } catch (...) {
    self.failure_ = std::current_exception();
  }
}

void CsvReader::take_field(std::string_view field) {
  if (fields_ == 0) row_line_ = line_;
  after_return_ = false;
  if (!has_header_)
    names_.emplace_back(field);
  else if (fields_ < encoders_.size())
    line_ += encoders_[fields_].append(is_null(field) ? std::string_view() : field, line_);
  ++fields_;
}

bool CsvReader::is_null(std::string_view field) const {
  return std::ranges::find(options_.nulls, field) != options_.nulls.end();
}

void CsvReader::take_line_end(int terminator) {
  const bool second_half = terminator == CSV_LF && after_return_; // of CR LF
  after_return_ = terminator == CSV_CR;
  if (fields_ != 0) take_row();
  fields_ = 0;
  if (!second_half) ++line_;
}

void CsvReader::take_row() {
  if (!has_header_) return options_.has_header ? take_header() : take_first_row();
  if (fields_ != names_.size())
    fail("the row has " + std::to_string(fields_) + (fields_ == 1 ? " field" : " fields") + ", but the header names " +
             std::to_string(names_.size()) + (names_.size() == 1 ? " column" : " columns"),
         row_line_);
}

void CsvReader::take_header() {
  for (std::size_t i = 0; i < names_.size(); ++i) {
    const std::string name = std::move(names_[i]);
    const auto column = static_cast<ub4>(i + 1);
    names_[i].clear();
    if (name.empty()) fail("column " + std::to_string(column) + " has no name in the header", row_line_);
    if (!is_utf8(name))
      fail("the name of column " + std::to_string(column) + ", " + printable(name) + ", is not valid UTF-8", row_line_);
    if (std::find(names_.begin(), names_.begin() + static_cast<std::ptrdiff_t>(i), name) !=
        names_.begin() + static_cast<std::ptrdiff_t>(i))
      fail("two columns are named " + printable(name), row_line_);
    for (const char c : name) line_ += c == '\n' ? 1 : 0;
    names_[i] = name;
  }
  begin_columns();
}

// A row of data, whose fields have been taken for names.
void CsvReader::take_first_row() {
  const std::vector<std::string> fields = std::exchange(names_, {});
  for (std::size_t i = 1; i <= fields.size(); ++i) names_.push_back("c" + std::to_string(i));
  begin_columns();
  for (std::size_t i = 0; i < fields.size(); ++i)
    line_ += encoders_[i].append(is_null(fields[i]) ? std::string_view() : std::string_view(fields[i]), line_);
}

void CsvReader::begin_columns() {
  const auto check_names = [this](const auto &overrides, const std::string &what) {
    for (const auto &[name, value] : overrides)
      if (std::ranges::find(names_, name) == names_.end())
        fail(what + " is given for column " + printable(name) + ", but the columns are " + list_columns());
  };
  if (!options_.may_lack_columns) {
    check_names(options_.kinds, "a type");
    check_names(options_.encodings, "an encoding");
  }
  encoders_.resize(names_.size());
  has_header_ = true;
}

void CsvReader::rethrow_failure() const {
  if (!failure_) return;
  try {
    std::rethrow_exception(failure_);
  } catch (const ArgumentError &error) {
    fail(error.what(), row_line_);
  }
}

void CsvReader::parse(std::string_view text) {
  text_bytes_ += text.size();
  const std::size_t done = csv_parse(&parser_, text.data(), text.size(), on_field, on_row_end, this);
  rethrow_failure();
  if (done == text.size()) return;
  if (csv_error(&parser_) == CSV_ENOMEM) throw std::bad_alloc();
  // The field that broke off may have crossed lines.
  const auto *begun = reinterpret_cast<const char *>(parser_.entry_buf);
  line_ += static_cast<ub8>(std::count(begun, begun + parser_.entry_pos, '\n'));
  fail_quoting();
}

void CsvReader::finish_parsing() {
  const int status = csv_fini(&parser_, on_field, on_row_end, this);
  rethrow_failure();
  if (status == 0) return;
  fail("a quote is opened here and never closed", line_, has_header_ ? fields_ + 1 : 0);
}

EncodedColumn CsvReader::encode_column(std::size_t i, ValueKind kind) {
  ColumnOptions options{{}, options_.compressor};
  const auto given = options_.encodings.find(names_[i]);
  if (given != options_.encodings.end()) options.encoding = given->second;
  if (!options.compressor && options.encoding && options.encoding->compressed) options.compressor = zstd_compress;
  try {
    return encoders_[i].finish(kind, options);
  } catch (const EncodingError &error) {
    const std::string stored =
        options.encoding ? "cannot be stored as " + encoding_text(*options.encoding) + ": " : std::string();
    fail(stored + error.what(), 0, static_cast<ub4>(i + 1));
  }
}

Table CsvReader::encode() {
  std::vector<ValueKind> kinds;
  std::optional<BadField> first_bad;
  ub4 bad_column = 0;
  for (std::size_t i = 0; i < names_.size(); ++i) {
    const auto given = options_.kinds.find(names_[i]);
    kinds.push_back(given != options_.kinds.end() ? given->second : encoders_[i].inferred_kind());
    if (given == options_.kinds.end() && kinds.back() != ValueKind::text) continue;
    std::optional<BadField> bad = encoders_[i].first_bad_field(kinds.back());
    if (!bad || (first_bad && first_bad->line <= bad->line)) continue;
    first_bad = std::move(bad);
    bad_column = static_cast<ub4>(i + 1);
  }
  if (first_bad) fail(printable(first_bad->text) + " " + first_bad->problem, first_bad->line, bad_column);

  Table table;
  const std::string file_name =
      name_ == InputFile::standard_input_name ? "stdin" : std::filesystem::path(name_).filename().string();
  table.name = options_.table_name.empty() ? file_name.substr(0, file_name.find('.', 1)) : options_.table_name;
  table.row_count = static_cast<ub4>(encoders_.front().rows());
  table.text_bytes = text_bytes_;
  table.delimiter = delimiter_;
  for (std::size_t i = 0; i < names_.size(); ++i) {
    const ub8 text_bytes = encoders_[i].text_bytes();
    std::optional<NotANumber> not_a_number;
    if (kinds[i] == ValueKind::text && !options_.kinds.contains(names_[i])) not_a_number = encoders_[i].not_a_number();
    EncodedColumn column = encode_column(i, kinds[i]);
    table.columns.push_back({names_[i], std::move(column), text_bytes, std::move(not_a_number)});
  }
  return table;
}

std::span<const char> CsvReader::next_piece(InputFile &file) {
  std::optional<EncodingCheck::Place> wrong;
  std::span<const char> piece;
  try {
    piece = file.next();
    wrong = piece.empty() ? encoding_.end() : encoding_.next({piece.data(), piece.size()});
  } catch (const Error &error) {
    fail(error.what());
  }
  if (wrong)
    fail(wrong->problem + " (byte " + std::to_string(wrong->column) + " of the line, offset " +
             std::to_string(wrong->offset) + " of the text)",
         wrong->line);
  return piece;
}

Table CsvReader::read(InputFile &file) {
  // As much as tells the delimiter: a pipe gives little at a time.
  std::string begin;
  bool whole = false;
  while (begin.size() < delimiter_sample && !whole) {
    const std::span<const char> piece = next_piece(file);
    begin.append(piece.data(), piece.size());
    whole = piece.empty();
  }
  if (begin.empty()) fail("the file is empty: there is no header row");
  constexpr std::string_view byte_order_mark = "\xef\xbb\xbf";
  std::string_view text = begin;
  if (text.starts_with(byte_order_mark)) text.remove_prefix(byte_order_mark.size());
  delimiter_ = options_.delimiter
                   ? *options_.delimiter
                   : find_delimiter(text.substr(0, delimiter_sample), whole && text.size() <= delimiter_sample);
  csv_set_delim(&parser_, static_cast<unsigned char>(delimiter_));
  const auto take = [&](std::string_view piece) {
    parse(piece);
    if (options_.progress) options_.progress(file.bytes_done(), file.bytes_total());
  };
  take(text);
  while (!whole) {
    const std::span<const char> piece = next_piece(file);
    take({piece.data(), piece.size()});
    whole = piece.empty();
  }
  finish_parsing();
  if (!has_header_) fail(options_.has_header ? "the file has no header row" : "the file has no rows");
  return encode();
}

} // namespace

Table read_csv(const std::filesystem::path &path, const CsvOptions &options) {
  std::optional<InputFile> file;
  try {
    file.emplace(path);
  } catch (const Error &error) {
    throw CsvError(path.string() + ": " + error.what(), path.string(), 0, 0, "");
  }
  return read_csv(std::move(*file), options);
}

Table read_csv(InputFile &&file, const CsvOptions &options) {
  return CsvReader(file.name(), options).read(file);
}

} // namespace mipo::host
