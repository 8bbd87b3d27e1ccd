#include "key_space.h"

#include <algorithm>

#include <fmt/format.h>

#include "column_codes.h"
#include "mipo/host/translation_table.h"
#include "query_error.h"

namespace mipo::tools {
namespace {

// Up to here numbers of shifted codes are preferred: gaps between them cost no memory to speak of.
constexpr ub8 small_key_space = 1 << 16;

std::string with_separators(ub8 number) {
  std::string text = std::to_string(number);
  for (std::size_t i = text.size(); i > 3; i -= 3) text.insert(i - 3, 1, ',');
  return text;
}

} // namespace

KeySpace::Place KeySpace::place_of(const RowColumn &column) {
  const host::Domain &domain = column.domain();
  Place place{&column, 0, column.ranked.size(), 0, column.lacks_values};
  if (!column.is_joined()) {
    place.first_code = domain.has_null() ? 0 : domain.first_code(); // numbers are codes far above 0
    place.digits = domain.code_count() - place.first_code;
    place.bits = static_cast<unsigned>(column.values->data.bits());
    place.null_is_extra = column.lacks_values && !domain.has_null();
  }
  place.digits = std::max<ub8>(place.digits + place.null_is_extra, 1);
  return place;
}

KeySpace::KeySpace(const std::vector<const RowColumn *> &columns) {
  WideInteger product = 1, shifted = 1;
  std::string names;
  for (const RowColumn *column : columns) {
    const Place place = place_of(*column);
    if (!unpacks_by_kernel(column->stored()))
      method_ = Method::row_by_row;
    else if (column->is_joined() && method_ == Method::codes)
      method_ = Method::folding;
    product *= place.digits;
    if (shifted <= most_groups) shifted = place.digits + ((shifted - 1) << std::min(place.bits, 32u));
    names += (names.empty() ? "" : ", ") + column->name;
    places_.push_back(place);
    if (product > most_groups) {
      const ub8 shown = product > ~ub8{0} ? ~ub8{0} : static_cast<ub8>(product);
      std::string message = fmt::format("GROUP BY {} could give {} groups: at most {} are possible", names,
                                        with_separators(shown), with_separators(most_groups));
      if (!column->is_joined() && !column->values->data.has_dictionary())
        message += fmt::format("; with --encode {}=dict they may be fewer", column->values->name);
      throw QueryError(message);
    }
  }
  shifts_ = method_ == Method::codes && shifted <= small_key_space;
  size_ = static_cast<ub8>(shifts_ ? shifted : product);
}

ub8 KeySpace::digit_of(const Place &place, ub8 stored_code) {
  if (!place.column->is_joined()) return stored_code - place.first_code + place.null_is_extra;
  const ub4 rank = place.column->rank_by_code[stored_code];
  // Rows without partner are not asked for if there is no digit for no value.
  return rank == host::no_entry ? 0 : rank + place.null_is_extra;
}

std::vector<ub4> KeySpace::digits_by_code(std::size_t place) const {
  const Place &at = places_[place];
  std::vector<ub4> digits(at.column->stored().domain().code_count());
  for (ub8 code = at.column->is_joined() ? 0 : at.first_code; code < digits.size(); ++code)
    digits[code] = static_cast<ub4>(digit_of(at, code));
  return digits;
}

ub4 KeySpace::weight(std::size_t place) const {
  ub8 weight = 1;
  for (std::size_t behind = place + 1; behind < places_.size(); ++behind) weight *= places_[behind].digits;
  return static_cast<ub4>(weight);
}

ub8 KeySpace::number(ub4 row) const {
  ub8 number = 0;
  for (const Place &at : places_) {
    const host::EncodedColumn &data = at.column->stored().data;
    const ub8 digit = at.null_is_extra && !data.has_value(row) ? 0 : digit_of(at, data.code(row));
    number = shifts_ ? (number << at.bits) + digit : number * at.digits + digit;
  }
  return number;
}

Value KeySpace::value(ub8 group, std::size_t place) const {
  for (std::size_t behind = places_.size() - 1; behind > place; --behind)
    group = shifts_ ? group >> places_[behind].bits : group / places_[behind].digits;
  const Place &at = places_[place];
  ub8 digit = group;
  if (place != 0) digit = shifts_ ? group & ((ub8{1} << at.bits) - 1) : group % at.digits;
  if (at.null_is_extra) {
    if (digit == 0) return {};
    --digit;
  }
  const host::Domain &domain = at.column->domain();
  const ub8 code = at.column->is_joined() ? at.column->ranked[digit] : digit + at.first_code;
  if (domain.is_null(code)) return {};
  return CodedValue{&domain, code};
}

} // namespace mipo::tools
