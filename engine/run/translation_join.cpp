#include "engine/run/translation_join.h"

#include <numeric>

#include <fmt/format.h>

#include "engine/plan/dense_ranks.h"
#include "engine/plan/equal_values.h"
#include "engine/sql/query_error.h"
#include "mipo/host/translation_table.h"

namespace mipo::engine {
namespace {

constexpr ub4 no_row = 0xffffffff;

constexpr ub8 no_value = ~ub8{0};

std::vector<ub8> codes_of_all_rows(const host::EncodedColumn &data) {
  std::vector<ub4> rows(data.rows());
  std::iota(rows.begin(), rows.end(), 0);
  std::vector<ub8> codes(rows.size());
  data.read_codes(rows, no_value, codes);
  return codes;
}

// The row of each value of a column that has none of them twice.
CodeMap<ub4> rows_by_code(const BoundColumn &unique, std::size_t position) {
  const std::vector<ub8> codes = codes_of_all_rows(unique.values->data);
  CodeMap<ub4> rows(unique.domain(), no_row);
  for (ub4 row = 0; row < codes.size(); ++row) {
    const ub8 code = codes[row];
    if (code == no_value) continue;
    ub4 &known = rows[code];
    if (known != no_row) {
      throw QueryError(fmt::format("{} is not unique: two rows have {}. Joins to several rows are not supported yet; "
                                   "the table with many rows goes first, after FROM",
                                   unique.name, unique.domain().value(code)),
                       position);
    }
    known = row;
  }
  return rows;
}

} // namespace

std::optional<Batch> TranslationJoin::next() {
  std::optional<Batch> batch = input().next();
  if (!joined_table_) return batch;
  const std::optional<Batch> joined = joined_table_->next();
  KernelProfile setup = row_step("join set-up", fmt::format("{} = {}", join_.left->name, join_.right.name));
  const Stopwatch stopwatch;
  find_rows();
  for (BoundColumn *column : join_.columns) fill_in(*column);
  setup.add(stopwatch, joined->tables.front().count(), joined->tables.front().count());
  setup.rows_out = setup.rows_in;
  calls_.push_back(std::move(setup));
  joined_table_.reset();
  return batch;
}

void TranslationJoin::find_rows() {
  const BoundColumn &key = join_.key();
  const host::Domain &from = join_.left->domain(), &to = join_.right.domain(), &of_key = key.domain();
  const std::vector<ub4> equal = equal_values(*join_.left, join_.right, join_.position);
  check_code_count(key, join_.position);
  join_.right.values->data.decompress(context_.decompressor);
  const CodeMap<ub4> rows = rows_by_code(join_.right, join_.position);
  row_by_code_ = CodeMap<ub4>(of_key, no_row);
  for (ub8 code = of_key.first_code(); code < of_key.code_count(); ++code) {
    const std::optional<ub8> value = join_.left->value_of(code);
    const ub4 partner = value ? equal[*value - from.first_code()] : host::no_entry;
    if (partner != host::no_entry) row_by_code_[code] = rows[partner + to.first_code()];
  }
}

void TranslationJoin::fill_in(BoundColumn &joined) const {
  const host::EncodedColumn &data = joined.values->data;
  data.decompress(context_.decompressor);
  const host::Domain &of_key = joined.key->domain();
  joined.nullable = join_.outer && joined.key->nullable;
  const std::vector<ub8> by_row = codes_of_all_rows(data);
  const ub8 base = index_base(joined.domain());
  CodeMap<ub8> values(of_key, no_value); // above the base
  std::vector<ub8> present;
  for (ub8 code = of_key.first_code(); code < of_key.code_count(); ++code) {
    const ub4 row = row_by_code_[code];
    const bool has_value = row != no_row && by_row[row] != no_value;
    joined.nullable |= !has_value && (join_.outer || row != no_row);
    if (!has_value) continue;
    values[code] = by_row[row] - base;
    present.push_back(values[code]);
  }
  const DenseRanks distinct(present, index_count(joined.domain()));
  joined.ranked = distinct.numbers();
  for (ub8 &code : joined.ranked) code += base;
  joined.rank = CodeMap<ub4>(of_key, host::no_entry);
  for (ub8 code = of_key.first_code(); code < of_key.code_count(); ++code)
    if (values[code] != no_value) joined.rank[code] = distinct.rank(values[code]);
}

std::optional<ColumnPredicate> TranslationJoin::partner_test() const {
  if (join_.outer) return std::nullopt;
  const BoundColumn &key = join_.key();
  CodeSet holds = CodeSet::where(key.domain().first_code(), key.domain().code_count(),
                                 [&](ub8 code) { return row_by_code_[code] != no_row; });
  ColumnPredicate test =
      column_predicate(key, std::move(holds), fmt::format("{} has a row of {}", key.name, join_.name));
  if (test.fails.empty() && !key.nullable) return std::nullopt;
  test.null_fails = true;
  test.from_other_rows = true;
  return test;
}

} // namespace mipo::engine
