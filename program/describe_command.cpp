#include "program/commands.h"
#include "program/file_progress.h"

#include <array>
#include <functional>

#include <fmt/format.h>
#include <fmt/ostream.h>

#include "engine/catalog/file_reading.h"

namespace mipo::program {

using namespace engine;
namespace {

// Nothing for a column without any text.
std::string ratio(ub8 bytes, ub8 text_bytes) {
  return text_bytes > 0 ? fmt::format("{:.3f}", static_cast<double>(bytes) / static_cast<double>(text_bytes)) : "";
}

struct DescribedProperty {
  RelationColumn head;
  std::function<std::string(const host::Column &)> text;
};

const std::array<DescribedProperty, 11> &properties() {
  static const std::array<DescribedProperty, 11> all = {{
      {{"column", CellKind::text}, [](const host::Column &column) { return column.name; }},
      {{"type", CellKind::text}, [](const host::Column &column) { return host::type_name(column.type()); }},
      {{"rows", CellKind::number}, [](const host::Column &column) { return std::to_string(column.data.rows()); }},
      {{"without_value", CellKind::number},
       [](const host::Column &column) { return std::to_string(column.data.null_rows()); }},
      {{"distinct", CellKind::number},
       [](const host::Column &column) { return std::to_string(column.domain().value_count()); }},
      {{"encoding", CellKind::text},
       [](const host::Column &column) { return host::encoding_text(column.data.encoding()); }},
      {{"bits", CellKind::number}, [](const host::Column &column) { return std::to_string(column.data.bits()); }},
      {{"bytes", CellKind::number},
       [](const host::Column &column) { return std::to_string(column.data.stored_size().column()); }},
      {{"dictionary_bytes", CellKind::number},
       [](const host::Column &column) { return std::to_string(column.data.stored_size().dictionary); }},
      {{"text_bytes", CellKind::number}, [](const host::Column &column) { return std::to_string(column.text_bytes); }},
      {{"ratio", CellKind::number},
       [](const host::Column &column) { return ratio(column.data.stored_size().total(), column.text_bytes); }},
  }};
  return all;
}

} // namespace

void describe_command(const DescribeOptions &options, const Streams &streams) {
  Reading reading;
  const host::Library library = host::Library::open();
  const host::Table table = read_file(library, options.file, options.reading, reading, reading_progress(options.file));
  OutputTable relation;
  for (const DescribedProperty &property : properties()) relation.columns.push_back(property.head);
  relation.row_count = table.columns.size();
  relation.append_cell = [&](std::string &out, std::size_t row, std::size_t property) {
    const std::string text = properties().at(property).text(table.columns[row]);
    out += text;
    return !text.empty();
  };
  write(streams.out, relation, options.format, TableLimits::of(streams.terminal_width, options.all));
  if (options.format != OutputFormat::table) return;
  ub8 bytes = 0, text_bytes = 0;
  for (const host::Column &column : table.columns) {
    bytes += column.data.stored_size().total();
    text_bytes += column.text_bytes;
  }
  fmt::print(streams.out, "{} rows, {} columns: {} bytes with dictionaries for {} bytes of text, ratio {}\n",
             table.row_count, table.columns.size(), bytes, text_bytes, ratio(bytes, text_bytes));
  if (table.delimiter != 0 && table.delimiter != ',')
    fmt::print(streams.out, "fields parted by {}\n", delimiter_name(table.delimiter));
}

} // namespace mipo::program
