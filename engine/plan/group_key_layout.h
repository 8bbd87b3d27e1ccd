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

/// A group's number has a component for each column of the first table that a column to group by is, or hangs on:
/// columns joined through one key share one. A component is an index below its count. Indices are either put together
/// as in a mixed-radix number, or stand side by side in bits. The kernel for group keys knows both, and takes codes as
/// indices; the kernels that fold entries into group keys know the first, and take any indices.
class GroupKeyLayout {
public:
  enum class Method {
    codes,     ///< by the kernel for group keys
    folding,   ///< some columns are joined: by the kernels that look indices up by code
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

  /// Indices of a number, the first one in front.
  std::size_t components() const { return components_.size(); }
  /// The column of the first table that tells the index, and the names of those that are grouped by.
  const BoundColumn &stored(std::size_t component) const { return *components_[component].stored; }
  std::string names(std::size_t component) const;
  /// The index, by code of a column whose codes kernels unpack.
  std::vector<ub4> indices_by_code(std::size_t component) const;
  /// What the index counts for in a number; not where indices stand in bits.
  ub4 weight(std::size_t component) const;

  /// The number of a row's group.
  ub8 number(ub4 row) const;
  /// The value that a column to group by, in the order in which they were given, has in a group.
  Value value(ub8 group, std::size_t column) const;

private:
  struct Component {
    const BoundColumn *stored;
    std::vector<const BoundColumn *> columns; // that are told by it
    ub8 first_code = 0;                       // whose index is 0, or 1 after that of no value
    ub8 count = 1;                            // of its indices
    unsigned bits = 0;                        // of a code, where codes stand side by side
    bool null_is_extra = false;               // index 0 is no value, and the others are one more
    // If some of the columns are joined: an index for each combination of their values, 0 if all of them are missing.
    CodeMap<ub4> index_by_code;
    std::vector<ub8> code_by_index; // one of the codes that have it; nothing for index 0
  };

  static void number_codes(Component &component);
  static void number_combinations(Component &component);
  static ub8 index_of(const Component &component, std::optional<ub8> stored_code);

  std::vector<const BoundColumn *> columns_;
  std::vector<std::size_t> component_of_column_;
  std::vector<Component> components_;
  ub8 size_ = 1;
  bool shifts_ = false;
  Method method_ = Method::codes;
};

} // namespace mipo::engine

#endif
