// The sorted dictionary of a column: codes stand for values, and the order of codes is the order of values.
#ifndef MIPO_HOST_DICTIONARY_H
#define MIPO_HOST_DICTIONARY_H

#include <span>
#include <vector>

#include "mipo/host/aligned_buffer.h"
#include "mipo/host/domain.h"

namespace mipo::host {

/// Distinct values in ascending order. Their codes run from first_code() to code_count() - 1; if the column has rows
/// without value, these have code 0 and the values begin at 1.
class Dictionary final : public Domain {
public:
  /// Where the values lie: numbers, or the symbol table of texts.
  struct Memory {
    AlignedBuffer numbers, symbol_bytes, symbol_offsets;
  };

  /// Of stored numbers (values.h), strictly ascending. Throws ArgumentError if they are not, or if `type` is text.
  Dictionary(const ValueType &type, const std::vector<std::int64_t> &numbers, bool has_null);
  /// Of texts, strictly ascending in bytewise order, 4 GiB at most together. Throws ArgumentError if they are not.
  Dictionary(std::span<const std::string_view> texts, bool has_null);
  /// Of values that lie in memory as a dictionary has written them. They are taken as they are.
  Dictionary(const ValueType &type, Memory memory, bool has_null, ub8 value_count) noexcept;

  std::int64_t number(ub8 code) const noexcept override { return numbers()[code - first_code()]; }
  std::string_view text(ub8 code) const noexcept override;

  /// All stored numbers, ascending; none if the type is text.
  std::span<const std::int64_t> numbers() const noexcept {
    return {reinterpret_cast<const std::int64_t *>(memory_.numbers.data()),
            memory_.numbers.size() / sizeof(std::int64_t)};
  }
  /// The symbol table of a text dictionary as kernels read it: bytes, and code_count() + 1 big-endian offsets.
  std::string_view symbol_bytes() const noexcept {
    return {reinterpret_cast<const char *>(memory_.symbol_bytes.data()), memory_.symbol_bytes.size()};
  }
  std::span<const ub4> symbol_offsets() const noexcept {
    return {reinterpret_cast<const ub4 *>(memory_.symbol_offsets.data()), memory_.symbol_offsets.size() / sizeof(ub4)};
  }
  /// Bytes of values and offsets.
  std::size_t stored_bytes() const noexcept {
    return memory_.numbers.size() + memory_.symbol_bytes.size() + memory_.symbol_offsets.size();
  }

private:
  Memory memory_;
};

} // namespace mipo::host

#endif
