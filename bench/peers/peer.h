// A system that answers SQL over tables that it holds in memory, on one thread.
#ifndef MIPO_BENCH_PEERS_PEER_H
#define MIPO_BENCH_PEERS_PEER_H

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "answer.h"
#include "mipo/host/table.h"

namespace mipo::bench {

/// What a system says when it cannot do what it is asked to.
class PeerError : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

class Peer {
public:
  virtual ~Peer() = default;

  /// Name and version.
  virtual std::string name() const = 0;
  /// Parses, plans and runs a query, nothing of it kept from earlier runs. Throws PeerError.
  virtual Answer run(const std::string &sql) = 0;
};

/// A table of all peers.
struct PeerTable {
  std::string name, csv_path;
  host::Table table; ///< read from the file
};
using PeerTables = std::vector<PeerTable>;

/// Works on the tables as they are. They must outlive the peer.
std::unique_ptr<Peer> make_mipo(const PeerTables &tables);

/// How DuckDB holds columns of text.
enum class DuckdbTexts {
  varchar,    ///< its type for texts
  enumeration ///< a type of all the column's values, made beforehand: its nearest to a dictionary in memory
};

/// Loads the CSV files by DuckDB's own reader into tables with the names and types of `tables`. `library_path` is
/// libduckdb.so. Throws PeerError.
std::unique_ptr<Peer> make_duckdb(const std::string &library_path, const PeerTables &tables, DuckdbTexts texts);

/// Loads the rows of `tables`. Throws PeerError.
std::unique_ptr<Peer> make_sqlite(const PeerTables &tables);

} // namespace mipo::bench

#endif
