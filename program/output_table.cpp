#include "program/output_table.h"

#include <algorithm>

#include <fmt/format.h>

#include "engine/sql/characters.h"
#include "program/json_value.h"

namespace mipo::program {

using namespace engine;
namespace {

// Lines are collected up to this many bytes before they are written.
constexpr std::size_t buffer_bytes = 1 << 16;

class LineBuffer {
public:
  explicit LineBuffer(std::ostream &out) : out_(out) {}
  LineBuffer(const LineBuffer &) = delete;
  LineBuffer &operator=(const LineBuffer &) = delete;
  ~LineBuffer() { flush(); }

  std::string &text() { return text_; }
  void drop_blanks() {
    while (!text_.empty() && text_.back() == ' ') text_.pop_back();
  }
  void end_line(std::string_view end) {
    text_ += end;
    if (text_.size() >= buffer_bytes) flush();
  }

private:
  void flush() {
    out_.write(text_.data(), static_cast<std::streamsize>(text_.size()));
    text_.clear();
  }

  std::ostream &out_;
  std::string text_;
};

bool is_control(char byte) {
  return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f;
}

// A cell of a table: what would break the line or act on a terminal is shown as an escape.
void append_visible(std::string &out, std::string_view cell) {
  for (const char byte : cell) {
    if (byte == '\n')
      out += "\\n";
    else if (byte == '\r')
      out += "\\r";
    else if (byte == '\t')
      out += "\\t";
    else if (is_control(byte))
      out += fmt::format("\\x{:02x}", static_cast<unsigned char>(byte));
    else
      out += byte;
  }
}

void append_json_value(std::string &out, CellKind kind, const std::string &cell) {
  switch (kind) {
  case CellKind::text:
    out += json_text(cell);
    break;
  case CellKind::number:
    out += cell;
    break;
  case CellKind::truth:
    out += cell == "yes" ? "true" : "false";
    break;
  }
}

void append_csv_field(std::string &out, std::string_view field) {
  if (field.find_first_of(",\"\r\n") == std::string_view::npos) {
    out += field;
    return;
  }
  out += '"';
  for (const char byte : field) out.append(byte == '"' ? 2 : 1, byte);
  out += '"';
}

} // namespace

TableLimits TableLimits::of(std::optional<std::size_t> terminal_width, bool all) {
  constexpr std::size_t most_rows = 1000, least_width = 20;
  if (all || !terminal_width) return {};
  return {most_rows, std::max(*terminal_width, least_width)};
}

void write_table(std::ostream &out, const OutputTable &relation, const TableLimits &limits) {
  std::size_t columns = relation.columns.size();
  const std::size_t rows = std::min(relation.row_count, limits.rows);
  std::string cell, visible;
  const auto shown = [&](std::size_t row, std::size_t column) -> const std::string & {
    cell.clear();
    visible.clear();
    relation.append_cell(cell, row, column);
    append_visible(visible, cell);
    return visible;
  };
  std::vector<std::size_t> widths;
  for (const RelationColumn &column : relation.columns) widths.push_back(character_count(column.name));
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < columns; ++column) {
      widths[column] = std::max(widths[column], character_count(shown(row, column)));
    }
  }

  // As many columns as fit; the first one is cut if it does not.
  if (columns != 0) widths.front() = std::min(widths.front(), limits.width);
  std::size_t line = columns != 0 ? widths.front() : 0;
  for (std::size_t column = 1; column < columns; ++column) {
    if (line += 2 + widths[column]; line > limits.width) columns = column;
  }

  LineBuffer lines(out);
  const auto add_cell = [&](std::size_t column, std::string_view whole) {
    const std::string_view text = first_characters(whole, widths[column]);
    const std::size_t padding = widths[column] - character_count(text);
    if (column > 0) lines.text() += "  ";
    const bool to_the_right = relation.columns[column].kind == CellKind::number;
    if (to_the_right) lines.text().append(padding, ' ');
    lines.text() += text;
    if (!to_the_right) lines.text().append(padding, ' ');
  };
  for (std::size_t column = 0; column < columns; ++column) add_cell(column, relation.columns[column].name);
  lines.drop_blanks();
  lines.end_line("\n");
  for (std::size_t column = 0; column < columns; ++column) {
    lines.text() += (column > 0 ? "  " : "") + std::string(widths[column], '-');
  }
  lines.end_line("\n");
  for (std::size_t row = 0; row < rows; ++row) {
    for (std::size_t column = 0; column < columns; ++column) add_cell(column, shown(row, column));
    lines.drop_blanks();
    lines.end_line("\n");
  }
  std::string left_out;
  for (std::size_t column = columns; column < relation.columns.size(); ++column)
    left_out += (left_out.empty() ? "columns " : ", ") + relation.columns[column].name;
  if (rows < relation.row_count)
    left_out += fmt::format("{}{} more rows", left_out.empty() ? "" : " and ", relation.row_count - rows);
  if (!left_out.empty()) lines.text() += fmt::format("... without {}: --all shows them\n", left_out);
}

void write_csv(std::ostream &out, const OutputTable &relation) {
  const std::size_t columns = relation.columns.size();
  LineBuffer lines(out);
  for (std::size_t column = 0; column < columns; ++column) {
    if (column > 0) lines.text() += ',';
    append_csv_field(lines.text(), relation.columns[column].name);
  }
  lines.end_line("\n");
  std::string cell;
  for (std::size_t row = 0; row < relation.row_count; ++row) {
    for (std::size_t column = 0; column < columns; ++column) {
      if (column > 0) lines.text() += ',';
      cell.clear();
      relation.append_cell(cell, row, column);
      append_csv_field(lines.text(), cell);
      // An empty line would be no row at all to most readers.
      if (columns == 1 && cell.empty()) lines.text() += "\"\"";
    }
    lines.end_line("\n");
  }
}

void write_json(std::ostream &out, const OutputTable &relation) {
  const std::size_t columns = relation.columns.size();
  std::vector<std::string> names;
  for (const RelationColumn &column : relation.columns) names.push_back(json_text(column.name) + ": ");
  LineBuffer lines(out);
  lines.text() += "[";
  std::string cell;
  for (std::size_t row = 0; row < relation.row_count; ++row) {
    lines.text() += row > 0 ? ",\n  {" : "\n  {";
    for (std::size_t column = 0; column < columns; ++column) {
      lines.text() += (column > 0 ? ", " : "") + names[column];
      cell.clear();
      if (!relation.append_cell(cell, row, column))
        lines.text() += "null";
      else
        append_json_value(lines.text(), relation.columns[column].kind, cell);
    }
    lines.end_line("}");
  }
  lines.end_line(relation.row_count > 0 ? "\n]" : "]");
}

void write(std::ostream &out, const OutputTable &relation, OutputFormat format, const TableLimits &limits) {
  switch (format) {
  case OutputFormat::table:
    write_table(out, relation, limits);
    break;
  case OutputFormat::csv:
    write_csv(out, relation);
    break;
  case OutputFormat::json:
    write_json(out, relation);
    out << '\n';
    break;
  }
}

} // namespace mipo::program
