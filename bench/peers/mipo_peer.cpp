#include "engine/run/kernel_profile.h"
#include "engine/run/query_result.h"
#include "engine/run/result.h"
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
      const engine::QueryResult answered = engine::answer_query(library_, engine::parse_query(sql), find_table);
      const std::vector<engine::Value> values = values_of(answered);
      Answer answer;
      answer.wall_seconds = watch.seconds();
      answer.kernel_seconds = answered.answer.kernel_seconds();
      answer.rows = rows_of(*answered.plan, values);
      return answer;
    } catch (const engine::QueryError &error) {
      throw PeerError(error.what());
    }
  }

private:
  // Row by row.
  static std::vector<engine::Value> values_of(const engine::QueryResult &answered) {
    const engine::ValueSource source = answered.answer.values();
    const std::vector<engine::PlannedColumn> &output = answered.plan->output;
    std::vector<engine::Value> values;
    values.reserve(answered.answer.rows.size() * output.size());
    for (const ub4 row : answered.answer.rows)
      for (const engine::PlannedColumn &column : output) values.push_back(source.value(column.value, row));
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
