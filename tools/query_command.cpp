#include "commands.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <set>
#include <system_error>

#include <fmt/format.h>
#include <fmt/ostream.h>

#include "characters.h"
#include "executor.h"
#include "explanation.h"
#include "mipo/host/csv.h"
#include "plan.h"
#include "query_error.h"
#include "reading_progress.h"
#include "sql_parser.h"

namespace mipo::tools {
namespace {

std::string file_of(const TableName &table, const std::map<std::string, std::string> &bound) {
  for (const auto &[name, file] : bound) {
    if (table.quoted ? name == table.name : equal_without_case(name, table.name)) return file;
  }
  if (!table.quoted) {
    throw QueryError(fmt::format("there is no table {}: bind it to a file with --table {}=FILE, or write the file's "
                                 "path between double quotes",
                                 table.name, table.name),
                     table.position);
  }
  if (!std::filesystem::exists(table.name)) {
    throw QueryError(fmt::format("there is no file {}", table.name), table.position);
  }
  return table.name;
}

host::Table read_table(const QueryOptions &options, const TableName &name, Reading &reading) {
  reading.file = file_of(name, options.tables);
  ReadingProgress progress(reading.file);
  host::CsvOptions csv;
  csv.kinds = options.kinds;
  csv.progress = [&](ub8 done, ub8 total) { progress.show(done, total); };
  const auto start = std::chrono::steady_clock::now();
  host::Table table = host::read_csv(reading.file, csv);
  reading.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  reading.text_bytes = table.text_bytes;
  reading.rows = table.row_count;
  reading.columns = table.columns.size();
  return table;
}

Relation relation_of(const Plan &plan, const Answer &answer) {
  Relation relation;
  for (const PlannedColumn &planned : plan.output) {
    const bool number = planned.column == nullptr || planned.column->type().kind == host::ValueKind::integer ||
                        planned.column->type().kind == host::ValueKind::decimal;
    relation.columns.push_back({planned.name, number ? CellKind::number : CellKind::text});
  }
  if (plan.counts_rows()) {
    relation.row_count = plan.limit == ub8{0} ? 0 : 1;
    relation.append_cell = [count = answer.row_count](std::string &out, std::size_t, std::size_t) {
      out += std::to_string(count);
      return true;
    };
    return relation;
  }
  relation.row_count = answer.rows.size();
  relation.append_cell = [&plan, &answer](std::string &out, std::size_t row, std::size_t column) {
    const host::Column &source = *plan.output[column].column;
    const ub8 code = source.data.code(answer.rows[row]);
    source.dictionary().append_value(out, code);
    return !source.dictionary().is_null(code);
  };
  return relation;
}

void refuse_repeated_names(const Relation &relation) {
  std::set<std::string> names;
  for (const RelationColumn &column : relation.columns) {
    if (!names.insert(column.name).second) {
      throw QueryError(fmt::format("two columns of the result are named {}: JSON needs different names, given with AS",
                                   column.name));
    }
  }
}

void print(const Relation &relation, const Explanation &explanation, const QueryOptions &options,
           const Streams &streams) {
  if (options.format == OutputFormat::json && options.explain) {
    streams.out << "{\"rows\": ";
    write_json(streams.out, relation);
    streams.out << ",\n\"explain\": " << explanation_json(explanation).dump(2) << "}\n";
    return;
  }
  write(streams.out, relation, options.format);
  if (options.format == OutputFormat::table) {
    fmt::print(streams.out, "({} row{})\n", relation.row_count, relation.row_count == 1 ? "" : "s");
  }
  if (!options.explain) return;
  if (options.format == OutputFormat::table) streams.out << '\n';
  write_explanation(options.format == OutputFormat::csv ? streams.err : streams.out, explanation);
}

} // namespace

void query_command(const QueryOptions &options, const Streams &streams) {
  const Query query = parse_query(options.sql);
  const host::Library library = host::Library::open();
  Explanation explanation;
  explanation.level = library.level();
  const host::Table table = read_table(options, query.table, explanation.reading);
  const Plan plan = plan_query(query, table);
  const Answer answer = execute(library, plan);
  explanation.answer = &answer;
  const Relation relation = relation_of(plan, answer);
  if (options.format == OutputFormat::json) refuse_repeated_names(relation);
  print(relation, explanation, options, streams);
}

} // namespace mipo::tools
