#include "executor.h"
#include "mipo/host/library.h"
#include "peer.h"
#include "plan.h"
#include "query_error.h"
#include "result.h"
#include "sql_parser.h"
#include "step.h"

namespace mipo::bench {
namespace {

class MipoPeer : public Peer {
public:
  explicit MipoPeer(const host::Table &table) : table_(table) {}

  std::string name() const override { return "mipo (" + std::string(library_.level()) + ")"; }

  Answer run(const std::string &sql) override {
    try {
      const tools::Stopwatch watch;
      const tools::Plan plan = tools::plan_query(tools::parse_query(sql), table_);
      const tools::Answer result = tools::execute(library_, plan, 1);
      const std::vector<tools::Value> values = values_of(plan, result);
      Answer answer;
      answer.wall_seconds = watch.seconds();
      answer.kernel_seconds = result.kernel_seconds();
      answer.rows = rows_of(plan, values);
      return answer;
    } catch (const tools::QueryError &error) {
      throw PeerError(error.what());
    }
  }

private:
  // Row by row.
  static std::vector<tools::Value> values_of(const tools::Plan &plan, const tools::Answer &result) {
    const tools::ValueSource source(result.groups.get());
    std::vector<tools::Value> values;
    values.reserve(result.rows.size() * plan.output.size());
    for (const ub4 row : result.rows)
      for (const tools::PlannedColumn &column : plan.output) values.push_back(source.value(column.value, row));
    return values;
  }

  static std::vector<Row> rows_of(const tools::Plan &plan, const std::vector<tools::Value> &values) {
    std::vector<Row> rows(values.size() / plan.output.size());
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) {
      Row &row = rows[i / plan.output.size()];
      text.clear();
      values[i].append_to(text);
      if (values[i].is_null())
        row.emplace_back();
      else if (tools::is_number(plan.output[i % plan.output.size()].value, plan))
        row.push_back(number_cell(text));
      else
        row.emplace_back(text);
    }
    return rows;
  }

  const host::Table &table_;
  host::Library library_ = host::Library::open();
};

} // namespace

std::unique_ptr<Peer> make_mipo(const host::Table &table) {
  return std::make_unique<MipoPeer>(table);
}

} // namespace mipo::bench
