// Sets of dictionary codes as ranges. Codes are in the order of the values, so a comparison with a constant is a range
// of codes, and its opposite is what is left.
#ifndef MIPO_ENGINE_PLAN_CODE_SET_H
#define MIPO_ENGINE_PLAN_CODE_SET_H

#include <vector>

#include "mipo/integers.h"

namespace mipo::engine {

/// An end of a range of codes. `strict` remembers how the query said it, so that the kernel called is the one that a
/// reader of the query expects: as lower end, `code` is included and was written "> code - 1" if strict, else
/// ">= code"; as upper end, `code` is excluded and was written "< code" if strict, else "<= code - 1".
struct RangeEnd {
  ub8 code = 0;
  bool strict = false;
};

/// The codes from `lower.code` up to `upper.code`, the latter not included.
struct CodeRange {
  RangeEnd lower, upper;
};

/// Ranges in ascending order, none empty, none touching the next.
class CodeSet {
public:
  CodeSet() = default;
  CodeSet(CodeRange range) : CodeSet(std::vector<CodeRange>{range}) {}
  /// Any ranges, also empty and overlapping ones.
  explicit CodeSet(std::vector<CodeRange> ranges);

  const std::vector<CodeRange> &ranges() const { return ranges_; }
  bool empty() const { return ranges_.empty(); }
  bool contains(ub8 code) const;
  /// The codes from `first` up to `end` (excluded) for which holds(code).
  static CodeSet where(ub8 first, ub8 end, auto holds) {
    CodeSet set;
    for (ub8 code = first; code < end; ++code) {
      if (!holds(code)) continue;
      if (set.ranges_.empty() || set.ranges_.back().upper.code != code)
        set.ranges_.push_back({{code, false}, {code + 1, false}});
      else
        ++set.ranges_.back().upper.code;
    }
    return set;
  }
  /// Calls take(code) for each code, ascending.
  void each(auto take) const {
    for (const CodeRange &range : ranges_)
      for (ub8 code = range.lower.code; code < range.upper.code; ++code) take(code);
  }

  /// The codes from `first` up to `end` (excluded) that are not in the set, which must lie within them.
  CodeSet complement(ub8 first, ub8 end) const;

private:
  std::vector<CodeRange> ranges_;
};

CodeSet set_union(const CodeSet &a, const CodeSet &b);
CodeSet set_intersection(const CodeSet &a, const CodeSet &b);

} // namespace mipo::engine

#endif
