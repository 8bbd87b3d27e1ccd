#include "commands.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>
#include <thread>

#include <fmt/format.h>
#include <fmt/ostream.h>

#include "characters.h"
#include "executor.h"
#include "explanation.h"
#include "file_reading.h"
#include "plan.h"
#include "query_error.h"
#include "result.h"
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

Relation relation_of(const Plan &plan, const Answer &answer) {
  Relation relation;
  relation.row_count = answer.rows.size();
  const ValueSource source(answer.groups.get());
  relation.append_cell = [&plan, &answer, source](std::string &out, std::size_t row, std::size_t column) {
    const Value value = source.value(plan.output[column].value, answer.rows[row]);
    value.append_to(out);
    return !value.is_null();
  };
  for (const PlannedColumn &planned : plan.output)
    relation.columns.push_back({planned.name, is_number(planned.value, plan) ? CellKind::number : CellKind::text});
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
  const host::Table table = read_file(file_of(query.table, options.tables), options.reading, explanation.reading);
  const Plan plan = plan_query(query, table);
  const unsigned threads = options.threads != 0 ? options.threads : std::max(1u, std::thread::hardware_concurrency());
  const Answer answer = execute(library, plan, threads);
  explanation.answer = &answer;
  const Relation relation = relation_of(plan, answer);
  if (options.format == OutputFormat::json) refuse_repeated_names(relation);
  print(relation, explanation, options, streams);
}

} // namespace mipo::tools
