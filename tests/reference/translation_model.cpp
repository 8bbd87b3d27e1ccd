#include "translation_model.h"

namespace mipo::reference {

std::optional<ub8> decimal_key(const std::vector<ub1> &value, bool zero_has_key) {
  if (value.empty() || value.size() > 5) return {};
  const int first = value[0];
  if (value.size() == 1) {
    if (first >= 192 || (zero_has_key && first == 128)) return 0;
    return {};
  }
  const int exponent = first - 192, digits = static_cast<int>(value.size()) - 1;
  if (exponent < 0 || digits > exponent) return {};
  ub8 key = 0;
  for (int i = 1; i <= digits; ++i) {
    int digit = value[static_cast<std::size_t>(i)] - 1;
    if (digit > 127) digit -= 256;
    key += static_cast<ub8>(static_cast<long long>(digit)) << 7 * (digits - i);
  }
  const unsigned left_off = static_cast<unsigned>(exponent - digits) & 255;
  return left_off == 0 ? key : key << (((left_off & 31) * 8 - left_off) & 63);
}

TranslatedRow translate(const TranslationRule &rule, std::optional<ub8> key) {
  TranslatedRow row;
  if (!key || *key < rule.min_code || *key > rule.max_code) {
    if (!rule.selective) row.stored = rule.absent;
    return row;
  }
  row.stored = rule.table(*key).value_or(rule.absent);
  row.passes = *row.stored != rule.absent;
  return row;
}

} // namespace mipo::reference
