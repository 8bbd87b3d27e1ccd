// The numbers of groups: one for each combination of codes of the columns that a query groups by.
#ifndef MIPO_TOOLS_KEY_SPACE_H
#define MIPO_TOOLS_KEY_SPACE_H

#include <vector>

#include "mipo/host/table.h"
#include "value.h"

namespace mipo::tools {

/// Groups of a query at most: each takes some words of memory for each aggregate.
inline constexpr ub8 most_groups = ub8{1} << 24;

/// Group numbers are put together from codes, the first column's in front: either each code is a digit to the base of
/// its column's code count, or the codes stand side by side in bits. The kernel for group keys knows both.
class KeySpace {
public:
  /// Throws QueryError if there could be more than `most_groups`.
  explicit KeySpace(const std::vector<const host::Column *> &columns);

  /// One above the greatest group number.
  ub8 size() const { return size_; }
  bool shifts() const { return shifts_; }
  /// Whether all columns have dictionary codes that kernels read.
  bool by_kernel() const { return by_kernel_; }

  /// A row's part of the number, of the column at `place`; 0 for a row without value if the column has such rows.
  ub8 digit(std::size_t place, ub4 row) const;
  /// The next column's digit appended to a number.
  ub8 append(ub8 number, std::size_t place, ub8 digit) const;
  /// The value that the column at `place` has in a group.
  Value value(ub8 group, std::size_t place) const;

private:
  struct Place {
    const host::Column *column;
    ub8 first_code;     // whose digit is 0, or 1 behind that of no value
    ub8 digits;         // how many there are
    unsigned bits;      // of a code, where codes stand side by side
    bool null_is_extra; // digit 0 is no value, and codes are one less than their digits
  };

  std::vector<Place> places_;
  ub8 size_ = 1;
  bool shifts_ = false, by_kernel_ = true;
};

/// Whether a kernel unpacks the column's codes.
bool unpacks_by_kernel(const host::Column &column);

} // namespace mipo::tools

#endif
