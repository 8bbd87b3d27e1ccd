// The numbers of groups: one for each combination of values of the columns that a query groups by.
#ifndef MIPO_TOOLS_KEY_SPACE_H
#define MIPO_TOOLS_KEY_SPACE_H

#include <vector>

#include "row_column.h"
#include "value.h"

namespace mipo::tools {

/// Groups of a query at most: each takes some words of memory for each aggregate.
inline constexpr ub8 most_groups = ub8{1} << 24;

/// Group numbers are put together from a digit for each column, the first column's in front: either each digit is one
/// to the base of how many the column has, or they stand side by side in bits. The kernel for group keys knows both,
/// and takes codes as digits; the kernels that fold entries into group keys know the first, and take any digits.
class KeySpace {
public:
  enum class Method {
    codes,     ///< of columns of the first table, by the kernel for group keys
    folding,   ///< some columns are joined: by the kernels that look digits up by code
    row_by_row ///< some column has codes that kernels do not unpack
  };

  /// Throws QueryError if there could be more than `most_groups`.
  explicit KeySpace(const std::vector<const RowColumn *> &columns);

  /// One above the greatest group number.
  ub8 size() const { return size_; }
  bool shifts() const { return shifts_; }
  Method method() const { return method_; }
  std::size_t places() const { return places_.size(); }
  const RowColumn &column(std::size_t place) const { return *places_[place].column; }

  /// By stored code of the column at `place`: the digit.
  std::vector<ub4> digits_by_code(std::size_t place) const;
  /// What a digit at `place` counts for in a number; not where digits stand in bits.
  ub4 weight(std::size_t place) const;
  /// The number of a row's group.
  ub8 number(ub4 row) const;
  /// The value that the column at `place` has in a group.
  Value value(ub8 group, std::size_t place) const;

private:
  struct Place {
    const RowColumn *column;
    ub8 first_code;     // of an own column: whose digit is 0, or 1 behind that of no value
    ub8 digits;         // how many there are
    unsigned bits;      // of a code, where codes stand side by side
    bool null_is_extra; // digit 0 is no value, and the others are one more
  };

  static Place place_of(const RowColumn &column);
  static ub8 digit_of(const Place &place, ub8 stored_code);

  std::vector<Place> places_;
  ub8 size_ = 1;
  bool shifts_ = false;
  Method method_ = Method::codes;
};

} // namespace mipo::tools

#endif
