#include "engine/catalog/query_tables.h"

#include <algorithm>
#include <filesystem>
#include <functional>

#include <fmt/format.h>

#include "engine/sql/characters.h"
#include "engine/sql/query_error.h"
#include "mipo/host/errors.h"
#include "mipo/host/input_file.h"

namespace mipo::engine {
namespace {

// Calls take() with the table names of a query, and of the queries within it, in the order of the text.
void each_table(const Query &query, const std::function<void(const TableName &)> &take);

void each_table(const Condition &condition, const std::function<void(const TableName &)> &take) {
  if (const auto *in = std::get_if<InQuery>(&condition.node)) each_table(in->query.front(), take);
  if (const auto *junction = std::get_if<Junction>(&condition.node))
    for (const Condition &operand : junction->operands) each_table(operand, take);
  if (const auto *negation = std::get_if<Negation>(&condition.node)) each_table(negation->operand.front(), take);
}

void each_table(const Query &query, const std::function<void(const TableName &)> &take) {
  take(query.table);
  for (const Join &join : query.joins) take(join.table);
  if (query.where) each_table(*query.where, take);
  if (query.having) each_table(*query.having, take);
}

} // namespace

std::string QueryTables::file_of(const TableName &table) const {
  for (const auto &[name, file] : files_) {
    const bool meant = table.quoted ? name == table.name : equal_without_case(name, table.name);
    if (meant) return host::InputFile::is_standard_input(file) ? "-" : file; // which can be read once only
  }
  if (!table.quoted) {
    throw QueryError(fmt::format("there is no table {}: bind it to a file with --table {}=FILE, or write the file's "
                                 "path between double quotes",
                                 table.name, table.name),
                     table.position);
  }
  if (host::InputFile::is_standard_input(table.name)) return "-";
  if (!std::filesystem::exists(table.name)) {
    throw QueryError(fmt::format("there is no file {}", table.name), table.position);
  }
  return table.name;
}

void QueryTables::read(const Query &query, const Progress &progress) {
  std::vector<std::string> files;
  each_table(query, [&](const TableName &name) {
    const std::string file = file_of(name);
    if (std::find(files.begin(), files.end(), file) == files.end()) files.push_back(file);
  });
  for (const std::string &file : files) {
    Reading &reading = readings_.emplace_back();
    tables_.emplace(file, read_file(library_, file, options_, reading, progress(file), files.size() > 1));
  }
  if (files.size() > 1) check_options();
}

// Of one file, the reader does this.
void QueryTables::check_options() const {
  const auto check = [&](const auto &options, const char *what) {
    for (const auto &[name, value] : options) {
      const bool known = std::any_of(tables_.begin(), tables_.end(),
                                     [&, &column = name](const auto &entry) { return entry.second.find(column); });
      if (!known) throw host::Error(fmt::format("{} is given for column {}, which no table has", what, name));
    }
  };
  check(options_.kinds, "a type");
  check(options_.encodings, "an encoding");
}

} // namespace mipo::engine
