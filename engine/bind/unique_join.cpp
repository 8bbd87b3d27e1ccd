#include "engine/bind/unique_join.h"

#include <algorithm>

#include <fmt/format.h>

#include "engine/sql/query_error.h"
#include "mipo/host/translation_table.h"
#include "mipo/host/zstd_decompressor.h"

namespace mipo::engine {
namespace {

void check_code_count(const BoundColumn &column, std::size_t position) {
  const ub8 codes = index_count(column.domain());
  if (codes <= most_join_codes) return;
  throw QueryError(fmt::format("{} has {} codes: columns of at most {} can be looked up{}", column.name, codes,
                               most_join_codes, dictionary_hint(column)),
                   position);
}

// The row of each value of a column that has none of them twice.
CodeMap<ub4> rows_by_code(const BoundColumn &unique, std::size_t position) {
  const host::EncodedColumn &data = unique.values->data;
  host::ZstdDecompressor decompressor;
  data.decompress(decompressor);
  CodeMap<ub4> rows(unique.domain(), no_row);
  for (ub4 row = 0; row < data.rows(); ++row) {
    if (!data.has_value(row)) continue;
    const ub8 code = data.code(row);
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

void check_comparable(const BoundColumn &a, const BoundColumn &b, std::size_t position) {
  // A column of empty fields is called text, but nothing is known of its type.
  if (a.domain().value_count() == 0 || b.domain().value_count() == 0) return;
  try {
    host::check_comparable(a.type(), b.type());
  } catch (const host::ValueError &error) {
    throw QueryError(fmt::format("{} and {}: {}", a.name, b.name, error.what()), position);
  }
}

std::vector<ub4> equal_values(const BoundColumn &from, const BoundColumn &to, std::size_t position) {
  check_comparable(from, to, position);
  check_code_count(from, position);
  check_code_count(to, position);
  if (from.domain().value_count() == 0 || to.domain().value_count() == 0)
    return std::vector<ub4>(from.domain().code_count() - from.domain().first_code(), host::no_entry);
  return host::equal_values(from.domain(), to.domain());
}

UniqueJoin::UniqueJoin(const BoundColumn &left, const BoundColumn &right, bool outer, std::size_t position)
    : key_(left.is_joined() ? left.key : &left), outer_(outer) {
  const host::Domain &from = left.domain(), &to = right.domain(), &of_key = key_->domain();
  const std::vector<ub4> equal = equal_values(left, right, position);
  const CodeMap<ub4> rows = rows_by_code(right, position);
  check_code_count(*key_, position);
  row_by_code_ = CodeMap<ub4>(of_key, no_row);
  for (ub8 code = of_key.first_code(); code < of_key.code_count(); ++code) {
    const std::optional<ub8> value = left.value_of(code);
    const ub4 partner = value ? equal[*value - from.first_code()] : host::no_entry;
    if (partner != host::no_entry) row_by_code_[code] = rows[partner + to.first_code()];
  }
}

BoundColumn UniqueJoin::column(const host::Column &column, std::string name) const {
  host::ZstdDecompressor decompressor;
  column.data.decompress(decompressor);
  const host::Domain &of_key = key_->domain();
  BoundColumn joined{std::move(name), &column, key_, {}, {}, outer_ && key_->nullable};
  const ub8 first = of_key.first_code();
  std::vector<std::optional<ub8>> values;
  for (ub8 code = first; code < of_key.code_count(); ++code) {
    const ub4 row = row_of(code);
    const bool has_value = row != no_row && column.data.has_value(row);
    values.push_back(has_value ? std::optional(column.data.code(row)) : std::nullopt);
    if (has_value) joined.ranked.push_back(*values.back());
    joined.nullable |= !has_value && (outer_ || row != no_row);
  }
  std::sort(joined.ranked.begin(), joined.ranked.end());
  joined.ranked.erase(std::unique(joined.ranked.begin(), joined.ranked.end()), joined.ranked.end());
  joined.rank = CodeMap<ub4>(of_key, host::no_entry);
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!values[i]) continue;
    const auto found = std::lower_bound(joined.ranked.begin(), joined.ranked.end(), *values[i]);
    joined.rank[first + i] = static_cast<ub4>(found - joined.ranked.begin());
  }
  return joined;
}

} // namespace mipo::engine
