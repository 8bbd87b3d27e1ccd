// A system that answers SQL over the table `flights`, which it holds in memory, on one thread.
#ifndef MIPO_BENCH_PEERS_PEER_H
#define MIPO_BENCH_PEERS_PEER_H

#include <memory>
#include <stdexcept>
#include <string>

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

/// Works on `table` as it is, which must outlive the peer.
std::unique_ptr<Peer> make_mipo(const host::Table &table);

/// How DuckDB holds columns of text.
enum class DuckdbTexts {
  varchar,    ///< its type for texts
  enumeration ///< a type of all the column's values, made beforehand: its nearest to a dictionary in memory
};

/// Loads the CSV file by DuckDB's own reader into a table with the names and types of `table`. `library_path` is
/// libduckdb.so. Throws PeerError.
std::unique_ptr<Peer> make_duckdb(const std::string &library_path, const std::string &csv_path,
                                  const host::Table &table, DuckdbTexts texts);

/// Loads the rows of `table`. Throws PeerError.
std::unique_ptr<Peer> make_sqlite(const host::Table &table);

} // namespace mipo::bench

#endif
