#include "column_binder.h"

#include <algorithm>

#include <fmt/format.h>

#include "characters.h"
#include "query_error.h"

namespace mipo::tools {

void ColumnBinder::check_qualifier(const std::string &qualifier, std::size_t position) const {
  if (qualifier.empty()) return;
  const std::string &name = name_.alias.empty() ? name_.name : name_.alias;
  if (qualifier != name) {
    throw QueryError(fmt::format("the table {} is not in FROM, which names {}", qualifier, name), position);
  }
}

const host::Column &ColumnBinder::column(const ColumnName &wanted) const {
  const host::Column &named = find(wanted);
  named.data.check();
  return named;
}

const host::Column &ColumnBinder::find(const ColumnName &wanted) const {
  check_qualifier(wanted.qualifier, wanted.position);
  if (const host::Column *exact = table_.find(wanted.name)) return *exact;
  const host::Column *found = nullptr;
  std::string names;
  for (const host::Column &column : table_.columns) {
    names += (names.empty() ? "" : ", ") + column.name;
    if (!equal_without_case(column.name, wanted.name)) continue;
    if (wanted.quoted) {
      throw QueryError(
          fmt::format("there is no column \"{}\"; without quotes it would be {}", wanted.name, column.name),
          wanted.position);
    }
    if (found != nullptr) {
      throw QueryError(fmt::format("{} may be \"{}\" or \"{}\": write the name in double quotes", wanted.name,
                                   found->name, column.name),
                       wanted.position);
    }
    found = &column;
  }
  if (found == nullptr) {
    throw QueryError(fmt::format("there is no column {}; the columns are {}{}", wanted.name, names,
                                 wanted.quoted ? " (a string constant goes between single quotes)" : ""),
                     wanted.position);
  }
  return *found;
}

const host::Column &ColumnBinder::column(const Expression &expression) const {
  if (const auto *name = std::get_if<ColumnName>(&expression.node)) return column(*name);
  throw QueryError("expected a column here: calculations are not supported in this place yet", expression.position);
}

bool ColumnBinder::has(const ColumnName &wanted) const {
  return std::any_of(table_.columns.begin(), table_.columns.end(), [&](const host::Column &column) {
    return wanted.quoted ? column.name == wanted.name : equal_without_case(column.name, wanted.name);
  });
}

void check_letters(const host::Column &column, LetterCase letter_case, std::size_t position) {
  if (letter_case == LetterCase::as_is || column.type().kind == host::ValueKind::text) return;
  throw QueryError(fmt::format("column {} has no letters: it is {}", column.name, host::type_name(column.type())),
                   position);
}

TestedColumn ColumnBinder::tested(const Operand &operand) const {
  const host::Column &tested = column(operand.value);
  check_letters(tested, operand.letter_case, operand.value.position);
  return {&tested, operand.letter_case};
}

} // namespace mipo::tools
