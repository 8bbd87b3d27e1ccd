#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "duckdb_api.h"
#include "engine/run/kernel_profile.h"
#include "peer.h"

namespace mipo::bench {
namespace {

std::string type_of(const host::ValueType &type) {
  switch (type.kind) {
  case host::ValueKind::integer:
    return "BIGINT";
  case host::ValueKind::decimal:
    return fmt::format("DECIMAL({}, {})", host::max_decimal_digits, type.scale);
  case host::ValueKind::date_time:
    return type.precision == host::TimePrecision::day ? "DATE" : "TIMESTAMP";
  case host::ValueKind::text:
    break;
  }
  return "VARCHAR";
}

std::string quoted(const std::string &text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? "''" : std::string(1, c);
  return result + "'";
}

class DuckdbPeer : public Peer {
public:
  DuckdbPeer(const std::string &library_path, const PeerTables &tables, DuckdbTexts texts)
      : api_(DuckdbApi::load(library_path)) {
    if (api_.open(nullptr, &database_) != 0) throw PeerError("DuckDB does not open a database in memory");
    if (api_.connect(database_, &connection_) != 0) {
      api_.close(&database_);
      throw PeerError("DuckDB does not connect to its database");
    }
    try {
      run("SET threads = 1");
      for (const PeerTable &table : tables) {
        load(table);
        if (texts == DuckdbTexts::enumeration) enumerate_texts(table);
      }
    } catch (...) {
      close();
      throw;
    }
  }
  DuckdbPeer(const DuckdbPeer &) = delete;
  ~DuckdbPeer() override { close(); }

  std::string name() const override { return std::string("DuckDB ") + api_.library_version(); }

  Answer run(const std::string &sql) override {
    const engine::Stopwatch watch;
    DuckdbResult result = result_of(sql);
    Answer answer;
    answer.wall_seconds = watch.seconds();
    answer.rows.resize(api_.row_count(&result));
    std::vector<int> types(api_.column_count(&result));
    for (std::uint64_t column = 0; column < types.size(); ++column) types[column] = api_.column_type(&result, column);
    if (std::find(types.begin(), types.end(), duckdb_enum) != types.end()) {
      // The interface gives no texts of enumerations: they are asked for as texts, beside what is timed.
      api_.destroy_result(&result);
      result = result_of("SELECT CAST(COLUMNS(*) AS VARCHAR) FROM (" + sql + ")");
    }
    for (std::uint64_t row = 0; row < answer.rows.size(); ++row)
      for (std::uint64_t column = 0; column < types.size(); ++column)
        answer.rows[row].push_back(cell(result, row, column, types[column]));
    api_.destroy_result(&result);
    return answer;
  }

private:
  DuckdbResult result_of(const std::string &sql) {
    DuckdbResult result{};
    if (api_.query(connection_, sql.c_str(), &result) == 0) return result;
    const char *message = api_.result_error(&result);
    const PeerError error(message != nullptr ? message : "DuckDB gives no reason");
    api_.destroy_result(&result);
    throw error;
  }

  void load(const PeerTable &table) {
    std::string columns;
    for (const host::Column &column : table.table.columns)
      columns += (columns.empty() ? "" : ", ") + quoted(column.name) + ": " + quoted(type_of(column.type()));
    run(fmt::format("CREATE TABLE {} AS FROM read_csv({}, header = true, auto_detect = false, columns = {{{}}})",
                    table.name, quoted(table.csv_path), columns));
  }

  void enumerate_texts(const PeerTable &table) {
    for (const host::Column &column : table.table.columns) {
      if (column.type().kind != host::ValueKind::text) continue;
      run(fmt::format("CREATE TYPE {1}_{0} AS ENUM (SELECT DISTINCT {0} FROM {1} ORDER BY {0})", column.name,
                      table.name));
      run(fmt::format("ALTER TABLE {1} ALTER {0} TYPE {1}_{0}", column.name, table.name));
    }
  }

  Cell cell(DuckdbResult &result, std::uint64_t row, std::uint64_t column, int type) const {
    if (api_.value_is_null(&result, column, row)) return {};
    char *memory = api_.value_varchar(&result, column, row);
    const std::string text = memory != nullptr ? memory : "";
    api_.free(memory);
    if (type == duckdb_varchar || type == duckdb_enum) return text;
    return number_cell(text);
  }

  void close() {
    api_.disconnect(&connection_);
    api_.close(&database_);
  }

  DuckdbApi api_;
  void *database_ = nullptr, *connection_ = nullptr;
};

} // namespace

std::unique_ptr<Peer> make_duckdb(const std::string &library_path, const PeerTables &tables, DuckdbTexts texts) {
  return std::make_unique<DuckdbPeer>(library_path, tables, texts);
}

} // namespace mipo::bench
