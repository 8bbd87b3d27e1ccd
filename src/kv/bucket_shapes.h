// The fourteen shapes of a bucket: keys of K bytes and values of V bytes in one cache line, in two forms that differ in
// how a bucket leads to the next one of its chain.
//
//   idx   ┌ link + 1 │ count ┐ keys ... │ values ...      a word of 32 bits, the count in its low bits
//   ptr   ┌ address of the next ┬ count ┐ keys ... │ values ...      64 bits, then 16
//
#ifndef MIPO_KV_BUCKET_SHAPES_H
#define MIPO_KV_BUCKET_SHAPES_H

#include "mipo/kv.h"

// SHAPE(code, name, K, V, bits of the count, idx: capacity, keys at, values at, ptr: capacity, keys at, values at);
// keys and values lie one after the other from there on. Code 14 does not exist.
#define MIPO_FOR_EACH_BUCKET_SHAPE(SHAPE)         \
  SHAPE(1, k2v4, 2, 4, 4, 10, 4, 24, 9, 10, 28)   \
  SHAPE(2, k2v8, 2, 8, 3, 6, 4, 16, 5, 10, 24)    \
  SHAPE(3, k4, 4, 0, 4, 15, 4, 64, 13, 12, 64)    \
  SHAPE(4, k4v4, 4, 4, 3, 7, 4, 32, 6, 12, 36)    \
  SHAPE(5, k4v8, 4, 8, 3, 5, 4, 24, 4, 12, 32)    \
  SHAPE(6, k6, 6, 0, 4, 10, 4, 64, 9, 10, 64)     \
  SHAPE(7, k6v4, 6, 4, 3, 6, 4, 40, 5, 10, 40)    \
  SHAPE(8, k6v8, 6, 8, 3, 4, 4, 32, 3, 10, 32)    \
  SHAPE(9, k8, 8, 0, 3, 7, 8, 64, 6, 16, 64)      \
  SHAPE(10, k8v4, 8, 4, 3, 5, 4, 44, 4, 12, 44)   \
  SHAPE(11, k8v8, 8, 8, 2, 3, 8, 32, 3, 16, 40)   \
  SHAPE(12, k10v4, 10, 4, 3, 4, 4, 44, 3, 10, 40) \
  SHAPE(13, k12, 12, 0, 3, 5, 4, 64, 4, 12, 64)   \
  SHAPE(15, k12v4, 12, 4, 2, 3, 4, 40, 3, 12, 48)

namespace mipo::kv {

inline constexpr unsigned bucket_bytes = 64;
inline constexpr unsigned shape_codes = 16;

struct BucketForm {
  ub1 capacity, keys_at, values_at; // values_at: 64 where there are none
};

struct BucketShape {
  ub1 key_bytes, value_bytes;
  ub1 count_bits; // of the word that holds the count
  BucketForm idx, ptr;
  constexpr bool exists() const { return key_bytes != 0; }
};

struct BucketShapes {
  BucketShape of_code[shape_codes];
};

inline constexpr BucketShapes bucket_shapes = [] {
  BucketShapes shapes{};
#define STATE_SHAPE(code, name, key, value, count_bits, idx_capacity, idx_keys, idx_values, ptr_capacity, ptr_keys, \
                    ptr_values)                                                                                     \
  shapes.of_code[code] = {                                                                                          \
      key, value, count_bits, {idx_capacity, idx_keys, idx_values}, {ptr_capacity, ptr_keys, ptr_values}};
  MIPO_FOR_EACH_BUCKET_SHAPE(STATE_SHAPE)
#undef STATE_SHAPE
  return shapes;
}();

/// Whether header, keys and values lie behind each other within a bucket.
constexpr bool fits_bucket(const BucketShape &shape, const BucketForm &form, unsigned header_bytes) {
  const unsigned capacity = form.capacity, keys_end = form.keys_at + capacity * shape.key_bytes;
  return form.keys_at >= header_bytes && keys_end <= form.values_at &&
         form.values_at + capacity * shape.value_bytes <= bucket_bytes && capacity < 1u << shape.count_bits;
}

#define CHECK_SHAPE(code, name, ...)                                                                                  \
  static_assert(fits_bucket(bucket_shapes.of_code[code], bucket_shapes.of_code[code].idx, sizeof(ub4)),               \
                #name ": a link of 4 bytes, keys and values follow each other");                                      \
  static_assert(fits_bucket(bucket_shapes.of_code[code], bucket_shapes.of_code[code].ptr, sizeof(ub8) + sizeof(ub2)), \
                #name ": an address, a count of 2 bytes, keys and values follow each other");
MIPO_FOR_EACH_BUCKET_SHAPE(CHECK_SHAPE)
#undef CHECK_SHAPE

} // namespace mipo::kv

#endif
