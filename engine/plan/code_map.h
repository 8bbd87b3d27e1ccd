// What hangs on one column is settled once for each of its codes: a value by code.
#ifndef MIPO_ENGINE_PLAN_CODE_MAP_H
#define MIPO_ENGINE_PLAN_CODE_MAP_H

#include <utility>
#include <vector>

#include "mipo/host/domain.h"

namespace mipo::engine {

/// Codes as indices of arrays: those of dictionaries as they are, those of numbers above the least.
inline ub8 index_base(const host::Domain &domain) {
  return domain.first_code() <= 1 ? 0 : domain.first_code();
}
inline ub8 index_count(const host::Domain &domain) {
  return domain.code_count() - index_base(domain);
}

/// A value for each code of a domain, that of NULL included if a dictionary has it.
template <class T>
class CodeMap {
public:
  CodeMap() = default;
  explicit CodeMap(const host::Domain &domain, T value = {})
      : base_(index_base(domain)), values_(index_count(domain), std::move(value)) {}

  bool empty() const { return values_.empty(); }
  typename std::vector<T>::reference operator[](ub8 code) { return values_[code - base_]; }
  typename std::vector<T>::const_reference operator[](ub8 code) const { return values_[code - base_]; }
  /// The first code, and the one after the last.
  ub8 begin_code() const { return base_; }
  ub8 end_code() const { return base_ + values_.size(); }
  /// By index: code less begin_code(), which is 0 for dictionaries.
  const std::vector<T> &by_index() const { return values_; }

private:
  ub8 base_ = 0;
  std::vector<T> values_;
};

} // namespace mipo::engine

#endif
