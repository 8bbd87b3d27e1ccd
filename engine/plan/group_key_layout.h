// The numbers of groups: one for each combination of values of the columns that a query groups by.
#ifndef MIPO_ENGINE_PLAN_GROUP_KEY_LAYOUT_H
#define MIPO_ENGINE_PLAN_GROUP_KEY_LAYOUT_H

#include <optional>
#include <string>
#include <vector>

#include "engine/plan/bound_column.h"
#include "engine/plan/value.h"

namespace mipo::engine {

/// Groups of a query at most: each takes some words of memory for each aggregate.
inline constexpr ub8 most_groups = ub8{1} << 24;

/// Group numbers are put together from digits, one for each column of the first table that a column to group by is, or
/// hangs on: columns joined through one key share a digit. Either a digit is one to the base of how many there are, or
/// digits stand side by side in bits. The kernel for group keys knows both, and takes codes as digits; the kernels that
/// fold entries into group keys know the first, and take any digits.
class GroupKeyLayout {
public:
  enum class Method {
    codes,     ///< by the kernel for group keys
    folding,   ///< some columns are joined: by the kernels that look digits up by code
    row_by_row ///< some column has codes that kernels do not unpack
  };

  /// Throws QueryError if there could be more than `most_groups`.
  explicit GroupKeyLayout(const std::vector<const BoundColumn *> &columns);

  /// One above the greatest group number.
  ub8 size() const { return size_; }
  bool shifts() const { return shifts_; }
  Method method() const { return method_; }

  /// Of the columns to group by.
  std::string names() const;

  /// Digits of a number, the first one in front.
  std::size_t places() const { return places_.size(); }
  /// The column of the first table that tells the digit, and the names of those that are grouped by.
  const BoundColumn &stored(std::size_t place) const { return *places_[place].stored; }
  std::string names(std::size_t place) const;
  /// The digit, by code of a column whose codes kernels unpack.
  std::vector<ub4> digits_by_code(std::size_t place) const;
  /// What the digit counts for in a number; not where digits stand in bits.
  ub4 weight(std::size_t place) const;

  /// The number of a row's group.
  ub8 number(ub4 row) const;
  /// The value that a column to group by, in the order in which they were given, has in a group.
  Value value(ub8 group, std::size_t column) const;

private:
  struct Place {
    const BoundColumn *stored;
    std::vector<const BoundColumn *> columns; // that are told by it
    ub8 first_code = 0;                       // whose digit is 0, or 1 after that of no value
    ub8 digits = 1;                           // how many there are
    unsigned bits = 0;                        // of a code, where codes stand side by side
    bool null_is_extra = false;               // digit 0 is no value, and the others are one more
    // If some of the columns are joined: a digit for each combination of their values, 0 if all of them are missing.
    CodeMap<ub4> digit_by_code;
    std::vector<ub8> code_by_digit; // one of the codes that have it; nothing for digit 0
  };

  static void number_codes(Place &place);
  static void number_combinations(Place &place);
  static ub8 digit_of(const Place &place, std::optional<ub8> stored_code);

  std::vector<const BoundColumn *> columns_;
  std::vector<std::size_t> place_of_column_;
  std::vector<Place> places_;
  ub8 size_ = 1;
  bool shifts_ = false;
  Method method_ = Method::codes;
};

} // namespace mipo::engine

#endif
