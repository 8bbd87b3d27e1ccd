#include "engine/bind/bound_conditions.h"

#include <functional>
#include <set>

#include <fmt/format.h>

#include "engine/bind/text_match.h"
#include "engine/sql/query_error.h"

namespace mipo::engine {
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

Place place_of(const BoundColumn &column, const Constant &constant) {
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

ColumnPredicate unknown(const BoundColumn &column, std::string text) {
  ColumnPredicate test;
  test.column = &column;
  test.text = std::move(text);
  return test;
}

CodeSet codes_where(const BoundColumn &column, ComparisonOperator op, const Constant &constant) {
  const Place place = place_of(column, constant);
  const ub8 first = column.domain().first_code(), end = column.domain().code_count();
  CodeSet equal(CodeRange{{place.lower, false}, {place.upper, false}});
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
CodeSet codes_of_texts(const BoundColumn &column, auto holds) {
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

ColumnPredicate test_comparison(const TestedColumn &tested, ComparisonOperator op, const Constant &constant) {
  std::string text = fmt::format("{} {} {}", text_of(tested), sql_text(op), sql_text(constant));
  if (constant.kind == Constant::Kind::null) return unknown(*tested.column, std::move(text));
  return column_predicate(*tested.column, codes_where(tested, op, constant), std::move(text));
}

ColumnPredicate test_between(const TestedColumn &tested, const Between &between) {
  ColumnPredicate test =
      combination(Junction::Kind::conjunction, test_comparison(tested, ComparisonOperator::greater_equal, between.low),
                  test_comparison(tested, ComparisonOperator::less_equal, between.high));
  if (between.negated) test = negation(std::move(test));
  test.text = fmt::format("{} {}BETWEEN {} AND {}", text_of(tested), between.negated ? "NOT " : "",
                          sql_text(between.low), sql_text(between.high));
  test.joined.reset();
  return test;
}

ColumnPredicate test_in_list(const TestedColumn &tested, const InList &list) {
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
  ColumnPredicate test = column_predicate(*tested.column, std::move(holds), {});
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
      const auto after = end_of_prefix(*prefix);
      return CodeRange{{bound(*prefix), false}, {after ? bound(*after) : domain.code_count(), true}};
    }
  }
  return codes_of_texts(*tested.column,
                        [&](std::string_view text) { return pattern.matches(in_case(tested.letter_case, text)); });
}

} // namespace

ColumnPredicate test_like(const TestedColumn &tested, const Like &like) {
  const BoundColumn &column = *tested.column;
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
  ColumnPredicate test = column_predicate(column, codes_like(tested, LikePattern(like.pattern, like.escape)), {});
  if (like.negated) test = negation(std::move(test));
  test.text = std::move(text);
  return test;
}

ColumnPredicate test_is_null(const BoundColumn &column, bool negated) {
  ColumnPredicate test = column_predicate(column, {}, {});
  test.null_holds = true;
  if (negated) test = negation(std::move(test));
  test.text = fmt::format("{} IS {}NULL", column.name, negated ? "NOT " : "");
  return test;
}

} // namespace mipo::engine
