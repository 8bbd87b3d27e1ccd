// mipo_convert_dydi: numbers between their sortable and their native form, and the total of a column.
#include "column/integer_total.h"
#include "column/number_columns.h"
#include "interface/entry_functions.h"

namespace {

using namespace mipo;

// From stored numbers to native ones.
template <class T>
struct Reading {
  using Number = T;
  [[gnu::always_inline]] static T number(const ub1 *stored) { return column::read_sortable<T>(stored); }
  [[gnu::always_inline]] static auto vector(const ub1 *stored) { return column::read_sortable_vector<T>(stored); }
};

// The opposite. A type has one zero, and one pattern that all not-a-numbers become: those whose magnitude, which is all
// but the sign, lies above a limit.
template <class T, T largest_magnitude, T not_a_number>
struct Storing {
  using Number = T;
  [[gnu::always_inline]] static T number(const ub1 *native) {
    const T sortable = stored(simd::read_native<T>(native));
    return simd::read_big_endian<T>(&sortable);
  }
  [[gnu::always_inline]] static auto vector(const ub1 *native) {
    return simd::byte_swap<T>(stored(simd::load<T>(native)));
  }

private:
  template <class Patterns>
  [[gnu::always_inline]] static Patterns stored(Patterns native) {
    using column::in_all_lanes, column::sign_bit;
    constexpr auto magnitude_bits = static_cast<T>(~sign_bit<T>);
    const auto zero = in_all_lanes<Patterns>(sign_bit<T>), negative_zero = in_all_lanes<Patterns>(magnitude_bits);
    const auto limit = in_all_lanes<Patterns>(largest_magnitude), nan = in_all_lanes<Patterns>(not_a_number);
    const Patterns sortable = column::sortable_patterns<T>(native);
    const Patterns one_zero = sortable == negative_zero ? zero : sortable;
    const auto magnitude = static_cast<Patterns>(native & magnitude_bits);
    return magnitude <= limit ? one_zero : nan;
  }
};

using StoringFloat = Storing<ub4, 0x7f800000, 0xffc00000>;
using StoringDouble = Storing<ub8, 0x7ff0000000000000, 0xfff8000000000000>;
using StoringFloat16 = Storing<ub2, 0x7e00, 0xfe00>; // hosts rely on it that the lowest not-a-numbers pass as they are
using StoringBfloat16 = Storing<ub2, 0x7f80, 0xffc0>;

template <class Conversion>
mipo_code convert(mipo_vec *res, const mipo_vec *src) {
  column::store_rows(res->data, column::NumberColumn<Conversion>(src->data), src->nrows);
  return MIPO_DONE;
}

template <class Float>
mipo_code add_numbers(mipo_vec *res, const mipo_vec *src) {
  column::add_rows(res->data, column::NumberColumn<column::Sortable<Float>>(src->data), src->nrows);
  return MIPO_DONE;
}

template <class T>
mipo_code add_integers(mipo_vec *res, const mipo_vec *src) {
  ub8 sum = column::total(column::StoredIntegers<T, true>(src->data), src->nrows);
  sum += simd::read_native<ub8>(res->data);
  memcpy(res->data, &sum, sizeof sum);
  return MIPO_DONE;
}

mipo_code add_integers_of_width(mipo_vec *res, const mipo_vec *src) {
  switch (MIPO_VEC_ENC_CTX(src)->bits) {
  case 8:
    return add_integers<ub1>(res, src);
  case 16:
    return add_integers<ub2>(res, src);
  case 32:
    return add_integers<ub4>(res, src);
  case 64:
    return add_integers<ub8>(res, src);
  default:
    return MIPO_DONE; // of other widths there is nothing to add
  }
}

} // namespace

extern "C" ub4 mipo_convert_dydi(mipo_vec *res, const mipo_vec *src, mipo_call_ctx *ctx) {
  const bool is_native = MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(src), MIPO_NATIVE);
  const bool wants_sum = ctx != nullptr && (ctx->eval_flags & MIPO_EVAL_SUM) != 0;
  switch (MIPO_VEC_ENC_CTX(src)->num_type) {
  case MIPO_NUM_FLOAT:
    if (wants_sum) return is_native ? MIPO_INVALID_PARAMETER : add_numbers<float>(res, src);
    return is_native ? convert<StoringFloat>(res, src) : convert<Reading<ub4>>(res, src);
  case MIPO_NUM_DOUBLE:
    if (wants_sum) return is_native ? MIPO_INVALID_PARAMETER : add_numbers<double>(res, src);
    return is_native ? convert<StoringDouble>(res, src) : convert<Reading<ub8>>(res, src);
  case MIPO_NUM_FLOAT16:
    if (wants_sum) return MIPO_INVALID_PARAMETER;
    return is_native ? convert<StoringFloat16>(res, src) : convert<Reading<ub2>>(res, src);
  case MIPO_NUM_BFLOAT16:
    if (wants_sum) return MIPO_INVALID_PARAMETER;
    return is_native ? convert<StoringBfloat16>(res, src) : convert<Reading<ub2>>(res, src);
  case MIPO_NUM_INTEGER:
    if (!wants_sum) MIPO_ASSERTION_FAILED("FALSE");
    return add_integers_of_width(res, src); // native or not, integers are big-endian
  default:
    return MIPO_INVALID_PARAMETER;
  }
}
