// The sorted dictionary of a column: codes stand for values, and the order of codes is the order of values.
#ifndef MIPO_HOST_DICTIONARY_H
#define MIPO_HOST_DICTIONARY_H

#include <span>
#include <vector>

#include "mipo/host/domain.h"

namespace mipo::host {

/// Distinct values in ascending order. Their codes run from first_code() to code_count() - 1; if the column has rows
/// without value, these have code 0 and the values begin at 1.
class Dictionary final : public Domain {
public:
  /// Of stored numbers (values.h), strictly ascending. Throws ArgumentError if they are not, or if `type` is text.
  Dictionary(const ValueType &type, std::vector<std::int64_t> numbers, bool has_null);
  /// Of texts, strictly ascending in bytewise order, 4 GiB at most together. Throws ArgumentError if they are not.
  Dictionary(std::span<const std::string_view> texts, bool has_null);

  std::int64_t number(ub8 code) const noexcept override { return numbers_[code - first_code()]; }
  std::string_view text(ub8 code) const noexcept override;

  /// All stored numbers, ascending; none if the type is text.
  std::span<const std::int64_t> numbers() const noexcept { return numbers_; }
  /// The symbol table of a text dictionary as kernels read it: bytes, and code_count() + 1 big-endian offsets.
  const std::string &symbol_bytes() const noexcept { return bytes_; }
  const std::vector<ub4> &symbol_offsets() const noexcept { return offsets_; }
  /// Bytes of values and offsets.
  std::size_t stored_bytes() const noexcept {
    return numbers_.size() * sizeof(std::int64_t) + bytes_.size() + offsets_.size() * sizeof(ub4);
  }

private:
  std::vector<std::int64_t> numbers_;
  std::string bytes_;
  std::vector<ub4> offsets_;
};

} // namespace mipo::host

#endif
