#include <fmt/format.h>
#include <sqlite3.h>

#include "engine/run/kernel_profile.h"
#include "peer.h"

namespace mipo::bench {
namespace {

using Database = std::unique_ptr<sqlite3, decltype(&sqlite3_close)>;
using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

const char *type_of(const host::ValueType &type) {
  switch (type.kind) {
  case host::ValueKind::integer:
    return "INTEGER";
  case host::ValueKind::decimal:
    return "NUMERIC";
  case host::ValueKind::date_time: // it has no type for times; these texts order as the times do
  case host::ValueKind::text:
    break;
  }
  return "TEXT";
}

Cell cell(sqlite3_stmt *statement, int column) {
  switch (sqlite3_column_type(statement, column)) {
  case SQLITE_INTEGER:
    return sqlite3_column_int64(statement, column);
  case SQLITE_FLOAT:
    return sqlite3_column_double(statement, column);
  case SQLITE_NULL:
    return {};
  default:
    return std::string(reinterpret_cast<const char *>(sqlite3_column_text(statement, column)),
                       static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
  }
}

class SqlitePeer : public Peer {
public:
  explicit SqlitePeer(const PeerTables &tables) : database_(open()) {
    run("PRAGMA case_sensitive_like = ON"); // as it is for the others
    for (const PeerTable &each : tables) load(each.name, each.table);
  }

  std::string name() const override { return std::string("SQLite ") + sqlite3_libversion(); }

  Answer run(const std::string &sql) override {
    Answer answer;
    const engine::Stopwatch watch;
    const Statement statement = prepare(sql);
    const int columns = sqlite3_column_count(statement.get());
    int state;
    // A row is gone with the next step.
    while ((state = sqlite3_step(statement.get())) == SQLITE_ROW) {
      Row &row = answer.rows.emplace_back();
      for (int column = 0; column < columns; ++column) row.push_back(cell(statement.get(), column));
    }
    answer.wall_seconds = watch.seconds();
    if (state != SQLITE_DONE) fail();
    return answer;
  }

private:
  static Database open() {
    sqlite3 *handle = nullptr;
    const int state = sqlite3_open(":memory:", &handle);
    Database database(handle, &sqlite3_close);
    if (state != SQLITE_OK) throw PeerError("SQLite does not open a database in memory");
    return database;
  }

  void load(const std::string &name, const host::Table &table) {
    std::string columns, places;
    for (const host::Column &column : table.columns) {
      columns += fmt::format("{}\"{}\" {}", columns.empty() ? "" : ", ", column.name, type_of(column.type()));
      places += places.empty() ? "?" : ", ?";
    }
    run("CREATE TABLE " + name + " (" + columns + ")");
    run("BEGIN");
    const Statement insertion = prepare("INSERT INTO " + name + " VALUES (" + places + ")");
    std::string text;
    for (ub4 row = 0; row < table.row_count; ++row) {
      int place = 0;
      for (const host::Column &column : table.columns) {
        text.clear();
        ++place;
        // The column's affinity makes numbers of the texts.
        if (column.data.append_value(text, row))
          check(
              sqlite3_bind_text(insertion.get(), place, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
        else
          check(sqlite3_bind_null(insertion.get(), place));
      }
      if (sqlite3_step(insertion.get()) != SQLITE_DONE) fail();
      check(sqlite3_reset(insertion.get()));
    }
    run("COMMIT");
  }

  Statement prepare(const std::string &sql) const {
    sqlite3_stmt *statement = nullptr;
    check(sqlite3_prepare_v2(database_.get(), sql.c_str(), -1, &statement, nullptr));
    return {statement, &sqlite3_finalize};
  }

  [[noreturn]] void fail() const { throw PeerError(sqlite3_errmsg(database_.get())); }
  void check(int state) const {
    if (state != SQLITE_OK) fail();
  }

  Database database_;
};

} // namespace

std::unique_ptr<Peer> make_sqlite(const PeerTables &tables) {
  return std::make_unique<SqlitePeer>(tables);
}

} // namespace mipo::bench
