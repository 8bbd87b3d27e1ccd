#include "column_test.h"

#include <fmt/format.h>

#include "query_error.h"

namespace mipo::tools {
namespace {

using host::Dictionary;
using host::Literal;

// A number as the host kit reads it: SQL also allows ".5" and "5.".
Literal literal(const Constant &constant) {
  if (constant.kind == Constant::Kind::string) return {Literal::Form::string, constant.text};
  std::string text = constant.text;
  const std::size_t point = text.find('.');
  if (point != std::string::npos) {
    if (point + 1 == text.size() || text[point + 1] == 'e' || text[point + 1] == 'E') text.erase(point, 1);
    if (point == 0 || text[point - 1] == '-') text.insert(point, 1, '0');
  }
  return {Literal::Form::number, std::move(text)};
}

// Where a constant lies among the codes: `lower` is the first code whose value is not less, `upper` the first whose
// value is greater. They differ if the dictionary holds the constant.
struct Place {
  ub8 lower, upper;
};

Place place_of(const host::Column &column, const Constant &constant) {
  const Dictionary &dictionary = column.dictionary();
  // A column of empty fields is called text, but nothing is known of its type: any constant will do.
  if (dictionary.value_count() == 0 && column.type().kind == host::ValueKind::text) {
    return {dictionary.first_code(), dictionary.first_code()};
  }
  try {
    const Literal value = literal(constant);
    return {dictionary.lower_bound(value), dictionary.upper_bound(value)};
  } catch (const host::ValueError &error) {
    throw QueryError(fmt::format("column {}: {}", column.name, error.what()), constant.position);
  }
}

std::string sql_text(const Constant &constant) {
  switch (constant.kind) {
  case Constant::Kind::null:
    return "NULL";
  case Constant::Kind::number:
    return constant.text;
  case Constant::Kind::string:
    break;
  }
  std::string text = "'";
  for (const char byte : constant.text) text.append(byte == '\'' ? 2 : 1, byte);
  return text + "'";
}

ColumnTest test_of(const host::Column &column, CodeSet holds, std::string text) {
  const Dictionary &dictionary = column.dictionary();
  ColumnTest test;
  test.column = &column;
  test.fails = holds.complement(dictionary.first_code(), dictionary.code_count());
  test.holds = std::move(holds);
  test.text = std::move(text);
  return test;
}

ColumnTest unknown(const host::Column &column, std::string text) {
  ColumnTest test;
  test.column = &column;
  test.text = std::move(text);
  return test;
}

CodeSet codes_where(const host::Column &column, ComparisonOperator op, const Constant &constant) {
  const Place place = place_of(column, constant);
  const ub8 first = column.dictionary().first_code(), end = column.dictionary().code_count();
  const CodeSet equal(CodeRange{{place.lower, false}, {place.upper, false}});
  switch (op) {
  case ComparisonOperator::equal:
    return equal;
  case ComparisonOperator::not_equal:
    return equal.complement(first, end);
  case ComparisonOperator::less:
    return CodeRange{{first, false}, {place.lower, true}};
  case ComparisonOperator::less_equal:
    return CodeRange{{first, false}, {place.upper, false}};
  case ComparisonOperator::greater:
    return CodeRange{{place.upper, true}, {end, false}};
  case ComparisonOperator::greater_equal:
    return CodeRange{{place.lower, false}, {end, false}};
  }
  return {};
}

} // namespace

ColumnTest test_comparison(const host::Column &column, ComparisonOperator op, const Constant &constant) {
  std::string text = fmt::format("{} {} {}", column.name, tools::sql_text(op), sql_text(constant));
  if (constant.kind == Constant::Kind::null) return unknown(column, std::move(text));
  return test_of(column, codes_where(column, op, constant), std::move(text));
}

ColumnTest test_between(const host::Column &column, const Between &between) {
  ColumnTest test =
      combination(Junction::Kind::conjunction, test_comparison(column, ComparisonOperator::greater_equal, between.low),
                  test_comparison(column, ComparisonOperator::less_equal, between.high));
  if (between.negated) test = negation(std::move(test));
  test.text = fmt::format("{} {}BETWEEN {} AND {}", column.name, between.negated ? "NOT " : "", sql_text(between.low),
                          sql_text(between.high));
  test.joined.reset();
  return test;
}

ColumnTest test_in_list(const host::Column &column, const InList &list) {
  std::vector<CodeRange> points;
  std::string members;
  bool has_null = false;
  for (const Constant &member : list.members) {
    members += (members.empty() ? "" : ", ") + sql_text(member);
    if (member.kind == Constant::Kind::null) {
      has_null = true;
    } else {
      const Place place = place_of(column, member);
      points.push_back({{place.lower, false}, {place.upper, false}});
    }
  }
  ColumnTest test = test_of(column, CodeSet(std::move(points)), {});
  // A value that is not in the list may still equal the missing one.
  if (has_null) test.fails = {};
  if (list.negated) test = negation(std::move(test));
  test.text = fmt::format("{} {}IN ({})", column.name, list.negated ? "NOT " : "", members);
  return test;
}

ColumnTest test_is_null(const host::Column &column, const NullTest &null_test) {
  ColumnTest test = test_of(column, {}, {});
  test.null_holds = true;
  if (null_test.negated) test = negation(std::move(test));
  test.text = fmt::format("{} IS {}NULL", column.name, null_test.negated ? "NOT " : "");
  return test;
}

ColumnTest negation(ColumnTest test) {
  std::swap(test.holds, test.fails);
  std::swap(test.null_holds, test.null_fails);
  test.text = fmt::format("NOT ({})", test.text);
  test.joined.reset();
  return test;
}

std::string text_within(Junction::Kind kind, const std::string &text, std::optional<Junction::Kind> joined) {
  return joined && *joined != kind ? fmt::format("({})", text) : text;
}

ColumnTest combination(Junction::Kind kind, const ColumnTest &a, const ColumnTest &b) {
  const bool both = kind == Junction::Kind::conjunction;
  ColumnTest result;
  result.column = a.column;
  result.holds = both ? set_intersection(a.holds, b.holds) : set_union(a.holds, b.holds);
  result.fails = both ? set_union(a.fails, b.fails) : set_intersection(a.fails, b.fails);
  result.null_holds = both ? a.null_holds && b.null_holds : a.null_holds || b.null_holds;
  result.null_fails = both ? a.null_fails || b.null_fails : a.null_fails && b.null_fails;
  result.text = fmt::format("{} {} {}", text_within(kind, a.text, a.joined), both ? "AND" : "OR",
                            text_within(kind, b.text, b.joined));
  result.joined = kind;
  return result;
}

namespace {

// The condition that a call stands for, told with the dictionary's values.
std::string call_text(const host::Column &column, const KernelCall &call) {
  const auto value = [&](ub8 code) {
    const std::string text = column.dictionary().value(code);
    const host::ValueKind kind = column.type().kind;
    const bool number = kind == host::ValueKind::integer || kind == host::ValueKind::decimal;
    return sql_text({number ? Constant::Kind::number : Constant::Kind::string, text, 0});
  };
  const auto side = [&](const char *symbol, ub8 code) {
    return fmt::format("{} {} {}", column.name, symbol, value(code));
  };
  const auto both = [&](const char *low_symbol, const char *high_symbol) {
    const std::string high = side(high_symbol, call.hi);
    return column.dictionary().is_null(call.lo) ? high : fmt::format("{} AND {}", side(low_symbol, call.lo), high);
  };
  switch (call.operation) {
  case MIPO_OP_EQ:
    return column.dictionary().is_null(call.lo) ? fmt::format("{} IS NULL", column.name) : side("=", call.lo);
  case MIPO_OP_NE:
    return side("<>", call.lo);
  case MIPO_OP_LT:
    return side("<", call.lo);
  case MIPO_OP_LE:
    return side("<=", call.lo);
  case MIPO_OP_GT:
    return side(">", call.lo);
  case MIPO_OP_GE:
    return side(">=", call.lo);
  case MIPO_OP_GT_LT:
    return both(">", "<");
  case MIPO_OP_GT_LE:
    return both(">", "<=");
  case MIPO_OP_GE_LT:
    return both(">=", "<");
  default:
    return both(">=", "<=");
  }
}

// The kernel for one range, in a column whose greatest code is `greatest`. The end of all codes needs no test, so every
// constant is a code that exists.
KernelCall call_for(const CodeRange &range, ub8 greatest) {
  const ub8 first = range.lower.code, last = range.upper.code - 1;
  const bool after = range.lower.strict && first > 0, before = range.upper.strict;
  if (first == last) return {MIPO_OP_EQ, first, first, {}};
  if (last == greatest) return after ? KernelCall{MIPO_OP_GT, first - 1, 0, {}} : KernelCall{MIPO_OP_GE, first, 0, {}};
  if (first == 0) return before ? KernelCall{MIPO_OP_LT, last + 1, 0, {}} : KernelCall{MIPO_OP_LE, last, 0, {}};
  const ub8 lo = after ? first - 1 : first, hi = before ? last + 1 : last;
  if (after) return {before ? MIPO_OP_GT_LT : MIPO_OP_GT_LE, lo, hi, {}};
  return {before ? MIPO_OP_GE_LT : MIPO_OP_GE_LE, lo, hi, {}};
}

} // namespace

std::vector<KernelCall> kernel_calls(const ColumnTest &test) {
  const Dictionary &dictionary = test.column->dictionary();
  std::vector<CodeRange> ranges = test.holds.ranges();
  if (dictionary.has_null()) {
    // The first value is "greater than the code of rows without value".
    if (!ranges.empty() && ranges.front().lower.code == 1) ranges.front().lower.strict = true;
    if (test.null_holds) ranges.push_back({{0, false}, {1, false}});
  }
  const CodeSet codes(std::move(ranges));
  if (codes.empty()) return {{MIPO_OP_LT, 0, 0, test.text}}; // no code is less than 0

  const ub8 greatest = dictionary.code_count() - 1;
  const auto &parts = codes.ranges();
  std::vector<KernelCall> calls;
  if (parts.size() == 2 && parts[0].lower.code == 0 && parts[1].upper.code == greatest + 1 &&
      parts[0].upper.code + 1 == parts[1].lower.code) {
    calls.push_back({MIPO_OP_NE, parts[0].upper.code, 0, {}});
  } else {
    for (const CodeRange &range : parts) calls.push_back(call_for(range, greatest));
  }
  for (KernelCall &call : calls) call.text = calls.size() == 1 ? test.text : call_text(*test.column, call);
  return calls;
}

} // namespace mipo::tools
