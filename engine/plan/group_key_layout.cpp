#include "engine/plan/group_key_layout.h"

#include <algorithm>

#include <fmt/format.h>

#include "engine/plan/dense_ranks.h"
#include "engine/sql/query_error.h"

namespace mipo::engine {
namespace {

// Up to here numbers of shifted codes are preferred: gaps between them cost no memory to speak of.
constexpr ub8 small_key_space = 1 << 16;

std::string names_of(const std::vector<const BoundColumn *> &columns) {
  std::string names;
  for (const BoundColumn *column : columns) names += (names.empty() ? "" : ", ") + column->name;
  return names;
}

std::string with_separators(ub8 number) {
  std::string text = std::to_string(number);
  for (std::size_t i = text.size(); i > 3; i -= 3) text.insert(i - 3, 1, ',');
  return text;
}

} // namespace

void GroupKeyLayout::number_codes(Component &component) {
  const host::Domain &domain = component.stored->domain();
  component.first_code = domain.has_null() ? 0 : domain.first_code(); // numbers are codes far above 0
  component.bits = static_cast<unsigned>(component.stored->values->data.bits());
  component.null_is_extra = component.stored->nullable && !domain.has_null();
  component.count = std::max<ub8>(domain.code_count() - component.first_code + component.null_is_extra, 1);
}

void GroupKeyLayout::number_combinations(Component &component) {
  const host::Domain &domain = component.stored->domain();
  const ub8 first = domain.first_code();
  CodeMap<ub4> &indices = component.index_by_code;
  indices = CodeMap<ub4>(domain);
  CodeMap<bool> never_there(domain);
  CodeMap<ub8> pairs(domain);
  const ub8 begin = indices.begin_code(), end = indices.end_code();
  // Column by column: an index for each pair of the index so far and the rank of the column's value, 0 for no value.
  for (const BoundColumn *column : component.columns) {
    const ub8 ranks = 1 + (column->is_joined() ? column->ranked.size() : domain.code_count() - first);
    for (ub8 code = begin; code < end; ++code) {
      const ub8 rank = column->is_joined() ? ub8{column->rank[code] + 1} // no_entry becomes 0
                       : code < first      ? 0
                                           : code - first + 1;
      pairs[code] = indices[code] * ranks + rank;
      never_there[code] = never_there[code] || (rank == 0 && !column->nullable);
    }
    std::vector<ub8> numbers = pairs.by_index();
    numbers.push_back(0);
    const DenseRanks distinct(numbers, component.count * ranks);
    for (ub8 code = begin; code < end; ++code) indices[code] = distinct.rank(pairs[code]);
    component.count = distinct.numbers().size();
  }
  component.code_by_index.assign(component.count, begin);
  for (ub8 code = begin; code < end; ++code) {
    if (never_there[code]) indices[code] = 0; // no row has this code: its partner is missing
    component.code_by_index[indices[code]] = code;
  }
}

GroupKeyLayout::GroupKeyLayout(const std::vector<const BoundColumn *> &columns) : columns_(columns) {
  for (const BoundColumn *column : columns) {
    const BoundColumn *stored = column->is_joined() ? column->key : column;
    const auto same = std::find_if(components_.begin(), components_.end(), [&](const Component &component) {
      return component.stored->values == stored->values;
    });
    component_of_column_.push_back(static_cast<std::size_t>(same - components_.begin()));
    if (same == components_.end()) components_.emplace_back().stored = stored;
    components_[component_of_column_.back()].columns.push_back(column);
  }
  WideInteger product = 1, shifted = 1;
  std::string hint;
  for (Component &component : components_) {
    const bool joined = std::any_of(component.columns.begin(), component.columns.end(),
                                    [](const BoundColumn *column) { return column->is_joined(); });
    if (joined)
      number_combinations(component);
    else
      number_codes(component);
    if (!has_code_kernels(component.stored->stored()))
      method_ = Method::row_by_row;
    else if (joined && method_ == Method::codes)
      method_ = Method::folding;
    if (!joined && hint.empty()) hint = dictionary_hint(*component.stored);
    if (product <= ~ub8{0}) product *= component.count;
    if (shifted <= most_groups) shifted = component.count + ((shifted - 1) << std::min(component.bits, 32u));
  }
  if (product > most_groups) {
    const ub8 shown = product > ~ub8{0} ? ~ub8{0} : static_cast<ub8>(product);
    throw QueryError(fmt::format("GROUP BY {} could give {} groups: at most {} are possible{}", names(),
                                 with_separators(shown), with_separators(most_groups), hint));
  }
  shifts_ = method_ == Method::codes && shifted <= small_key_space;
  size_ = static_cast<ub8>(shifts_ ? shifted : product);
}

std::string GroupKeyLayout::names() const {
  return names_of(columns_);
}

std::string GroupKeyLayout::names(std::size_t component) const {
  return names_of(components_[component].columns);
}

ub8 GroupKeyLayout::index_of(const Component &component, std::optional<ub8> stored_code) {
  if (!stored_code) return 0;
  if (!component.index_by_code.empty()) return component.index_by_code[*stored_code];
  return *stored_code - component.first_code + component.null_is_extra;
}

std::vector<ub4> GroupKeyLayout::indices_by_code(std::size_t component) const {
  const Component &at = components_[component];
  if (!at.index_by_code.empty()) return at.index_by_code.by_index();
  std::vector<ub4> indices(at.stored->domain().code_count());
  for (ub8 code = at.first_code; code < indices.size(); ++code) indices[code] = static_cast<ub4>(index_of(at, code));
  return indices;
}

ub4 GroupKeyLayout::weight(std::size_t component) const {
  ub8 weight = 1;
  for (std::size_t next = component + 1; next < components_.size(); ++next) weight *= components_[next].count;
  return static_cast<ub4>(weight);
}

ub8 GroupKeyLayout::number(ub4 row) const {
  ub8 number = 0;
  for (const Component &at : components_) {
    const ub8 index = index_of(at, at.stored->code(row));
    number = shifts_ ? (number << at.bits) + index : number * at.count + index;
  }
  return number;
}

Value GroupKeyLayout::value(ub8 group, std::size_t column) const {
  const std::size_t component = component_of_column_[column];
  for (std::size_t next = components_.size() - 1; next > component; --next)
    group = shifts_ ? group >> components_[next].bits : group / components_[next].count;
  const Component &at = components_[component];
  ub8 index = group;
  if (component != 0) index = shifts_ ? group & ((ub8{1} << at.bits) - 1) : group % at.count;
  const bool combined = !at.code_by_index.empty();
  std::optional<ub8> code;
  if (index != 0 || !(combined || at.null_is_extra))
    code = combined ? at.code_by_index[index] : index - at.null_is_extra + at.first_code;
  if (code) code = columns_[column]->value_of(*code);
  return code ? Value(CodedValue{&columns_[column]->domain(), *code}) : Value();
}

} // namespace mipo::engine
