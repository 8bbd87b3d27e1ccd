#include "column_test.h"

#include <functional>
#include <set>

#include <fmt/format.h>

#include "joined_rows.h"
#include "mipo/host/translation_table.h"
#include "query_error.h"
#include "text_match.h"

namespace mipo::tools {
namespace {

using host::Domain;
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

Place place_of(const RowColumn &column, const Constant &constant) {
  const Domain &domain = column.domain();
  // A column of empty fields is called text, but nothing is known of its type: any constant will do.
  if (domain.value_count() == 0 && column.type().kind == host::ValueKind::text) {
    return {domain.first_code(), domain.first_code()};
  }
  try {
    const Literal value = literal(constant);
    return {domain.lower_bound(value), domain.upper_bound(value)};
  } catch (const host::ValueError &error) {
    throw QueryError(fmt::format("column {}: {}{}", column.name, error.what(), number_hint(*column.values)),
                     constant.position);
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

ColumnTest test_of(const RowColumn &column, CodeSet holds, std::string text) {
  ColumnTest test;
  test.column = &column;
  test.fails = holds.complement(column.domain().first_code(), column.domain().code_count());
  test.holds = std::move(holds);
  test.text = std::move(text);
  return test;
}

ColumnTest unknown(const RowColumn &column, std::string text) {
  ColumnTest test;
  test.column = &column;
  test.text = std::move(text);
  return test;
}

CodeSet codes_where(const RowColumn &column, ComparisonOperator op, const Constant &constant) {
  const Place place = place_of(column, constant);
  const ub8 first = column.domain().first_code(), end = column.domain().code_count();
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

// Codes of the texts for which holds(text) is true: each distinct text is looked at once.
CodeSet codes_of_texts(const RowColumn &column, auto holds) {
  std::vector<CodeRange> points;
  for (ub8 code = column.domain().first_code(); code < column.domain().code_count(); ++code) {
    if (holds(column.domain().text(code))) points.push_back({{code, false}, {code + 1, false}});
  }
  return CodeSet(std::move(points));
}

bool compares(const std::string &text, ComparisonOperator op, const std::string &constant) {
  switch (op) {
  case ComparisonOperator::equal:
    return text == constant;
  case ComparisonOperator::not_equal:
    return text != constant;
  case ComparisonOperator::less:
    return text < constant;
  case ComparisonOperator::less_equal:
    return text <= constant;
  case ComparisonOperator::greater:
    return text > constant;
  case ComparisonOperator::greater_equal:
    return text >= constant;
  }
  return false;
}

CodeSet codes_where(const TestedColumn &tested, ComparisonOperator op, const Constant &constant) {
  if (tested.letter_case == LetterCase::as_is) return codes_where(*tested.column, op, constant);
  (void)place_of(*tested.column, constant); // refuses what cannot be compared with text
  return codes_of_texts(*tested.column, [&](std::string_view text) {
    return compares(in_case(tested.letter_case, text), op, constant.text);
  });
}

std::string text_of(const TestedColumn &tested) {
  switch (tested.letter_case) {
  case LetterCase::upper:
    return fmt::format("upper({})", tested.column->name);
  case LetterCase::lower:
    return fmt::format("lower({})", tested.column->name);
  case LetterCase::as_is:
    break;
  }
  return tested.column->name;
}

} // namespace

ColumnTest test_comparison(const TestedColumn &tested, ComparisonOperator op, const Constant &constant) {
  std::string text = fmt::format("{} {} {}", text_of(tested), tools::sql_text(op), sql_text(constant));
  if (constant.kind == Constant::Kind::null) return unknown(*tested.column, std::move(text));
  return test_of(*tested.column, codes_where(tested, op, constant), std::move(text));
}

ColumnTest test_between(const TestedColumn &tested, const Between &between) {
  ColumnTest test =
      combination(Junction::Kind::conjunction, test_comparison(tested, ComparisonOperator::greater_equal, between.low),
                  test_comparison(tested, ComparisonOperator::less_equal, between.high));
  if (between.negated) test = negation(std::move(test));
  test.text = fmt::format("{} {}BETWEEN {} AND {}", text_of(tested), between.negated ? "NOT " : "",
                          sql_text(between.low), sql_text(between.high));
  test.joined.reset();
  return test;
}

ColumnTest test_in_list(const TestedColumn &tested, const InList &list) {
  std::string members;
  bool has_null = false;
  std::vector<CodeRange> points;
  std::set<std::string, std::less<>> texts; // of members that letters of one case are compared with
  for (const Constant &member : list.members) {
    members += (members.empty() ? "" : ", ") + sql_text(member);
    if (member.kind == Constant::Kind::null) {
      has_null = true;
      continue;
    }
    const Place place = place_of(*tested.column, member);
    points.push_back({{place.lower, false}, {place.upper, false}});
    texts.insert(member.text);
  }
  CodeSet holds = tested.letter_case == LetterCase::as_is ? CodeSet(std::move(points))
                                                          : codes_of_texts(*tested.column, [&](std::string_view text) {
                                                              return texts.contains(in_case(tested.letter_case, text));
                                                            });
  ColumnTest test = test_of(*tested.column, std::move(holds), {});
  // A value that is not in the list may still equal the missing one.
  if (has_null) test.fails = {};
  if (list.negated) test = negation(std::move(test));
  test.text = fmt::format("{} {}IN ({})", text_of(tested), list.negated ? "NOT " : "", members);
  return test;
}

namespace {

// Texts in one case are looked at one by one; else the order of the dictionary serves where the pattern allows it.
CodeSet codes_like(const TestedColumn &tested, const LikePattern &pattern) {
  const Domain &domain = tested.column->domain();
  const auto bound = [&](const std::string &text) { return domain.lower_bound({Literal::Form::string, text}); };
  if (tested.letter_case == LetterCase::as_is) {
    if (const auto text = pattern.only_text()) {
      return CodeRange{{bound(*text), false}, {domain.upper_bound({Literal::Form::string, *text}), false}};
    }
    if (const auto prefix = pattern.only_prefix()) {
      const auto behind = behind_prefix(*prefix);
      return CodeRange{{bound(*prefix), false}, {behind ? bound(*behind) : domain.code_count(), true}};
    }
  }
  return codes_of_texts(*tested.column,
                        [&](std::string_view text) { return pattern.matches(in_case(tested.letter_case, text)); });
}

} // namespace

ColumnTest test_like(const TestedColumn &tested, const Like &like) {
  const RowColumn &column = *tested.column;
  const bool null_operand =
      like.pattern.kind == Constant::Kind::null || (like.escape && like.escape->kind == Constant::Kind::null);
  std::string text = fmt::format("{} {}LIKE {}", text_of(tested), like.negated ? "NOT " : "", sql_text(like.pattern));
  if (like.escape) text += fmt::format(" ESCAPE {}", sql_text(*like.escape));
  if (column.type().kind != host::ValueKind::text) {
    throw QueryError(
        fmt::format("column {}: LIKE is for text, and the column is {}", column.name, host::type_name(column.type())),
        like.pattern.position);
  }
  if (null_operand) return unknown(column, std::move(text));
  for (const Constant *operand : {&like.pattern, like.escape ? &*like.escape : &like.pattern}) {
    if (operand->kind == Constant::Kind::number)
      throw QueryError("LIKE takes texts: write the pattern between single quotes", operand->position);
  }
  ColumnTest test = test_of(column, codes_like(tested, LikePattern(like.pattern, like.escape)), {});
  if (like.negated) test = negation(std::move(test));
  test.text = std::move(text);
  return test;
}

ColumnTest test_is_null(const RowColumn &column, bool negated) {
  ColumnTest test = test_of(column, {}, {});
  test.null_holds = true;
  if (negated) test = negation(std::move(test));
  test.text = fmt::format("{} IS {}NULL", column.name, negated ? "NOT " : "");
  return test;
}

ColumnTest test_of_codes(const RowColumn &column, const std::function<bool(ub8)> &holds, std::string text) {
  std::vector<CodeRange> points;
  const Domain &domain = column.domain();
  for (ub8 code = domain.first_code(); code < domain.code_count(); ++code)
    if (holds(code)) points.push_back({{code, false}, {code + 1, false}});
  ColumnTest test = test_of(column, CodeSet(std::move(points)), std::move(text));
  test.null_fails = true;
  test.from_other_rows = true;
  return test;
}

namespace {

// The codes of `column` whose values are among those of a query.
CodeSet equal_codes(const RowColumn &column, const QueryValues &values, std::size_t position) {
  const Domain &from = values.column.domain(), &to = column.domain();
  check_comparable(values.column, column, position);
  std::vector<CodeRange> points;
  const auto add = [&](ub8 code) { points.push_back({{code, false}, {code + 1, false}}); };
  if (std::max(index_count(from), index_count(to)) <= most_join_codes) {
    const std::vector<ub4> equal = equal_values(values.column, column, position);
    for (const ub8 code : values.codes)
      if (const ub4 value = equal[code - from.first_code()]; value != host::no_entry) add(value + to.first_code());
  } else {
    const Literal::Form form = host::is_number(from.type().kind) ? Literal::Form::number : Literal::Form::string;
    for (const ub8 code : values.codes)
      if (const std::optional<ub8> found = to.find({form, from.value(code)})) add(*found);
  }
  return CodeSet(std::move(points));
}

} // namespace

ColumnTest test_in_query(const TestedColumn &tested, const InQuery &in, const QueryValues &values) {
  if (tested.letter_case != LetterCase::as_is)
    throw QueryError("upper() and lower() with a sub-select are not supported yet", in.position);
  const RowColumn &column = *tested.column;
  ColumnTest test =
      test_of(column, equal_codes(column, values, in.position), fmt::format("{} IN {}", column.name, in.text));
  if (values.has_null) test.fails = {}; // a value that is not in the list may still equal the missing one
  test.null_fails = values.codes.empty() && !values.has_null; // nothing is among no rows, not even what is unknown
  test.from_other_rows = true;
  return test;
}

ColumnTest on_stored(ColumnTest test) {
  const RowColumn &column = *test.column;
  if (!column.is_joined()) return test;
  const RowColumn &key = *column.key;
  std::vector<CodeRange> holds, fails;
  for (ub8 code = key.domain().first_code(); code < key.domain().code_count(); ++code) {
    const std::optional<ub8> value = column.value_of(code);
    const CodeRange point{{code, false}, {code + 1, false}};
    if (value ? test.holds.contains(*value) : test.null_holds) holds.push_back(point);
    if (value ? test.fails.contains(*value) : test.null_fails) fails.push_back(point);
  }
  test.column = &key;
  test.holds = CodeSet(std::move(holds));
  test.fails = CodeSet(std::move(fails));
  test.from_other_rows = true;
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
  result.from_other_rows = a.from_other_rows || b.from_other_rows;
  result.null_fails = both ? a.null_fails || b.null_fails : a.null_fails && b.null_fails;
  result.text = fmt::format("{} {} {}", text_within(kind, a.text, a.joined), both ? "AND" : "OR",
                            text_within(kind, b.text, b.joined));
  result.joined = kind;
  return result;
}

namespace {

// The condition that a call stands for, told with the column's values.
std::string call_text(const RowColumn &column, const KernelCall &call) {
  const auto value = [&](ub8 code) {
    return sql_text({host::is_number(column.type().kind) ? Constant::Kind::number : Constant::Kind::string,
                     column.domain().value(code), 0});
  };
  const auto side = [&](const char *symbol, ub8 code) {
    return fmt::format("{} {} {}", column.name, symbol, value(code));
  };
  const auto both = [&](const char *low_symbol, const char *high_symbol) {
    return fmt::format("{} AND {}", side(low_symbol, call.lo), side(high_symbol, call.hi));
  };
  if (call.complemented || call.sees_null_code) return fmt::format("{} IS NULL", column.name);
  switch (call.operation) {
  case MIPO_OP_EQ:
    return side("=", call.lo);
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

KernelCall predicate_call(mipo_operation operation, ub8 lo, ub8 hi = 0) {
  KernelCall call;
  call.operation = operation;
  call.lo = lo;
  call.hi = hi;
  return call;
}

// The kernel for one range. The ends of all codes need no test, so every constant is a code that exists.
KernelCall call_for(const CodeRange &range, const Domain &domain) {
  const ub8 least = domain.first_code(), greatest = domain.code_count() - 1;
  const ub8 first = range.lower.code, last = range.upper.code - 1;
  const bool after = range.lower.strict && first > least, before = range.upper.strict && last < greatest;
  if (first == last) return predicate_call(MIPO_OP_EQ, first);
  if (last == greatest) return after ? predicate_call(MIPO_OP_GT, first - 1) : predicate_call(MIPO_OP_GE, first);
  if (first == least) return before ? predicate_call(MIPO_OP_LT, last + 1) : predicate_call(MIPO_OP_LE, last);
  const ub8 lo = after ? first - 1 : first, hi = before ? last + 1 : last;
  if (after) return predicate_call(before ? MIPO_OP_GT_LT : MIPO_OP_GT_LE, lo, hi);
  return predicate_call(before ? MIPO_OP_GE_LT : MIPO_OP_GE_LE, lo, hi);
}

// The rows without value: those with code 0, or those that a column of numbers has no value for.
KernelCall null_call(const RowColumn &column) {
  if (column.domain().has_null()) {
    KernelCall call = predicate_call(MIPO_OP_EQ, 0);
    call.sees_null_code = true;
    return call;
  }
  if (column.stored().data.validity() == nullptr) return predicate_call(MIPO_OP_LT, 0); // no code is less than 0
  KernelCall call = predicate_call(MIPO_OP_GE, column.domain().first_code());
  call.complemented = true;
  return call;
}

KernelCall set_call(mipo_operation operation, std::vector<CodeRange> members, bool with_null) {
  if (with_null) members.push_back({{0, false}, {1, false}});
  KernelCall call = predicate_call(operation, 0);
  call.set = CodeSet(std::move(members));
  return call;
}

// Kernels for sets exist for codes up to 32 bits.
bool has_set_kernel(const RowColumn &column) {
  return column.stored().data.has_dictionary() && column.stored().data.bits() <= 32;
}

} // namespace

std::vector<KernelCall> kernel_calls(const ColumnTest &test) {
  const RowColumn &column = *test.column;
  const Domain &domain = column.domain();
  const auto &ranges = test.holds.ranges();
  const bool has_nulls = domain.has_null() || column.stored().data.validity() != nullptr;
  const bool takes_nulls = test.null_holds && has_nulls;

  std::vector<KernelCall> calls;
  const bool all_but_one = ranges.size() == 2 && ranges[0].lower.code == domain.first_code() &&
                           ranges[1].upper.code == domain.code_count() &&
                           ranges[0].upper.code + 1 == ranges[1].lower.code;
  const bool nulls_are_code_0 = takes_nulls && domain.has_null();
  if (all_but_one && (!takes_nulls || nulls_are_code_0)) {
    calls.push_back(predicate_call(MIPO_OP_NE, ranges[0].upper.code));
    calls.back().sees_null_code = nulls_are_code_0;
  } else if (nulls_are_code_0 && ranges.size() == 1 && ranges[0].lower.code == domain.first_code()) {
    const RangeEnd end = ranges[0].upper;
    const bool before = end.strict && end.code < domain.code_count();
    calls.push_back(before ? predicate_call(MIPO_OP_LT, end.code) : predicate_call(MIPO_OP_LE, end.code - 1));
    calls.back().sees_null_code = true;
  } else if (ranges.size() + nulls_are_code_0 > 1 && test.from_other_rows && index_count(domain) <= most_join_codes) {
    calls.push_back(set_call(MIPO_OP_XLATE, ranges, nulls_are_code_0));
    if (takes_nulls && !nulls_are_code_0) calls.push_back(null_call(column));
  } else if (ranges.size() + takes_nulls > 1 && has_set_kernel(column)) {
    calls.push_back(set_call(MIPO_OP_SET, ranges, takes_nulls));
  } else {
    for (const CodeRange &range : ranges) calls.push_back(call_for(range, domain));
    if (takes_nulls) calls.push_back(null_call(column));
  }
  if (calls.empty()) calls.push_back(predicate_call(MIPO_OP_LT, 0)); // no code is less than 0
  for (KernelCall &call : calls)
    call.text = calls.size() == 1 || !call.set.empty() ? test.text : call_text(column, call);
  return calls;
}

} // namespace mipo::tools
