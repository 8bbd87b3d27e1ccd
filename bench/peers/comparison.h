// Runs the queries with every peer in turns, holds the answers against each other and takes medians.
#ifndef MIPO_BENCH_PEERS_COMPARISON_H
#define MIPO_BENCH_PEERS_COMPARISON_H

#include <memory>
#include <string>
#include <vector>

#include "peer.h"
#include "queries.h"

namespace mipo::bench {

struct Peers {
  std::unique_ptr<Peer> mipo, duckdb, sqlite;
};

/// Medians in seconds, not a number for a peer that failed. `complaints` are failures, and answers that differ.
struct QueryComparison {
  const PeerQuery *query = nullptr;
  std::size_t rows = 0;
  double mipo_kernels = 0, mipo_wall = 0, duckdb_wall = 0, sqlite_wall = 0;
  std::vector<std::string> complaints;

  // How many times as long the other takes.
  double duckdb_to_kernels() const { return duckdb_wall / mipo_kernels; }
  double duckdb_to_wall() const { return duckdb_wall / mipo_wall; }
  double sqlite_to_wall() const { return sqlite_wall / mipo_wall; }
};

struct Comparison {
  std::string mipo_name, duckdb_name, sqlite_name;
  std::uint64_t table_rows = 0;
  int repetitions = 0;
  std::vector<QueryComparison> queries;

  bool failed() const;
  /// Of the queries without complaints; 1 if there is none.
  double geometric_mean(double (QueryComparison::*ratio)() const) const;
  /// Queries without complaints whose kernels take as much less time than DuckDB as is wanted.
  std::size_t reached_by_kernels() const;
  bool limits_reached() const;
};

/// The least geometric mean of DuckDB's wall time to mipo's that is wanted.
inline constexpr double wanted_wall_ratio = 2;

/// Each query is asked `repetitions` times, after once without counting; answers are checked every time.
Comparison compare(const Peers &peers, std::uint64_t table_rows, int repetitions);

} // namespace mipo::bench

#endif
