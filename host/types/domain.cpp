#include "mipo/host/domain.h"

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

const std::string &text_of(const Literal &literal) {
  if (literal.form == Literal::Form::number) throw ValueError(literal.text + " is a number, not a text");
  return literal.text;
}

} // namespace

void Domain::append_value(std::string &out, ub8 code) const {
  if (is_null(code)) return;
  if (type_.kind == ValueKind::text)
    out += text(code);
  else
    append_number(out, type_, number(code));
}

std::string Domain::value(ub8 code) const {
  std::string out;
  append_value(out, code);
  return out;
}

template <class IsBefore>
ub8 Domain::first_not(IsBefore is_before) const {
  ub8 first = first_code_;
  for (ub8 count = code_count_ - first_code_; count > 0;) {
    const ub8 half = count / 2;
    if (is_before(first + half)) {
      first += half + 1;
      count -= half + 1;
    } else {
      count = half;
    }
  }
  return first;
}

ub8 Domain::lower_bound(const Literal &literal) const {
  if (type_.kind == ValueKind::text) {
    const std::string_view wanted = text_of(literal);
    return first_not([this, wanted](ub8 code) { return text(code) < wanted; });
  }
  const NumberPosition position = locate(type_, literal);
  if (!position.exact) return upper_bound(literal);
  return first_not([this, &position](ub8 code) { return number(code) < position.floor; });
}

ub8 Domain::upper_bound(const Literal &literal) const {
  if (type_.kind == ValueKind::text) {
    const std::string_view wanted = text_of(literal);
    return first_not([this, wanted](ub8 code) { return text(code) <= wanted; });
  }
  const NumberPosition position = locate(type_, literal);
  if (position.below_all) return first_code_;
  return first_not([this, &position](ub8 code) { return number(code) <= position.floor; });
}

std::optional<ub8> Domain::find(const Literal &literal) const {
  const CodeInterval equal = codes_where(Comparison::equal, literal);
  if (equal.empty()) return {};
  return equal.first;
}

CodeInterval Domain::codes_where(Comparison comparison, const Literal &literal) const {
  ub8 begin = first_code_;
  ub8 end = code_count_;
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

CodeInterval Domain::all_values() const noexcept {
  if (value_count_ == 0) return {};
  return {first_code_, code_count_ - 1};
}

} // namespace mipo::host
