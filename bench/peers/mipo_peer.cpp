#include "engine/query_result.h"
#include "engine/run/kernel_profile.h"
#include "engine/sql/parser.h"
#include "engine/sql/query_error.h"
#include "mipo/host/library.h"
#include "peer.h"

namespace mipo::bench {
namespace {

class MipoPeer : public Peer {
public:
  explicit MipoPeer(const PeerTables &tables) : tables_(tables) {}

  std::string name() const override { return "mipo (" + std::string(library_.level()) + ")"; }

  Answer run(const std::string &sql) override {
    try {
      const engine::Stopwatch watch;
      const auto find_table = [&](const engine::TableName &name) -> const host::Table & {
        for (const PeerTable &each : tables_)
          if (each.name == name.name) return each.table;
        throw PeerError("there is no table " + name.name);
      };
      const engine::QueryResult answered(library_, engine::parse_query(sql), find_table);
      const std::vector<engine::Value> values = values_of(answered);
      Answer answer;
      answer.wall_seconds = watch.seconds();
      answer.kernel_seconds = engine::total_seconds(answered.output().profile());
      answer.rows = rows_of(answered.plan(), values);
      return answer;
    } catch (const engine::QueryError &error) {
      throw PeerError(error.what());
    }
  }

private:
  // Row by row.
  static std::vector<engine::Value> values_of(const engine::QueryResult &answered) {
    const std::size_t rows = answered.output().rows(), columns = answered.plan().output.size();
    std::vector<engine::Value> values;
    values.reserve(rows * columns);
    for (std::size_t row = 0; row < rows; ++row)
      for (std::size_t column = 0; column < columns; ++column) values.push_back(answered.output().value(row, column));
    return values;
  }

  static std::vector<Row> rows_of(const engine::Plan &plan, const std::vector<engine::Value> &values) {
    std::vector<Row> rows(values.size() / plan.output.size());
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) {
      Row &row = rows[i / plan.output.size()];
      text.clear();
      values[i].append_to(text);
      if (values[i].is_null())
        row.emplace_back();
      else if (engine::is_number(plan.output[i % plan.output.size()].value, plan))
        row.push_back(number_cell(text));
      else
        row.emplace_back(text);
    }
    return rows;
  }

  const PeerTables &tables_;
  host::Library library_ = host::Library::open();
};

} // namespace

std::unique_ptr<Peer> make_mipo(const PeerTables &tables) {
  return std::make_unique<MipoPeer>(tables);
}

} // namespace mipo::bench
