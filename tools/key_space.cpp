#include "key_space.h"

#include <algorithm>

#include <fmt/format.h>

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

bool unpacks_by_kernel(const host::Column &column) {
  return column.data.has_dictionary() && column.data.bits() <= 32;
}

KeySpace::KeySpace(const std::vector<const host::Column *> &columns) {
  WideInteger product = 1, shifted = 1;
  std::string names;
  for (const host::Column *column : columns) {
    const host::Domain &domain = column->domain();
    const ub8 first = domain.has_null() ? 0 : domain.first_code(); // numbers are codes far above 0
    Place place{column, first, domain.code_count() - first, static_cast<unsigned>(column->data.bits()), false};
    place.null_is_extra = !column->domain().has_null() && column->data.rows_without_value() != 0;
    place.digits = std::max<ub8>(place.digits + place.null_is_extra, 1);
    by_kernel_ = by_kernel_ && unpacks_by_kernel(*column);
    product *= place.digits;
    if (shifted <= most_groups) shifted = place.digits + ((shifted - 1) << std::min(place.bits, 32u));
    names += (names.empty() ? "" : ", ") + column->name;
    places_.push_back(place);
    if (product > most_groups) {
      const ub8 shown = product > ~ub8{0} ? ~ub8{0} : static_cast<ub8>(product);
      std::string message = fmt::format("GROUP BY {} could give {} groups: at most {} are possible", names,
                                        with_separators(shown), with_separators(most_groups));
      if (!column->data.has_dictionary())
        message += fmt::format("; with --encode {}=dict they may be fewer", column->name);
      throw QueryError(message);
    }
  }
  shifts_ = by_kernel_ && shifted <= small_key_space;
  size_ = static_cast<ub8>(shifts_ ? shifted : product);
}

ub8 KeySpace::digit(std::size_t place, ub4 row) const {
  const Place &at = places_[place];
  if (!at.null_is_extra) return at.column->data.code(row) - at.first_code;
  return at.column->data.has_value(row) ? at.column->data.code(row) - at.first_code + 1 : 0;
}

ub8 KeySpace::append(ub8 number, std::size_t place, ub8 digit) const {
  return shifts_ ? (number << places_[place].bits) + digit : number * places_[place].digits + digit;
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
  const ub8 code = digit + at.first_code;
  if (domain.is_null(code)) return {};
  return CodedValue{&domain, code};
}

} // namespace mipo::tools
