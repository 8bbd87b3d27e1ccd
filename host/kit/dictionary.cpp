#include "mipo/host/dictionary.h"

#include <algorithm>
#include <functional>
#include <limits>

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

Dictionary::Dictionary(const ValueType &type, std::vector<std::int64_t> numbers, bool has_null)
    : Domain(type, has_null, numbers.size(), first_code_of(has_null), first_code_of(has_null) + numbers.size()),
      numbers_(std::move(numbers)) {
  if (type.kind == ValueKind::text) throw ArgumentError("a dictionary of texts is not made of numbers");
  check_ascending(numbers_);
}

Dictionary::Dictionary(std::span<const std::string_view> texts, bool has_null)
    : Domain({ValueKind::text}, has_null, texts.size(), first_code_of(has_null),
             first_code_of(has_null) + texts.size()) {
  check_ascending(texts);
  std::size_t total = 0;
  for (const std::string_view text : texts) total += text.size();
  if (total > std::numeric_limits<ub4>::max())
    throw ArgumentError("the distinct texts of a column take more than 4 GiB together");
  bytes_.reserve(total);
  offsets_.reserve(code_count() + 1);
  if (has_null) offsets_.push_back(0);
  for (const std::string_view text : texts) {
    offsets_.push_back(big_endian(bytes_.size()));
    bytes_ += text;
  }
  offsets_.push_back(big_endian(bytes_.size()));
}

std::string_view Dictionary::text(ub8 code) const noexcept {
  const ub4 begin = __builtin_bswap32(offsets_[code]);
  return {bytes_.data() + begin, __builtin_bswap32(offsets_[code + 1]) - begin};
}

} // namespace mipo::host
