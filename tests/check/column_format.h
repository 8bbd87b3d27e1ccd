// The ways to store a column, as the bytes that a kernel is given.
#ifndef MIPO_TESTS_CHECK_COLUMN_FORMAT_H
#define MIPO_TESTS_CHECK_COLUMN_FORMAT_H

#include <vector>

#include "check/random.h"
#include "reference/predicate_model.h"

namespace mipo::check {

/// All the bytes that a format has, slack included.
struct StoredColumn {
  std::vector<ub1> data;
  std::vector<ub1> lens; ///< what `lens` of the vector points at; empty: nothing
};

struct ColumnFormat {
  enum class Bits { told_by_nobody, told_by_constant, told_by_column };
  enum class Counts { none, trailing_zeros, lengths };

  StoredColumn (*column)(const std::vector<reference::Value> &rows, unsigned bits);
  StoredColumn (*constant)(const reference::Value &value, unsigned bits);
  Bits bits;     ///< whose encoding context tells the width
  Counts counts; ///< stored beside the numbers
};

extern const ColumnFormat byte_aligned_codes, packed_codes;
extern const ColumnFormat fixed_values, trailing_zero_values;
extern const ColumnFormat dynamic_packed_values, counted_dynamic_packed_values;

/// How dictionary codes of a width are stored.
const ColumnFormat &code_format(unsigned width);

/// The greatest number of `bits` bits.
ub8 greatest_number(unsigned bits);

/// The number without the bytes that a dynamic-packed value of `bits` bits with this length code does not store.
ub8 stored_bytes_of(ub8 number, ub4 length_code, unsigned bits);
/// The least length code that stores the whole number.
ub4 least_length_code(ub8 number, unsigned bits);

/// `number` as a value of the format: with some count, and cut to it if the count is a length.
reference::Value some_value(ub8 number, const ColumnFormat &format, unsigned bits, Random &random);

} // namespace mipo::check

#endif
