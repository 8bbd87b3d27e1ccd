// mipo_gby_sum_dydi: a column of numbers added into accumulators, by group key or in all.
#include "groupby/group_sum.h"

#include "column/integer_total.h"
#include "interface/entry_functions.h"

namespace mipo::groupby {
namespace {

// `keys` is null, or the cell that holds the address of a key for each row.
template <class Values>
ub4 sum_into_array(mipo_vec *acc, Values values, ub4 rows, const ub4 *const *keys) {
  const PlainAccumulators<typename Values::Number> sums(acc->data);
  if (keys != nullptr)
    add_by_group(values, *keys, rows, sums);
  else
    sums.add(0, total(values, rows));
  return MIPO_DONE;
}

template <class Float, bool has_count>
ub4 sum_into_records(RecordAccumulators<Float, has_count> records, const mipo_vec *values, const ub4 *const *keys) {
  const NativeNumbers<Float> stored(values->data);
  if (keys != nullptr) // hosts get the sums of the stored bits here, sortable or not, and count on it
    add_by_group(stored, *keys, values->nrows, records);
  else if (MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(values), MIPO_NATIVE))
    records.set_first(total(stored, values->nrows), values->nrows);
  else
    records.set_first(total(SortableNumbers<Float>(values->data), values->nrows), values->nrows);
  return MIPO_DONE;
}

template <class Float>
ub4 sum_into_records(mipo_vec *acc, const mipo_vec *values, const ub4 *const *keys,
                     const mipo_group_sum_offsets &offsets) {
  const size_t record_bytes = (size_t{MIPO_VEC_ENC_CTX(acc)->bits} + 7) >> 3;
  if (offsets.count == MIPO_GROUP_SUM_NO_COUNT)
    return sum_into_records(RecordAccumulators<Float, false>(acc->data, record_bytes, offsets), values, keys);
  return sum_into_records(RecordAccumulators<Float, true>(acc->data, record_bytes, offsets), values, keys);
}

template <class T>
ub4 sum_integers(mipo_vec *acc, const mipo_vec *values, const ub4 *const *keys, const mipo_group_sum_options *options) {
  if (sizeof(T) > 1 && (options->flags & MIPO_GROUP_SUM_BIG_ENDIAN) != 0)
    return sum_into_array(acc, column::StoredIntegers<T, true>(values->data), values->nrows, keys);
  return sum_into_array(acc, column::StoredIntegers<T, false>(values->data), values->nrows, keys);
}

ub4 sum_integers_of_width(mipo_vec *acc, const mipo_vec *values, const ub4 *const *keys,
                          const mipo_group_sum_options *options) {
  switch (MIPO_VEC_ENC_CTX(values)->bits) {
  case 8:
    return sum_integers<ub1>(acc, values, keys, options);
  case 16:
    return sum_integers<ub2>(acc, values, keys, options);
  case 32:
    return sum_integers<ub4>(acc, values, keys, options);
  case 64:
    return sum_integers<ub8>(acc, values, keys, options);
  default:
    return MIPO_INVALID_PARAMETER;
  }
}

} // namespace
} // namespace mipo::groupby

extern "C" ub4 mipo_gby_sum_dydi(mipo_vec *acc, const mipo_vec *values, const ub4 *const *keys,
                                 const mipo_group_sum_options *options, const mipo_group_sum_offsets *offsets) {
  using namespace mipo::groupby;
  const mipo_enc_ctx *acc_ctx = MIPO_VEC_ENC_CTX(acc), *enc_ctx = MIPO_VEC_ENC_CTX(values);
  const bool has_records = acc_ctx != nullptr && MIPO_ENC_CTX_FLAG(acc_ctx, MIPO_ACC_RECORD);
  if (has_records) {
    if (offsets == nullptr) return MIPO_INVALID_PARAMETER;
    if (enc_ctx->num_type == MIPO_NUM_FLOAT) return sum_into_records<float>(acc, values, keys, *offsets);
    if (enc_ctx->num_type == MIPO_NUM_DOUBLE) return sum_into_records<double>(acc, values, keys, *offsets);
    return MIPO_INVALID_PARAMETER;
  }
  if (enc_ctx->num_type == MIPO_NUM_DOUBLE) {
    if (MIPO_ENC_CTX_FLAG(enc_ctx, MIPO_NATIVE))
      return sum_into_array(acc, NativeNumbers<double>(values->data), values->nrows, keys);
    return sum_into_array(acc, SortableNumbers<double>(values->data), values->nrows, keys);
  }
  if (enc_ctx->num_type == MIPO_NUM_INTEGER) return sum_integers_of_width(acc, values, keys, options);
  return MIPO_INVALID_PARAMETER;
}
