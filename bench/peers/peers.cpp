// The same queries, asked of mipo, DuckDB and SQLite in turns.
#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string>

#include "comparison.h"
#include "mipo/host/csv.h"
#include "peer.h"
#include "report.h"

int main(int argc, char **argv) {
  using namespace mipo::bench;
  std::string flights, airports, duckdb;
  int repetitions = 9;
  bool enums = false, json = false, strict = false;
  CLI::App program("Asks mipo, DuckDB and SQLite the same queries, one thread each, checks that the answers "
                   "are equal, and prints medians of wall times and their ratios.",
                   "peers");
  program.add_option("flights", flights, "CSV file with departure, delay, distance, origin and destination")
      ->required()
      ->type_name("FILE");
  program.add_option("airports", airports, "CSV file with iata, city and state")->required()->type_name("FILE");
  program.add_option("--duckdb", duckdb, "libduckdb.so")->required()->type_name("FILE");
  program.add_option("--repetitions", repetitions, "Runs that medians are taken of, after one that is not counted")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  program.add_flag("--enums", enums, "Let DuckDB hold texts as ENUM, which no import chooses for it");
  program.add_flag("--json", json, "Print an object in JSON instead of a table");
  program.add_flag("--strict", strict, "Exit code 1 also if a limit is missed");
  CLI11_PARSE(program, argc, argv);

  const auto tell = [](const char *what) {
    if (isatty(STDERR_FILENO)) fmt::print(stderr, "{} ...\n", what);
  };

  try {
    tell("loading the tables into each system");
    PeerTables tables;
    tables.push_back({"flights", flights, mipo::host::read_csv(flights)});
    tables.push_back({"airports", airports, mipo::host::read_csv(airports)});
    const DuckdbTexts texts = enums ? DuckdbTexts::enumeration : DuckdbTexts::varchar;
    const Peers peers{make_mipo(tables), make_duckdb(duckdb, tables, texts), make_sqlite(tables)};
    tell("asking");
    const Comparison comparison = compare(peers, tables.front().table.row_count, repetitions);
    fmt::print("{}", json ? json_report(comparison) : table_report(comparison));
    return !comparison.failed() && (!strict || comparison.limits_reached()) ? 0 : 1;
  } catch (const std::exception &error) {
    fmt::print(stderr, "peers: {}\n", error.what());
    return 1;
  }
}
