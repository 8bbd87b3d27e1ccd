#include "program/commands.h"
#include "program/file_progress.h"

#include <algorithm>
#include <set>
#include <thread>

#include <fmt/format.h>
#include <fmt/ostream.h>

#include "engine/catalog/query_tables.h"
#include "engine/query_result.h"
#include "engine/sql/parser.h"
#include "engine/sql/query_error.h"
#include "program/explanation.h"

namespace mipo::program {

using namespace engine;
namespace {

OutputTable relation_of(const Plan &plan, const Output &output) {
  OutputTable relation;
  relation.row_count = output.rows();
  relation.append_cell = [&output](std::string &out, std::size_t row, std::size_t column) {
    const Value value = output.value(row, column);
    value.append_to(out);
    return !value.is_null();
  };
  for (const PlannedColumn &planned : plan.output)
    relation.columns.push_back({planned.name, is_number(planned.value, plan) ? CellKind::number : CellKind::text});
  return relation;
}

void refuse_repeated_names(const OutputTable &relation) {
  std::set<std::string> names;
  for (const RelationColumn &column : relation.columns) {
    if (!names.insert(column.name).second) {
      throw QueryError(fmt::format("two columns of the result are named {}: JSON needs different names, given with AS",
                                   column.name));
    }
  }
}

void print(const OutputTable &relation, const Explanation &explanation, const QueryOptions &options,
           const Streams &streams) {
  if (options.format == OutputFormat::json && options.explain) {
    streams.out << "{\"rows\": ";
    write_json(streams.out, relation);
    streams.out << ",\n\"explain\": " << json_text(explanation_json(explanation), 2) << "}\n";
    return;
  }
  write(streams.out, relation, options.format, TableLimits::of(streams.terminal_width, options.all));
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
  QueryTables tables(library, options.tables, options.reading);
  tables.read(query, reading_progress);
  const unsigned threads = options.threads != 0 ? options.threads : std::max(1u, std::thread::hardware_concurrency());
  const QueryResult answered(
      library, query, [&](const TableName &name) -> const host::Table & { return tables.table(name); }, threads);
  const OutputTable relation = relation_of(answered.plan(), answered.output());
  if (options.format == OutputFormat::json) refuse_repeated_names(relation);
  print(relation, {tables.readings(), std::string(library.level()), answered.output().profile()}, options, streams);
}

} // namespace mipo::program
