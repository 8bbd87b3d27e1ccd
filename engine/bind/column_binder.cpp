#include "engine/bind/column_binder.h"

#include <algorithm>

#include <fmt/format.h>

#include "engine/plan/equal_values.h"
#include "engine/sql/characters.h"
#include "engine/sql/query_error.h"

namespace mipo::engine {
namespace {

const std::string &name_in_query(const TableName &table) {
  return table.alias.empty() ? table.name : table.alias;
}

// The column of one table that a name stands for, or null.
const host::Column *find_in(const host::Table &table, const ColumnName &wanted) {
  if (const host::Column *exact = table.find(wanted.name)) return exact;
  const host::Column *found = nullptr;
  for (const host::Column &column : table.columns) {
    if (wanted.quoted || !equal_without_case(column.name, wanted.name)) continue;
    if (found != nullptr) {
      throw QueryError(fmt::format("{} may be \"{}\" or \"{}\": write the name in double quotes", wanted.name,
                                   found->name, column.name),
                       wanted.position);
    }
    found = &column;
  }
  return found;
}

} // namespace

ColumnBinder::ColumnBinder(const Query &query, const std::vector<const host::Table *> &tables, Plan &plan)
    : plan_(plan), several_(!query.joins.empty()) {
  scopes_.push_back({&query.table, tables.front()});
  for (std::size_t i = 0; i < query.joins.size(); ++i) join(query.joins[i], *tables[i + 1]);
}

void ColumnBinder::join(const Join &join, const host::Table &table) {
  const std::string &name = name_in_query(join.table);
  for (const InScope &scope : scopes_) {
    if (name_in_query(*scope.name) != name) continue;
    throw QueryError(fmt::format("two tables are named {}: give one of them another name after AS", name),
                     join.table.position);
  }
  // One side is a column of the joined table, the other one of those in front of it.
  const InScope joined{&join.table, &table};
  const auto in_front = [&](const ColumnName &side) {
    return std::any_of(scopes_.begin(), scopes_.end(), [&](const InScope &scope) { return find(scope, side); });
  };
  for (const bool turned : {false, true}) {
    const ColumnName &left = join.sides[turned], &right = join.sides[!turned];
    const host::Column *unique = find(joined, right);
    if (unique == nullptr || !in_front(left)) continue;
    if (left.qualifier.empty() && find(joined, left) != nullptr) {
      throw QueryError(fmt::format("{} may be a column of {}: write the table in front of it", left.name, name),
                       left.position);
    }
    if (right.qualifier.empty() && in_front(right)) {
      throw QueryError(fmt::format("{} is a column of several tables: write the table in front of it", right.name),
                       right.position);
    }
    unique->data.check_domain();
    const BoundColumn &left_column = column(left);
    BoundColumn right_column = own_column(*unique, name + "." + unique->name);
    check_comparable(left_column, right_column, join.position);
    scopes_.push_back({&join.table, &table,
                       &plan_.joins.emplace_back(UniqueJoin{
                           name, &table, &left_column, std::move(right_column), join.outer, join.position, {}})});
    return;
  }
  // Whichever name is wrong: the message comes from looking for it.
  scopes_.push_back(joined);
  for (const ColumnName &side : join.sides) (void)column(side);
  throw QueryError(fmt::format("ON takes an equality of a column of {} and one of the tables in front of it", name),
                   join.position);
}

const ColumnBinder::InScope &ColumnBinder::qualified(const std::string &qualifier, std::size_t position) const {
  for (const InScope &scope : scopes_)
    if (name_in_query(*scope.name) == qualifier) return scope;
  throw QueryError(fmt::format("the table {} is not in FROM, which names {}", qualifier, names(false)), position);
}

// Of the tables, or of all their columns.
std::string ColumnBinder::names(bool with_columns) const {
  std::string text;
  const auto add = [&](const std::string &name) { text += (text.empty() ? "" : ", ") + name; };
  for (const InScope &scope : scopes_) {
    const std::string &table = name_in_query(*scope.name);
    if (!with_columns) add(table);
    if (with_columns)
      for (const host::Column &column : scope.table->columns) add(several_ ? table + "." + column.name : column.name);
  }
  return text;
}

const BoundColumn &ColumnBinder::column(const ColumnName &wanted) const {
  if (!wanted.qualifier.empty()) (void)qualified(wanted.qualifier, wanted.position);
  const InScope *scope = nullptr;
  const host::Column *found = nullptr;
  for (const InScope &each : scopes_) {
    const host::Column *here = find(each, wanted);
    if (here == nullptr) continue;
    if (found != nullptr) {
      throw QueryError(fmt::format("{0} may be {1}.{0} or {2}.{0}: write the table in front of it", wanted.name,
                                   name_in_query(*scope->name), name_in_query(*each.name)),
                       wanted.position);
    }
    scope = &each;
    found = here;
  }
  if (found != nullptr) return row_column(*scope, *found);
  if (wanted.quoted) {
    for (const InScope &each : scopes_) {
      for (const host::Column &column : each.table->columns) {
        if (!equal_without_case(column.name, wanted.name)) continue;
        throw QueryError(
            fmt::format("there is no column \"{}\"; without quotes it would be {}", wanted.name, column.name),
            wanted.position);
      }
    }
  }
  throw QueryError(fmt::format("there is no column {}; the columns are {}{}", wanted.name, names(true),
                               wanted.quoted ? " (a string constant goes between single quotes)" : ""),
                   wanted.position);
}

// The column of a table that a name stands for; null if it has none, or if the name is of another table.
const host::Column *ColumnBinder::find(const InScope &scope, const ColumnName &wanted) {
  const bool may_be = wanted.qualifier.empty() || wanted.qualifier == name_in_query(*scope.name);
  return may_be ? find_in(*scope.table, wanted) : nullptr;
}

const BoundColumn &ColumnBinder::row_column(const InScope &scope, const host::Column &column) const {
  const BoundColumn *key = scope.join != nullptr ? &scope.join->key() : nullptr;
  std::string name = several_ ? name_in_query(*scope.name) + "." + column.name : column.name;
  for (const BoundColumn &made : plan_.columns)
    if (made.values == &column && made.key == key && made.name == name) return made;
  column.data.check_domain();
  if (key == nullptr) return plan_.columns.emplace_back(own_column(column, std::move(name)));
  BoundColumn &joined = plan_.columns.emplace_back(joined_column(column, std::move(name), *key));
  scope.join->columns.push_back(&joined);
  return joined;
}

const BoundColumn &ColumnBinder::column(const Expression &expression) const {
  if (const auto *name = std::get_if<ColumnName>(&expression.node)) return column(*name);
  throw QueryError("expected a column here: calculations are not supported in this place yet", expression.position);
}

bool ColumnBinder::has(const ColumnName &wanted) const {
  return std::any_of(scopes_.begin(), scopes_.end(), [&](const InScope &scope) {
    return std::any_of(scope.table->columns.begin(), scope.table->columns.end(), [&](const host::Column &column) {
      return wanted.quoted ? column.name == wanted.name : equal_without_case(column.name, wanted.name);
    });
  });
}

std::vector<const BoundColumn *> ColumnBinder::all_columns(const AllColumns &wanted) const {
  std::vector<const BoundColumn *> all;
  const auto add = [&](const InScope &scope) {
    for (const host::Column &column : scope.table->columns) all.push_back(&row_column(scope, column));
  };
  if (!wanted.qualifier.empty())
    add(qualified(wanted.qualifier, wanted.position));
  else
    std::for_each(scopes_.begin(), scopes_.end(), add);
  return all;
}

void check_letters(const BoundColumn &column, LetterCase letter_case, std::size_t position) {
  if (letter_case == LetterCase::as_is || column.type().kind == host::ValueKind::text) return;
  throw QueryError(fmt::format("column {} has no letters: it is {}", column.name, host::type_name(column.type())),
                   position);
}

TestedColumn ColumnBinder::tested(const Operand &operand) const {
  const BoundColumn &tested = column(operand.value);
  check_letters(tested, operand.letter_case, operand.value.position);
  return {&tested, operand.letter_case};
}

} // namespace mipo::engine
