// The few functions of DuckDB's C interface that are called, found in its library at run time: nothing of DuckDB is
// needed to build.
#ifndef MIPO_BENCH_PEERS_DUCKDB_API_H
#define MIPO_BENCH_PEERS_DUCKDB_API_H

#include <cstdint>
#include <string>

namespace mipo::bench {

/// Its layout is DuckDB's; all that is inside is asked for by functions.
struct DuckdbResult {
  void *members[6];
};

struct DuckdbApi {
  // The database and the connection are handles; a state is 0 if all went well.
  int (*open)(const char *path, void **database);
  void (*close)(void **database);
  int (*connect)(void *database, void **connection);
  void (*disconnect)(void **connection);
  int (*query)(void *connection, const char *sql, DuckdbResult *result);
  void (*destroy_result)(DuckdbResult *result);
  const char *(*result_error)(DuckdbResult *result);
  std::uint64_t (*column_count)(DuckdbResult *result);
  std::uint64_t (*row_count)(DuckdbResult *result);
  int (*column_type)(DuckdbResult *result, std::uint64_t column);
  bool (*value_is_null)(DuckdbResult *result, std::uint64_t column, std::uint64_t row);
  char *(*value_varchar)(DuckdbResult *result, std::uint64_t column, std::uint64_t row); // to be freed
  void (*free)(void *memory);
  const char *(*library_version)();

  /// Never unloaded. Throws PeerError.
  static DuckdbApi load(const std::string &library_path);
};

// Codes of DuckDB's types of columns.
inline constexpr int duckdb_varchar = 17;
inline constexpr int duckdb_enum = 23;

} // namespace mipo::bench

#endif
