#include "arithmetic_model.h"

#include <algorithm>
#include <cstring>

// Compiled so that the rounding of a product is not left out before it is added.

namespace mipo::reference {
namespace {

template <class T>
T native_number(const ub1 *bytes) {
  T number;
  std::memcpy(&number, bytes, sizeof number);
  return number;
}

template <class T>
T sortable_number(const ub1 *bytes) {
  ub8 pattern = 0;
  for (std::size_t i = 0; i < sizeof(T); ++i) {
    const bool positive = bytes[0] >= 0x80;
    const ub1 byte = positive ? bytes[i] : static_cast<ub1>(~bytes[i]);
    pattern = pattern << 8 | (positive && i == 0 ? byte & 0x7fu : byte);
  }
  if constexpr (sizeof(T) == 4) {
    const auto narrow = static_cast<ub4>(pattern);
    return native_number<T>(reinterpret_cast<const ub1 *>(&narrow));
  } else {
    return native_number<T>(reinterpret_cast<const ub1 *>(&pattern));
  }
}

template <class T>
T element(const ArithmeticOperand &operand, ub4 row) {
  const ub1 *bytes = operand.data + sizeof(T) * row;
  return operand.sortable ? sortable_number<T>(bytes) : native_number<T>(bytes);
}

template <class T>
T combined(Arithmetic operation, T left, T right) {
  return operation == Arithmetic::add ? left + right : operation == Arithmetic::sub ? left - right : left * right;
}

// Calls use(row, value) for each row in ascending order.
template <class T, class Use>
void for_each_row(Arithmetic operation, const ArithmeticOperand &left, const ArithmeticOperand &right, Use use) {
  const ub4 rows = result_rows(left, right);
  if (left.constant) {
    const T constant = element<T>(left, 0);
    for (ub4 row = 0; row < rows; ++row) use(row, combined(operation, constant, element<T>(right, row)));
  } else if (right.constant) {
    const T constant = element<T>(right, 0);
    for (ub4 row = 0; row < rows; ++row) use(row, combined(operation, element<T>(left, row), constant));
  } else {
    for (ub4 row = 0; row < rows; ++row) use(row, combined(operation, element<T>(left, row), element<T>(right, row)));
  }
}

} // namespace

ub4 result_rows(const ArithmeticOperand &left, const ArithmeticOperand &right) {
  return std::max(left.rows, right.rows);
}

template <class T>
void calculate(Arithmetic operation, const ArithmeticOperand &left, const ArithmeticOperand &right, ub1 *result) {
  for_each_row<T>(operation, left, right,
                  [&](ub4 row, T value) { std::memcpy(result + sizeof value * row, &value, sizeof value); });
}

template <class T>
void calculate_sum(Arithmetic operation, const ArithmeticOperand &left, const ArithmeticOperand &right, ub1 *total) {
  T sum = 0;
  for_each_row<T>(operation, left, right, [&](ub4, T value) { sum = sum + value; });
  sum = sum + native_number<T>(total);
  std::memcpy(total, &sum, sizeof sum);
}

template void calculate<float>(Arithmetic, const ArithmeticOperand &, const ArithmeticOperand &, ub1 *);
template void calculate<double>(Arithmetic, const ArithmeticOperand &, const ArithmeticOperand &, ub1 *);
template void calculate_sum<float>(Arithmetic, const ArithmeticOperand &, const ArithmeticOperand &, ub1 *);
template void calculate_sum<double>(Arithmetic, const ArithmeticOperand &, const ArithmeticOperand &, ub1 *);

} // namespace mipo::reference
