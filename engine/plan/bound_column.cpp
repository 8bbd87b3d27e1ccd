#include "engine/plan/bound_column.h"

#include "mipo/host/translation_table.h"

namespace mipo::engine {

std::optional<ub8> BoundColumn::value_of(ub8 stored_code) const {
  if (!is_joined()) return domain().is_null(stored_code) ? std::nullopt : std::optional(stored_code);
  const ub4 place = rank[stored_code];
  return place == host::no_entry ? std::nullopt : std::optional(ranked[place]);
}

std::optional<ub8> BoundColumn::code(ub4 row) const {
  const host::EncodedColumn &data = stored().data;
  if (!data.has_value(row)) return std::nullopt;
  return value_of(data.code(row));
}

std::string dictionary_hint(const BoundColumn &column) {
  if (column.values->data.has_dictionary()) return {};
  return "; with --encode " + column.values->name + "=dict they may be fewer";
}

std::string number_hint(const host::Column &column) {
  if (!column.not_a_number) return {};
  const auto &[text, line] = *column.not_a_number;
  return "; it would be a column of numbers but for '" + text + "' in line " + std::to_string(line) + ": --null '" +
         text + "' takes such fields for NULL";
}

BoundColumn own_column(const host::Column &column, std::string name) {
  return {std::move(name), &column, nullptr, column.data.null_rows() != 0, {}, {}};
}

BoundColumn joined_column(const host::Column &column, std::string name, const BoundColumn &key) {
  return {std::move(name), &column, &key, false, {}, {}};
}

} // namespace mipo::engine
