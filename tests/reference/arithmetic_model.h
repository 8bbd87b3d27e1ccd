// Column arithmetic one row at a time, in memory as it lies: a result may overlap its operands, and then a later row
// reads what an earlier one wrote.
#ifndef MIPO_TESTS_REFERENCE_ARITHMETIC_MODEL_H
#define MIPO_TESTS_REFERENCE_ARITHMETIC_MODEL_H

#include "mipo/integers.h"

namespace mipo::reference {

enum class Arithmetic { add, sub, mul };

/// An operand: numbers of type T from `data` on, at any address.
struct ArithmeticOperand {
  const ub1 *data;
  ub4 rows;
  bool sortable; ///< big-endian bytes that sort as the numbers do; else native
  bool constant; ///< the first element stands for all; on the right, only if the left operand is none
};

/// Rows of the result: those of the longer operand, which the other one has to have too unless it is a constant.
ub4 result_rows(const ArithmeticOperand &left, const ArithmeticOperand &right);

/// Stores `left` operation `right` of each row, natively, from `result` on.
template <class T>
void calculate(Arithmetic operation, const ArithmeticOperand &left, const ArithmeticOperand &right, ub1 *result);

/// Adds all rows up, the first one first, then the number in the cell at `total`, and stores the sum there.
template <class T>
void calculate_sum(Arithmetic operation, const ArithmeticOperand &left, const ArithmeticOperand &right, ub1 *total);

} // namespace mipo::reference

#endif
