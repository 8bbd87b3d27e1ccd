#include "engine/plan/equal_values.h"

#include <fmt/format.h>

#include "engine/sql/query_error.h"
#include "mipo/host/translation_table.h"

namespace mipo::engine {

void check_code_count(const BoundColumn &column, std::size_t position) {
  const ub8 codes = index_count(column.domain());
  if (codes <= most_join_codes) return;
  throw QueryError(fmt::format("{} has {} codes: columns of at most {} can be looked up{}", column.name, codes,
                               most_join_codes, dictionary_hint(column)),
                   position);
}

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

} // namespace mipo::engine
