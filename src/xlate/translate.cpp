// The 112 kernels of code translation under their names.
#include "xlate/translate.h"

#include <type_traits>

#include "xlate/kernels.h"

namespace mipo::xlate {
namespace {

// The width field is the entry width, and eight times the layout of the rows.
enum Layout : unsigned { codes, offsets, constant_length, separate_lengths };

constexpr unsigned entry_bits(unsigned width_field) {
  constexpr unsigned bits[] = {1, 4, 8, 16, 32};
  return bits[width_field & 7];
}

template <unsigned family, unsigned bits>
using TableOf = std::conditional_t<family == MIPO_FAMILY_XLATE_IND, SegmentedTable<bits>,
                                   FlatTable<bits, family == MIPO_FAMILY_XLATE_OFF>>;

template <unsigned layout>
using RowsOf =
    std::conditional_t<layout == offsets, OffsetRows,
                       std::conditional_t<layout == constant_length, ConstantLengthRows, SeparateLengthRows>>;

template <unsigned bits>
using EntryOutput = std::conditional_t<bits == 4, NibbleOutput, ElementOutput<simd::Unsigned<bits == 4 ? 8 : bits>>>;

template <unsigned family, unsigned width_field, unsigned variant>
ub4 kernel(mipo_vec *res, const mipo_vec *column, const mipo_vec *table, mipo_call_ctx *ctx) {
  constexpr unsigned bits = entry_bits(width_field), layout = width_field >> 3;
  if constexpr (family == MIPO_FAMILY_XLATE_GROUPKEY) {
    return add_to_group_keys<bits>(res, column, ctx);
  } else {
    using Table = TableOf<family, bits>;
    if constexpr (variant == MIPO_VARIANT_C2D) {
      using Output = EntryOutput<bits>;
      if constexpr (layout == codes)
        return translate_codes<Table, Output>(res, column, table, ctx);
      else if constexpr (layout != offsets && bits < 32)
        return translate_values_widened<RowsOf<layout>, Table, Output>(res, column, table, ctx);
      else
        return translate_values<RowsOf<layout>, Table, Output>(res, column, table, ctx);
    } else if constexpr (layout == codes) {
      return translate_codes<Table, NoOutput>(res, column, table, ctx);
    } else {
      return translate_values<RowsOf<layout>, Table, NoOutput>(res, column, table, ctx);
    }
  }
}

} // namespace
} // namespace mipo::xlate

#define DEFINE_KERNEL(shape, name, operation, family, width_field, variant)                               \
  extern "C" ub4 name(mipo_vec *res, const mipo_vec *column, const mipo_vec *table, mipo_call_ctx *ctx) { \
    return mipo::xlate::kernel<family, width_field, variant>(res, column, table, ctx);                    \
  }
XLATE_KERNELS(DEFINE_KERNEL)
#undef DEFINE_KERNEL
