#include "engine/plan/code_set.h"

#include <algorithm>

namespace mipo::engine {

CodeSet::CodeSet(std::vector<CodeRange> ranges) {
  std::erase_if(ranges, [](const CodeRange &range) { return range.lower.code >= range.upper.code; });
  std::sort(ranges.begin(), ranges.end(),
            [](const CodeRange &a, const CodeRange &b) { return a.lower.code < b.lower.code; });
  for (const CodeRange &range : ranges) {
    if (ranges_.empty() || ranges_.back().upper.code < range.lower.code)
      ranges_.push_back(range);
    else if (ranges_.back().upper.code < range.upper.code)
      ranges_.back().upper = range.upper;
  }
}

bool CodeSet::contains(ub8 code) const {
  const auto after = std::upper_bound(ranges_.begin(), ranges_.end(), code,
                                      [](ub8 wanted, const CodeRange &range) { return wanted < range.lower.code; });
  return after != ranges_.begin() && code < std::prev(after)->upper.code;
}

CodeSet CodeSet::complement(ub8 first, ub8 end) const {
  std::vector<CodeRange> gaps;
  RangeEnd lower{first, false};
  for (const CodeRange &range : ranges_) {
    gaps.push_back({lower, {range.lower.code, !range.lower.strict}});
    lower = {range.upper.code, !range.upper.strict};
  }
  gaps.push_back({lower, {end, false}});
  return CodeSet(std::move(gaps));
}

CodeSet set_union(const CodeSet &a, const CodeSet &b) {
  std::vector<CodeRange> ranges = a.ranges();
  ranges.insert(ranges.end(), b.ranges().begin(), b.ranges().end());
  return CodeSet(std::move(ranges));
}

CodeSet set_intersection(const CodeSet &a, const CodeSet &b) {
  std::vector<CodeRange> common;
  for (auto x = a.ranges().begin(), y = b.ranges().begin(); x != a.ranges().end() && y != b.ranges().end();) {
    const bool x_ends_first = x->upper.code < y->upper.code;
    common.push_back({x->lower.code < y->lower.code ? y->lower : x->lower, x_ends_first ? x->upper : y->upper});
    ++(x_ends_first ? x : y);
  }
  return CodeSet(std::move(common));
}

} // namespace mipo::engine
