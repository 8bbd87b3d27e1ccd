#include "program/program.h"

#include <exception>
#include <map>
#include <new>

#include <CLI/CLI.hpp>

#include "engine/sql/query_error.h"
#include "mipo/host/errors.h"
#include "program/commands.h"
#include "program/interruption.h"

namespace mipo::program {

using namespace engine;
namespace {

const std::map<std::string, OutputFormat> formats = {
    {"table", OutputFormat::table}, {"csv", OutputFormat::csv}, {"json", OutputFormat::json}};

constexpr const char *examples = R"(
Examples:
  mipo query --table flights=data/flights-300k.csv.zst \
      "SELECT count(*) FROM flights WHERE distance > 1000"
  mipo describe data/flights-300k.csv.zst
  mipo pack data/flights-300k.csv.zst flights.mipo
  mipo verify flights.mipo
  mipo info
  mipo kernels ge_le

Each command has its own --help. Exit codes: 0 done, 1 the query or the data is
at fault, 2 the command line is, 130 and 143 interrupted by SIGINT and SIGTERM.)";

constexpr const char *query_examples = R"(
Examples:
  mipo query --table flights=data/flights-300k.csv.zst \
      "SELECT * FROM flights WHERE origin = 'SFO' AND delay >= 120 LIMIT 10"
  mipo query 'SELECT count(*) FROM "data/flights-300k.csv.zst" WHERE delay < 0'
  mipo query --table flights=data/flights-300k.csv.zst --format json --explain \
      "SELECT departure, delay FROM flights
       WHERE departure BETWEEN '2001-05-01' AND '2001-05-02' AND delay > 60"

  zcat log.gz | mipo query --delimiter tab --null N/A --table log=- \
      "SELECT status, count(*) FROM log GROUP BY status"
  mipo query --table flights=data/flights-300k.csv.zst --table a=data/airports.csv \
      "SELECT state, count(*), avg(delay) FROM flights JOIN a ON origin = iata
       WHERE destination NOT IN (SELECT iata FROM a WHERE state = 'CA')
       GROUP BY state ORDER BY 3 DESC"

SQL: SELECT [DISTINCT] values FROM a table, [LEFT] JOIN others ON a = b, WHERE,
GROUP BY columns, HAVING, ORDER BY, LIMIT, OFFSET. Values are columns, numbers,
+ - *, count, sum, avg, min, max. Conditions have = <> < <= > >=, BETWEEN, IN a
list or a sub-select, LIKE, IS NULL, AND, OR, NOT, upper() and lower(). The
joined table's column must have no value twice. An empty field of the file is
NULL. What is not supported is refused by name.

--explain shows every call of a kernel: name and key, the condition that it
stands for, rows in and out, time, and the table that codes are looked up in:
how it is laid out, bits of an entry, bytes. With csv it goes to standard error,
with json the output is {"rows": [...], "explain": {...}}.)";

constexpr const char *describe_examples = R"(
Examples:
  mipo describe data/flights-300k.csv.zst
  mipo describe --encode departure=dict+runs16 data/flights-300k.csv.zst

bytes are those of codes or numbers, lengths, runs and the bits of rows with a
value; ratio is bytes and dictionary_bytes against the text of the fields.)";

constexpr const char *pack_examples = R"(
Examples:
  mipo pack data/flights-300k.csv.zst flights.mipo
  mipo query 'SELECT origin, count(*) FROM "flights.mipo" GROUP BY origin'

Every command takes a column file where it takes a CSV file. It is mapped into
memory, so that opening it takes milliseconds. TO is replaced only when the new
file is whole and on the disk, and only if it is a column file (or --force).)";

constexpr const char *verify_examples = R"(
Examples:
  mipo verify flights.mipo

Other commands look at the directory of a column file when they open it, and at
the columns that they use.)";

constexpr const char *info_examples = R"(
Examples:
  mipo info
  MIPO_LEVEL=plain mipo info --format json)";

constexpr const char *kernels_examples = R"(
Examples:
  mipo kernels 'mipo_ge_le_dict_*bit'     a pattern with * ? [...]: the whole name
  mipo kernels eq_dict                    else: a part of the name
  mipo kernels --format csv > kernels.csv)";

// Splits "name=value".
std::pair<std::string, std::string> binding(const std::string &option, const std::string &text) {
  const std::size_t equals = text.find('=');
  if (equals == 0 || equals == std::string::npos || equals + 1 == text.size()) {
    throw CLI::ValidationError(option, "expected NAME=VALUE, got " + text);
  }
  return {text.substr(0, equals), text.substr(equals + 1)};
}

void add_format(CLI::App &command, OutputFormat &format, const std::vector<std::string> &names) {
  std::map<std::string, OutputFormat> allowed;
  std::string list;
  for (const std::string &name : names) {
    allowed.emplace(name, formats.at(name));
    list += (list.empty() ? "" : ", ") + name;
  }
  command
      .add_option_function<std::string>(
          "--format",
          [&format, allowed, list](const std::string &name) {
            const auto found = allowed.find(name);
            if (found == allowed.end()) throw CLI::ValidationError("--format", name + " is not one of " + list);
            format = found->second;
          },
          "Form of the output: " + list)
      ->type_name("FORMAT");
}

// An option that may be repeated and takes one value each time.
void add_bindings(CLI::App &command, const std::string &name, const std::string &type, const std::string &description,
                  const std::function<void(const std::string &, const std::string &)> &bind) {
  command
      .add_option_function<std::vector<std::string>>(
          name,
          [name, bind](const std::vector<std::string> &texts) {
            for (const std::string &text : texts) {
              const auto [key, value] = binding(name, text);
              bind(key, value);
            }
          },
          description)
      ->type_name(type)
      ->allow_extra_args(false);
}

void add_reading_options(CLI::App &command, ReadingOptions &options) {
  add_bindings(command, "--type", "COLUMN=TYPE",
               "Type of a column, instead of the one inferred: integer, decimal, timestamp or text; repeatable",
               [&options](const std::string &column, const std::string &type) {
                 const auto kind = host::kind_from_name(type);
                 if (!kind) {
                   throw CLI::ValidationError("--type", type + " is not one of integer, decimal, timestamp, text");
                 }
                 if (!options.kinds.emplace(column, *kind).second) {
                   throw CLI::ValidationError("--type", column + " is given twice");
                 }
               });
  add_bindings(command, "--encode", "COLUMN=ENCODING",
               "Encoding of a column, instead of the one chosen from its values: dict, fixed, tz, tz-const, dynp or "
               "dynp-tz, each with :BITS, +runs8, +runs16, +starts and +zstd if wanted; repeatable",
               [&options](const std::string &column, const std::string &text) {
                 try {
                   if (!options.encodings.emplace(column, host::parse_encoding(text)).second) {
                     throw CLI::ValidationError("--encode", column + " is given twice");
                   }
                 } catch (const host::EncodingError &error) {
                   throw CLI::ValidationError("--encode", error.what());
                 }
               });
}

// How CSV files are read.
void add_csv_options(CLI::App &command, ReadingOptions &options) {
  command
      .add_option_function<std::string>(
          "--delimiter",
          [&options](const std::string &text) {
            options.delimiter = delimiter_from(text);
            if (!options.delimiter) throw CLI::ValidationError("--delimiter", "\"" + text + "\" is not one character");
          },
          "What parts the fields of CSV files, instead of what is found from their first rows: a character, or comma, "
          "semicolon, tab or bar")
      ->type_name("CHARACTER");
  command.add_flag_callback(
      "--no-header", [&options] { options.has_header = false; },
      "The first row of CSV files is data, and their columns are c1, c2, ...");
  command
      .add_option("--null", options.nulls,
                  "A text that stands for NULL in CSV files, as an empty field does; repeatable")
      ->type_name("TEXT")
      ->allow_extra_args(false);
}

void add_all(CLI::App &command, bool &all) {
  command.add_flag("--all", all, "Show tables whole that are longer than 1,000 rows or wider than the terminal");
}

constexpr unsigned most_threads = 1024;

void add_query_command(CLI::App &program, QueryOptions &options, const Streams &streams) {
  CLI::App &command = *program.add_subcommand("query", "Answer an SQL query over CSV and column files");
  command.add_option("sql", options.sql, "The query")->required()->type_name("SQL");
  add_bindings(command, "--table", "NAME=FILE",
               "Bind a table name to a CSV file, plain or compressed by zstd or gzip, or a column file; - is standard "
               "input; repeatable",
               [&options](const std::string &name, const std::string &file) {
                 if (!options.tables.emplace(name, file).second) {
                   throw CLI::ValidationError("--table", name + " is bound twice");
                 }
               });
  add_reading_options(command, options.reading);
  add_csv_options(command, options.reading);
  add_format(command, options.format, {"table", "csv", "json"});
  add_all(command, options.all);
  command.add_flag("--explain", options.explain, "Show the kernels called, with their rows and times");
  command.add_option("--threads", options.threads, "Threads that filter and aggregate (default: all processors)")
      ->type_name("N")
      ->check(CLI::Range(1u, most_threads));
  command.footer(query_examples);
  command.callback([&options, &streams] { query_command(options, streams); });
}

void add_describe_command(CLI::App &program, DescribeOptions &options, const Streams &streams) {
  CLI::App &command = *program.add_subcommand("describe", "Tell how each column of a CSV or column file is stored");
  command
      .add_option("file", options.file,
                  "A CSV file, plain or compressed by zstd or gzip, or a column file; - is standard input")
      ->required()
      ->type_name("FILE");
  add_reading_options(command, options.reading);
  add_csv_options(command, options.reading);
  add_format(command, options.format, {"table", "csv", "json"});
  add_all(command, options.all);
  command.footer(describe_examples);
  command.callback([&options, &streams] { describe_command(options, streams); });
}

void add_pack_command(CLI::App &program, PackOptions &options, const Streams &streams) {
  CLI::App &command = *program.add_subcommand("pack", "Write the columns of a CSV file to a column file");
  command.add_option("from", options.from, "A CSV file, plain or compressed by zstd or gzip; - is standard input")
      ->required()
      ->type_name("FROM");
  command.add_option("to", options.to, "The column file to write")->required()->type_name("TO");
  add_reading_options(command, options.reading);
  add_csv_options(command, options.reading);
  command.add_flag("--force", options.force, "Replace TO even if it is no column file");
  add_format(command, options.format, {"table", "json"});
  command.footer(pack_examples);
  command.callback([&options, &streams] { pack_command(options, streams); });
}

void add_verify_command(CLI::App &program, VerifyOptions &options, const Streams &streams) {
  CLI::App &command = *program.add_subcommand("verify", "Check every byte of a column file");
  command.add_option("file", options.file, "A column file")->required()->type_name("FILE");
  add_format(command, options.format, {"table", "json"});
  command.footer(verify_examples);
  command.callback([&options, &streams] { verify_command(options, streams); });
}

void add_info_command(CLI::App &program, InfoOptions &options, const Streams &streams) {
  CLI::App &command = *program.add_subcommand("info", "Tell which library was opened and what it has");
  add_format(command, options.format, {"table", "json"});
  command.footer(info_examples);
  command.callback([&options, &streams] { info_command(options, streams); });
}

void add_kernels_command(CLI::App &program, KernelsOptions &options, const Streams &streams) {
  CLI::App &command = *program.add_subcommand("kernels", "List column kernels and whether the library has them");
  command.add_option("pattern", options.pattern, "Part of the name, or a pattern for all of it")->type_name("PATTERN");
  add_format(command, options.format, {"table", "csv", "json"});
  command.footer(kernels_examples);
  command.callback([&options, &streams] { kernels_command(options, streams); });
}

} // namespace

int run_program(int argc, const char *const *argv, std::ostream &out, std::ostream &err,
                std::optional<std::size_t> terminal_width) {
  const Streams streams{out, err, terminal_width};
  QueryOptions query;
  DescribeOptions describe;
  PackOptions pack;
  VerifyOptions verify;
  InfoOptions info;
  KernelsOptions kernels;
  CLI::App program("SQL over CSV and column files, run by the mipo kernels", "mipo");
  program.set_version_flag("--version", "mipo " MIPO_PROGRAM_VERSION);
  program.require_subcommand(1);
  program.footer(examples);
  add_query_command(program, query, streams);
  add_describe_command(program, describe, streams);
  add_pack_command(program, pack, streams);
  add_verify_command(program, verify, streams);
  add_info_command(program, info, streams);
  add_kernels_command(program, kernels, streams);
  try {
    program.parse(argc, argv);
    out.flush();
    if (!out) throw host::Error("the output could not be written");
    return exit_ok;
  } catch (const CLI::Success &request) { // --help, --version
    program.exit(request, out, err);
    return exit_ok;
  } catch (const CLI::ParseError &error) {
    err << "mipo: " << error.what() << "\nTry mipo --help, or --help after a command.\n";
    return exit_usage;
  } catch (const QueryError &error) {
    err << "mipo: query:" << (error.position() ? "" : " ") << program::describe(error, query.sql) << '\n';
  } catch (const Interrupted &interrupted) {
    err << "mipo: interrupted\n";
    return interrupted.exit_code();
  } catch (const std::bad_alloc &) {
    err << "mipo: out of memory\n";
  } catch (const std::exception &error) {
    err << "mipo: " << error.what() << '\n';
  }
  return exit_failed;
}

} // namespace mipo::program
