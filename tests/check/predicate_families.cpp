#include "predicate_families.h"

#include <algorithm>

namespace mipo::check {
namespace {

using namespace mipo::reference;

const std::vector<unsigned> byte_aligned_widths = {8, 16, 32, 64};
const std::vector<unsigned> dynamic_packed_widths = {16, 32, 64};
const std::vector<unsigned> packed_widths = {2, 3, 4, 5, 6, 7, 9, 10, 11, 12, 13, 14, 15, 17, 18, 19, 20, 24};
const std::vector<unsigned> widths_to_32 = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                                            12, 13, 14, 15, 16, 17, 18, 19, 20, 24, 32};

constexpr ub4 dict = MIPO_FAMILY_DICT, fixed = MIPO_FAMILY_FIXED, dynp = MIPO_FAMILY_DYNP;
constexpr ub4 plain = MIPO_VARIANT_PLAIN, null = MIPO_VARIANT_NULL_AWARE, tz = MIPO_VARIANT_TZ;

const PredicateFamily families[] = {
    {dict, plain, byte_aligned_widths, "dict", "", nullptr, byte_aligned_dict_predicate},
    {dict, null, byte_aligned_widths, "dict", "_null", nullptr, byte_aligned_null_aware_predicate},
    {dict, plain, packed_widths, "dict", "", nullptr, packed_dict_predicate},
    {dict, null, packed_widths, "dict", "_null", nullptr, packed_null_aware_predicate},
    {dict, plain, {1}, "dict", "", nullptr, one_bit_predicate},
    {dict, null, {1}, "dict", "_null", nullptr, one_bit_null_aware_predicate},
    {fixed, plain, byte_aligned_widths, "fixed", "", &fixed_values, fixed_predicate},
    {fixed, tz, byte_aligned_widths, "fixed", "_tz", &trailing_zero_values, fixed_trailing_zero_predicate},
    {dynp, plain, dynamic_packed_widths, "dynp", "", &dynamic_packed_values, dynamic_packed_predicate},
    {dynp, tz, dynamic_packed_widths, "dynp", "_tz", &counted_dynamic_packed_values, dynamic_packed_counted_predicate},
    {dict, plain, widths_to_32, "dict", "", nullptr, set_predicate, true}};

} // namespace

std::vector<unsigned> PredicateFamily::stored_bits(unsigned width) const {
  if (family == fixed && width == 32) return {24, 32};
  if (family == fixed && width == 64) return {40, 48, 56, 64};
  return {width};
}

const PredicateFamily *family_of(const ListedKernel &kernel) {
  const bool takes_set = kernel.shape == Shape::set;
  if (!takes_set && kernel.shape != Shape::one_sided && kernel.shape != Shape::two_sided) return nullptr;
  for (const PredicateFamily &family : families)
    if (family.family == kernel.family && family.variant == kernel.variant && family.takes_set == takes_set &&
        std::count(family.widths.begin(), family.widths.end(), kernel.bits()) != 0)
      return &family;
  return nullptr;
}

} // namespace mipo::check
