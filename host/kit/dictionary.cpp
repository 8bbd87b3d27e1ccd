#include "mipo/host/dictionary.h"

#include <algorithm>
#include <functional>
#include <limits>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

ub4 big_endian(std::size_t number) {
  return __builtin_bswap32(static_cast<ub4>(number));
}

template <class Values>
void check_ascending(const Values &values) {
  if (std::ranges::adjacent_find(values, std::ranges::greater_equal{}) != std::ranges::end(values))
    throw ArgumentError("the values of a dictionary must be strictly ascending");
}

const std::string &text_of(const Literal &literal) {
  if (literal.form == Literal::Form::number) throw ValueError(literal.text + " is a number, not a text");
  return literal.text;
}

} // namespace

Dictionary::Dictionary(const ValueType &type, std::vector<std::int64_t> numbers, bool has_null)
    : type_(type), has_null_(has_null), value_count_(numbers.size()), numbers_(std::move(numbers)) {
  if (type_.kind == ValueKind::text) throw ArgumentError("a dictionary of texts is not made of numbers");
  check_ascending(numbers_);
}

Dictionary::Dictionary(std::span<const std::string_view> texts, bool has_null)
    : type_{ValueKind::text}, has_null_(has_null), value_count_(texts.size()) {
  check_ascending(texts);
  std::size_t total = 0;
  for (const std::string_view text : texts) total += text.size();
  if (total > std::numeric_limits<ub4>::max())
    throw ArgumentError("the distinct texts of a column take more than 4 GiB together");
  bytes_.reserve(total);
  offsets_.reserve(code_count() + 1);
  if (has_null_) offsets_.push_back(0);
  for (const std::string_view text : texts) {
    offsets_.push_back(big_endian(bytes_.size()));
    bytes_ += text;
  }
  offsets_.push_back(big_endian(bytes_.size()));
}

std::string_view Dictionary::text(ub8 code) const noexcept {
  const ub4 begin = __builtin_bswap32(offsets_[code]);
  return {bytes_.data() + begin, __builtin_bswap32(offsets_[code + 1]) - begin};
}

void Dictionary::append_value(std::string &out, ub8 code) const {
  if (is_null(code)) return;
  if (type_.kind == ValueKind::text)
    out += text(code);
  else
    append_number(out, type_, number(code));
}

std::string Dictionary::value(ub8 code) const {
  std::string out;
  append_value(out, code);
  return out;
}

template <class IsBefore>
ub8 Dictionary::first_text_not(IsBefore is_before) const {
  ub8 first = first_code();
  for (ub8 count = value_count_; count > 0;) {
    const ub8 half = count / 2;
    if (is_before(text(first + half))) {
      first += half + 1;
      count -= half + 1;
    } else {
      count = half;
    }
  }
  return first;
}

ub8 Dictionary::lower_bound(const Literal &literal) const {
  if (type_.kind == ValueKind::text) {
    const std::string_view wanted = text_of(literal);
    return first_text_not([wanted](std::string_view value) { return value < wanted; });
  }
  const NumberPosition position = locate(type_, literal);
  if (!position.exact) return upper_bound(literal);
  return first_code() + static_cast<ub8>(std::ranges::lower_bound(numbers_, position.floor) - numbers_.begin());
}

ub8 Dictionary::upper_bound(const Literal &literal) const {
  if (type_.kind == ValueKind::text) {
    const std::string_view wanted = text_of(literal);
    return first_text_not([wanted](std::string_view value) { return value <= wanted; });
  }
  const NumberPosition position = locate(type_, literal);
  if (position.below_all) return first_code();
  return first_code() + static_cast<ub8>(std::ranges::upper_bound(numbers_, position.floor) - numbers_.begin());
}

std::optional<ub8> Dictionary::find(const Literal &literal) const {
  const CodeInterval equal = codes_where(Comparison::equal, literal);
  if (equal.empty()) return {};
  return equal.first;
}

CodeInterval Dictionary::codes_where(Comparison comparison, const Literal &literal) const {
  ub8 begin = first_code();
  ub8 end = code_count();
  switch (comparison) {
  case Comparison::equal:
    begin = lower_bound(literal);
    end = upper_bound(literal);
    break;
  case Comparison::less:
    end = lower_bound(literal);
    break;
  case Comparison::less_or_equal:
    end = upper_bound(literal);
    break;
  case Comparison::greater_or_equal:
    begin = lower_bound(literal);
    break;
  case Comparison::greater:
    begin = upper_bound(literal);
    break;
  }
  if (begin >= end) return {};
  return {begin, end - 1};
}

CodeInterval Dictionary::all_values() const noexcept {
  if (value_count_ == 0) return {};
  return {first_code(), code_count() - 1};
}

} // namespace mipo::host
