#include "engine/run/input_totals.h"

#include <algorithm>
#include <cmath>

namespace mipo::engine {
namespace {

constexpr ub8 no_least = ~ub8{0};

} // namespace

InputTotals::InputTotals(const AggregateInput &of, ub8 groups) : input(&of) {
  if (of.adds()) {
    if (of.form == AggregateInput::Form::wide)
      wide.resize(groups);
    else
      words.resize(groups);
    if (of.form != AggregateInput::Form::together) counts.resize(groups);
  }
  if (of.wants_least) least.assign(groups, no_least);
  if (of.wants_greatest) greatest.assign(groups, 0);
}

void InputTotals::merge(const InputTotals &other) {
  const auto merge_all = [](auto &into, const auto &from, auto combine) {
    for (std::size_t i = 0; i < into.size(); ++i) into[i] = combine(into[i], from[i]);
  };
  const auto add = [](auto a, auto b) { return a + b; };
  merge_all(words, other.words, add);
  merge_all(counts, other.counts, add);
  merge_all(wide, other.wide, add);
  merge_all(least, other.least, [](ub8 a, ub8 b) { return std::min(a, b); });
  merge_all(greatest, other.greatest, [](ub8 a, ub8 b) { return std::max(a, b); });
}

sb8 InputTotals::count(std::size_t group) const {
  return input->form == AggregateInput::Form::together ? words[group] >> input->count_shift : counts[group];
}

WideInteger InputTotals::sum(std::size_t group) const {
  WideInteger above_least;
  if (input->form == AggregateInput::Form::wide)
    above_least = wide[group];
  else if (input->form == AggregateInput::Form::apart)
    above_least = words[group];
  else
    above_least = words[group] & ((sb8{1} << input->count_shift) - 1);
  return above_least + input->bounds.low * count(group);
}

Value InputTotals::extreme(ub8 ordered, bool exists) const {
  if (!exists) return {};
  if (input->column != nullptr) return CodedValue{&input->column->domain(), ordered};
  return ExactNumber{input->bounds.low + ordered, input->bounds.scale};
}

Value InputTotals::value(AggregateFunction function, std::size_t group) const {
  switch (function) {
  case AggregateFunction::count:
    return ExactNumber{count(group), 0};
  case AggregateFunction::sum:
    if (count(group) == 0) return {};
    return ExactNumber{sum(group), input->bounds.scale};
  case AggregateFunction::average:
    if (count(group) == 0) return {};
    return static_cast<double>(sum(group)) / static_cast<double>(count(group)) / std::pow(10.0, input->bounds.scale);
  case AggregateFunction::minimum:
    return extreme(least[group], least[group] != no_least);
  default:
    return extreme(greatest[group] - 1, greatest[group] != 0);
  }
}

} // namespace mipo::engine
