#include "mipo/host/dictionary.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <utility>

#include "mipo/host/errors.h"

namespace mipo::host {
namespace {

ub4 big_endian(std::size_t number) {
  return __builtin_bswap32(static_cast<ub4>(number));
}

template <class Values>
void check_ascending(const Values &values) {
  if (std::ranges::adjacent_find(values, std::ranges::greater_equal{}) != std::ranges::end(values))
    throw ArgumentError("the values of a dictionary must be strictly ascending");
}

constexpr ub8 first_code_of(bool has_null) {
  return has_null ? 1 : 0;
}

} // namespace

Dictionary::Dictionary(const ValueType &type, const std::vector<std::int64_t> &numbers, bool has_null)
    : Domain(type, has_null, numbers.size(), first_code_of(has_null), first_code_of(has_null) + numbers.size()) {
  if (type.kind == ValueKind::text) throw ArgumentError("a dictionary of texts is not made of numbers");
  check_ascending(numbers);
  memory_.numbers = AlignedBuffer(numbers.size() * sizeof(std::int64_t));
  std::ranges::copy(std::as_bytes(std::span(numbers)), memory_.numbers.data());
}

Dictionary::Dictionary(std::span<const std::string_view> texts, bool has_null)
    : Domain({ValueKind::text}, has_null, texts.size(), first_code_of(has_null),
             first_code_of(has_null) + texts.size()) {
  check_ascending(texts);
  std::size_t total = 0;
  for (const std::string_view text : texts) total += text.size();
  if (total > std::numeric_limits<ub4>::max())
    throw ArgumentError("the distinct texts of a column take more than 4 GiB together");
  memory_.symbol_bytes = AlignedBuffer(total);
  memory_.symbol_offsets = AlignedBuffer((code_count() + 1) * sizeof(ub4));
  auto *offset = reinterpret_cast<ub4 *>(memory_.symbol_offsets.data());
  if (has_null) *offset++ = 0;
  std::size_t end = 0;
  for (const std::string_view text : texts) {
    *offset++ = big_endian(end);
    std::ranges::copy(std::as_bytes(std::span(text)), memory_.symbol_bytes.data() + end);
    end += text.size();
  }
  *offset = big_endian(end);
}

Dictionary::Dictionary(const ValueType &type, Memory memory, bool has_null, ub8 value_count) noexcept
    : Domain(type, has_null, value_count, first_code_of(has_null), first_code_of(has_null) + value_count),
      memory_(std::move(memory)) {
}

std::string_view Dictionary::text(ub8 code) const noexcept {
  const std::span<const ub4> offsets = symbol_offsets();
  const ub4 begin = __builtin_bswap32(offsets[code]);
  return symbol_bytes().substr(begin, __builtin_bswap32(offsets[code + 1]) - begin);
}

} // namespace mipo::host
