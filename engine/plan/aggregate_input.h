// An argument of aggregates: which values it has, how their sums are held in words, and its values for a chunk of rows.
#ifndef MIPO_ENGINE_PLAN_AGGREGATE_INPUT_H
#define MIPO_ENGINE_PLAN_AGGREGATE_INPUT_H

#include <vector>

#include "engine/plan/plan.h"

namespace mipo::engine {

/// What is known of an expression's values ahead: digits / 10^scale, with the digits from `low` to `high`.
struct NumberBounds {
  WideInteger low = 0, high = 0;
  int scale = 0;
};

/// Calculations are made in doubles, whose integers are exact up to here.
inline constexpr WideInteger exact_in_doubles = WideInteger{1} << 53;

/// Of a calculation with columns. Throws QueryError if a step of it may leave what doubles hold exactly.
NumberBounds bounds_of(const BoundExpression &expression);

/// An argument, and all that the plan wants of it.
struct AggregateInput {
  /// How sum and count are held.
  enum class Form {
    together, ///< in one word: count << count_shift | sum
    apart,    ///< a word each
    wide      ///< the sum in two words
  };

  AggregateInput(const BoundExpression &expression, ub8 rows);

  const BoundExpression *argument;
  const BoundColumn *column; ///< if it is nothing but a column
  NumberBounds bounds;       ///< of a column without numbers: all 0
  bool nullable;
  bool wants_sum = false, wants_count = false, wants_least = false, wants_greatest = false;
  Form form;
  unsigned count_shift;
  std::string text;

  /// What a value adds to the word that holds its group's sum.
  sb8 word(WideInteger digits) const {
    return static_cast<sb8>(digits - bounds.low) + (form == Form::together ? sb8{1} << count_shift : 0);
  }
  bool adds() const { return wants_sum || wants_count; }
  bool has_extremes() const { return wants_least || wants_greatest; }
  /// word() by stored code, of a column of dictionary codes.
  CodeMap<sb8> words_by_code() const;
};

} // namespace mipo::engine

#endif
