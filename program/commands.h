// The commands of the program. Each throws QueryError or host::Error for what it cannot do.
#ifndef MIPO_PROGRAM_COMMANDS_H
#define MIPO_PROGRAM_COMMANDS_H

#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "engine/catalog/reading_options.h"
#include "program/output_table.h"

namespace mipo::program {

using engine::ReadingOptions;

struct Streams {
  std::ostream &out;
  std::ostream &err;
  std::optional<std::size_t> terminal_width = std::nullopt; // columns of the terminal that `out` is, if it is one
};

struct QueryOptions {
  std::string sql;
  std::map<std::string, std::string> tables; // file by table name
  ReadingOptions reading;
  OutputFormat format = OutputFormat::table;
  bool explain = false;
  unsigned threads = 0; // 0: as many as the processor has
  bool all = false;     // tables are shown whole on a terminal too
};

/// Answers a query. With `explain`, the explanation follows a table, goes to the error stream beside CSV, and is a
/// part of the object in JSON.
void query_command(const QueryOptions &options, const Streams &streams);

struct DescribeOptions {
  std::string file;
  bool all = false; // as in QueryOptions
  ReadingOptions reading;
  OutputFormat format = OutputFormat::table;
};

/// Tells how each column of a file is stored, and what that takes of the bytes of its text.
void describe_command(const DescribeOptions &options, const Streams &streams);

struct PackOptions {
  std::string from, to;
  ReadingOptions reading;
  OutputFormat format = OutputFormat::table; // table or json
  bool force = false;                        // replaces what is no column file
};

/// Writes the encoded columns of a CSV file to a column file, which is there once it is whole. Throws Interrupted too.
void pack_command(const PackOptions &options, const Streams &streams);

struct VerifyOptions {
  std::string file;
  OutputFormat format = OutputFormat::table; // table or json
};

/// Holds every byte of a column file against its checksums and against what the file says of itself.
void verify_command(const VerifyOptions &options, const Streams &streams);

struct InfoOptions {
  OutputFormat format = OutputFormat::table; // table or json
};

/// Tells which library was opened and what it has.
void info_command(const InfoOptions &options, const Streams &streams);

struct KernelsOptions {
  std::string pattern; // a glob, or a part of the name; empty: all
  OutputFormat format = OutputFormat::table;
};

/// Lists kernels, in the order of their names with numbers in numeric order. Throws host::Error if none matches.
void kernels_command(const KernelsOptions &options, const Streams &streams);

} // namespace mipo::program

#endif
