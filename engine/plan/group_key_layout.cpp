#include "engine/plan/group_key_layout.h"

#include <algorithm>

#include <fmt/format.h>

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

void GroupKeyLayout::number_codes(Place &place) {
  const host::Domain &domain = place.stored->domain();
  place.first_code = domain.has_null() ? 0 : domain.first_code(); // numbers are codes far above 0
  place.bits = static_cast<unsigned>(place.stored->values->data.bits());
  place.null_is_extra = place.stored->nullable && !domain.has_null();
  place.digits = std::max<ub8>(domain.code_count() - place.first_code + place.null_is_extra, 1);
}

void GroupKeyLayout::number_combinations(Place &place) {
  const host::Domain &domain = place.stored->domain();
  const ub8 first = domain.first_code();
  CodeMap<ub4> &digits = place.digit_by_code;
  digits = CodeMap<ub4>(domain);
  CodeMap<bool> never_there(domain);
  CodeMap<ub8> pairs(domain);
  const ub8 begin = digits.begin_code(), end = digits.end_code();
  // Column by column: a digit for each pair of the digit so far and the rank of the column's value, 0 for no value.
  for (const BoundColumn *column : place.columns) {
    const ub8 ranks = 1 + (column->is_joined() ? column->ranked.size() : domain.code_count() - first);
    for (ub8 code = begin; code < end; ++code) {
      const ub8 rank = column->is_joined() ? ub8{column->rank[code] + 1} // no_entry becomes 0
                       : code < first      ? 0
                                           : code - first + 1;
      pairs[code] = digits[code] * ranks + rank;
      never_there[code] = never_there[code] || (rank == 0 && !column->nullable);
    }
    std::vector<ub8> distinct = pairs.by_index();
    distinct.push_back(0);
    std::sort(distinct.begin(), distinct.end());
    distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
    for (ub8 code = begin; code < end; ++code)
      digits[code] =
          static_cast<ub4>(std::lower_bound(distinct.begin(), distinct.end(), pairs[code]) - distinct.begin());
    place.digits = distinct.size();
  }
  place.code_by_digit.assign(place.digits, begin);
  for (ub8 code = begin; code < end; ++code) {
    if (never_there[code]) digits[code] = 0; // no row has this code: its partner is missing
    place.code_by_digit[digits[code]] = code;
  }
}

GroupKeyLayout::GroupKeyLayout(const std::vector<const BoundColumn *> &columns) : columns_(columns) {
  for (const BoundColumn *column : columns) {
    const BoundColumn *stored = column->is_joined() ? column->key : column;
    const auto same = std::find_if(places_.begin(), places_.end(),
                                   [&](const Place &place) { return place.stored->values == stored->values; });
    place_of_column_.push_back(static_cast<std::size_t>(same - places_.begin()));
    if (same == places_.end()) places_.emplace_back().stored = stored;
    places_[place_of_column_.back()].columns.push_back(column);
  }
  WideInteger product = 1, shifted = 1;
  std::string hint;
  for (Place &place : places_) {
    const bool joined = std::any_of(place.columns.begin(), place.columns.end(),
                                    [](const BoundColumn *column) { return column->is_joined(); });
    if (joined)
      number_combinations(place);
    else
      number_codes(place);
    if (!has_code_kernels(place.stored->stored()))
      method_ = Method::row_by_row;
    else if (joined && method_ == Method::codes)
      method_ = Method::folding;
    if (!joined && hint.empty()) hint = dictionary_hint(*place.stored);
    if (product <= ~ub8{0}) product *= place.digits;
    if (shifted <= most_groups) shifted = place.digits + ((shifted - 1) << std::min(place.bits, 32u));
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

std::string GroupKeyLayout::names(std::size_t place) const {
  return names_of(places_[place].columns);
}

ub8 GroupKeyLayout::digit_of(const Place &place, std::optional<ub8> stored_code) {
  if (!stored_code) return 0;
  if (!place.digit_by_code.empty()) return place.digit_by_code[*stored_code];
  return *stored_code - place.first_code + place.null_is_extra;
}

std::vector<ub4> GroupKeyLayout::digits_by_code(std::size_t place) const {
  const Place &at = places_[place];
  if (!at.digit_by_code.empty()) return at.digit_by_code.by_index();
  std::vector<ub4> digits(at.stored->domain().code_count());
  for (ub8 code = at.first_code; code < digits.size(); ++code) digits[code] = static_cast<ub4>(digit_of(at, code));
  return digits;
}

ub4 GroupKeyLayout::weight(std::size_t place) const {
  ub8 weight = 1;
  for (std::size_t behind = place + 1; behind < places_.size(); ++behind) weight *= places_[behind].digits;
  return static_cast<ub4>(weight);
}

ub8 GroupKeyLayout::number(ub4 row) const {
  ub8 number = 0;
  for (const Place &at : places_) {
    const ub8 digit = digit_of(at, at.stored->code(row));
    number = shifts_ ? (number << at.bits) + digit : number * at.digits + digit;
  }
  return number;
}

Value GroupKeyLayout::value(ub8 group, std::size_t column) const {
  const std::size_t place = place_of_column_[column];
  for (std::size_t behind = places_.size() - 1; behind > place; --behind)
    group = shifts_ ? group >> places_[behind].bits : group / places_[behind].digits;
  const Place &at = places_[place];
  ub8 digit = group;
  if (place != 0) digit = shifts_ ? group & ((ub8{1} << at.bits) - 1) : group % at.digits;
  const bool combined = !at.code_by_digit.empty();
  std::optional<ub8> code;
  if (digit != 0 || !(combined || at.null_is_extra))
    code = combined ? at.code_by_digit[digit] : digit - at.null_is_extra + at.first_code;
  if (code) code = columns_[column]->value_of(*code);
  return code ? Value(CodedValue{&columns_[column]->domain(), *code}) : Value();
}

} // namespace mipo::engine
