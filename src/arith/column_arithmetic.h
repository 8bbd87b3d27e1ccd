// Arithmetic on columns of floating-point numbers: left operation right, row by row, into a column or into one sum.
#ifndef MIPO_ARITH_COLUMN_ARITHMETIC_H
#define MIPO_ARITH_COLUMN_ARITHMETIC_H

#include "column/number_columns.h"
#include "mipo/codes.h"
#include "mipo/vec.h"

namespace mipo::arith {

// The operations, on numbers and on vectors of them.
struct add {
  [[gnu::always_inline]] static auto result(auto left, auto right) { return left + right; }
};
struct sub {
  [[gnu::always_inline]] static auto result(auto left, auto right) { return left - right; }
};
struct mul {
  [[gnu::always_inline]] static auto result(auto left, auto right) { return left * right; }
};

template <class Operation, class Left, class Right>
class Results {
public:
  using Number = typename Left::Number;

  Results(Left left, Right right) : left_(left), right_(right) {}

  [[gnu::always_inline]] Number row(size_t row) const { return Operation::result(left_.row(row), right_.row(row)); }
  [[gnu::always_inline]] auto vector(size_t row) const {
    return Operation::result(left_.vector(row), right_.vector(row));
  }
  bool overlaps_forward(const ub1 *results) const {
    return left_.overlaps_forward(results) || right_.overlaps_forward(results);
  }

private:
  Left left_;
  Right right_;
};

template <class Operation, bool is_sum, class Left, class Right>
ub4 evaluate(mipo_vec *res, Left left, Right right, size_t rows) {
  const Results<Operation, Left, Right> results(left, right);
  if constexpr (is_sum)
    column::add_rows(res->data, results, rows);
  else
    column::store_rows(res->data, results, rows);
  return MIPO_DONE;
}

/// An operation on operands of two forms. Finds out which of them is constant: beside a constant on the left, the right
/// one counts as a column whatever it says.
template <class Operation, class LeftForm, class RightForm, bool is_sum>
ub4 evaluate_columns(mipo_vec *res, const mipo_vec *left, const mipo_vec *right) {
  const size_t rows = left->nrows > right->nrows ? left->nrows : right->nrows;
  const column::NumberColumn<LeftForm> left_column(left->data);
  const column::NumberColumn<RightForm> right_column(right->data);
  if (MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(left), MIPO_CONST))
    return evaluate<Operation, is_sum>(res, column::NumberConstant<LeftForm>(left->data), right_column, rows);
  if (MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(right), MIPO_CONST))
    return evaluate<Operation, is_sum>(res, left_column, column::NumberConstant<RightForm>(right->data), rows);
  return evaluate<Operation, is_sum>(res, left_column, right_column, rows);
}

} // namespace mipo::arith

#endif
