// Translation, one row at a time: what a row's key is, what a table has for it, and what a kernel reports.
#ifndef MIPO_TESTS_REFERENCE_TRANSLATION_MODEL_H
#define MIPO_TESTS_REFERENCE_TRANSLATION_MODEL_H

#include <functional>
#include <optional>
#include <vector>

#include "mipo/integers.h"

namespace mipo::reference {

/// The key of a decimal value: a byte of sign and exponent, then a byte a digit. Nothing if it has none.
std::optional<ub8> decimal_key(const std::vector<ub1> &value, bool zero_has_key);

/// The entry of a code, or nothing if its segment is not there.
using TableModel = std::function<std::optional<ub4>(ub8 key)>;

struct TranslatedRow {
  bool passes = false;
  std::optional<ub4> stored; ///< what a kernel that hands out entries stores for the row, if anything
};

struct TranslationRule {
  ub4 min_code, max_code;
  ub4 absent;
  TableModel table;
  bool selective; ///< rows outside the range get no entry
};

TranslatedRow translate(const TranslationRule &rule, std::optional<ub8> key);

} // namespace mipo::reference

#endif
