#include "engine/run/inner_queries.h"

#include <algorithm>

#include "engine/plan/equal_values.h"
#include "mipo/host/translation_table.h"

namespace mipo::engine {
namespace {

// The codes of `column` whose values are among those that `codes` are in the domain of `source`.
CodeSet equal_codes(const BoundColumn &column, const BoundColumn &source, const std::vector<ub8> &codes,
                    std::size_t position) {
  using host::Literal;
  const host::Domain &from = source.domain(), &to = column.domain();
  std::vector<CodeRange> points;
  const auto add = [&](ub8 code) { points.push_back({{code, false}, {code + 1, false}}); };
  if (std::max(index_count(from), index_count(to)) <= most_join_codes) {
    const std::vector<ub4> equal = equal_values(source, column, position);
    for (const ub8 code : codes)
      if (const ub4 value = equal[code - from.first_code()]; value != host::no_entry) add(value + to.first_code());
  } else {
    const Literal::Form form = host::is_number(from.type().kind) ? Literal::Form::number : Literal::Form::string;
    for (const ub8 code : codes)
      if (const std::optional<ub8> found = to.find({form, from.value(code)})) add(*found);
  }
  return CodeSet(std::move(points));
}

} // namespace

ColumnPredicate InnerQueries::predicate(const InQueryTest &in) const {
  Output &output =
      *std::find_if(outputs_.begin(), outputs_.end(), [&](const auto &of) { return of.first == in.query; })->second;
  output.run();
  std::vector<ub8> codes;
  bool has_null = false;
  for (std::size_t row = 0; row < output.rows(); ++row) {
    const Value value = output.value(row, 0);
    if (value.is_null())
      has_null = true;
    else
      codes.push_back(value.coded()->code);
  }
  std::sort(codes.begin(), codes.end());
  codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
  const BoundColumn &source = *source_column(in.query->output.front().value, *in.query);
  ColumnPredicate test = column_predicate(*in.column, equal_codes(*in.column, source, codes, in.position), in.text);
  if (has_null) test.fails = {};                // a value that is not in the list may still equal the missing one
  test.null_fails = codes.empty() && !has_null; // nothing is among no rows, not even what is unknown
  test.from_other_rows = true;
  return test;
}

void InnerQueries::profile(std::vector<KernelProfile> &calls) const {
  for (const auto &[plan, output] : outputs_) {
    const std::vector<KernelProfile> of_query = output->profile();
    calls.insert(calls.end(), of_query.begin(), of_query.end());
  }
}

} // namespace mipo::engine
