// How rows of byte strings lie: a struct for each shape. Rows of the ones with a place of their own are found by their
// number; the others lie back to back and are walked over.
//
//   FixedRows      data: bytes bytes bytes            all of one width
//   AddressRows    data: LLaaaaaaaa LLaaaaaaaa        packed records: length, address
//   SplitAddresses data: aaaaaaaa aaaaaaaa  lens: L L
//   InlineLengthRows    data: LLbytes LLbytes
//   SeparateLengthRows     data: bytes bytes        lens: L L
#ifndef MIPO_COLUMN_ROW_SHAPES_H
#define MIPO_COLUMN_ROW_SHAPES_H

#include <initializer_list>

#include "mipo/call.h"
#include "simd/simd.h"

namespace mipo::column {

// The first of these shapes that both vectors have; 0 if there is none.
inline ub4 shared_shape(const mipo_vec *a, const mipo_vec *b, std::initializer_list<mipo_vec_flag> shapes) {
  for (const mipo_vec_flag shape : shapes)
    if (MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(a), shape) && MIPO_ENC_CTX_FLAG(MIPO_VEC_ENC_CTX(b), shape)) return shape;
  return 0;
}

struct RowBytes {
  const ub1 *first;
  size_t length;
};

class FixedRows {
public:
  FixedRows(const mipo_vec *src, size_t width) : base_(static_cast<const ub1 *>(src->data)), width_(width) {}

  const ub1 *first(ub4 row) const { return base_ + row * width_; }
  RowBytes at(ub4 row) const { return {first(row), width_}; }

private:
  const ub1 *base_;
  size_t width_;
};

// Bytes of a value in a vector of MIPO_FIXED.
inline size_t fixed_width(const mipo_vec *src) {
  return MIPO_VEC_ENC_CTX(src)->bits >> 3;
}

// A length and an address after it, without padding.
inline constexpr size_t address_record_bytes = sizeof(ub2) + sizeof(ub8);

class AddressRows {
public:
  explicit AddressRows(const mipo_vec *src) : records_(static_cast<const ub1 *>(src->data)) {}

  const ub1 *first(ub4 row) const { return reinterpret_cast<const ub1 *>(simd::read_native<ub8>(record(row) + 2)); }
  RowBytes at(ub4 row) const { return {first(row), simd::read_native<ub2>(record(row))}; }

private:
  const ub1 *record(ub4 row) const { return records_ + row * address_record_bytes; }

  const ub1 *records_;
};

// The lengths of the shapes that hold them apart.
class RowLengths {
public:
  explicit RowLengths(const mipo_vec *src) : lengths_(static_cast<const ub1 *>(src->lens)) {}

  const ub1 *at(ub4 row) const { return lengths_ + row * sizeof(ub2); }
  ub2 operator[](ub4 row) const { return simd::read_native<ub2>(at(row)); }
  // Bytes of the rows `first` up to `end`, the latter not included.
  ub8 sum(ub4 first, ub4 end) const {
    ub8 bytes = 0;
    for (ub4 row = first; row < end; ++row) bytes += (*this)[row];
    return bytes;
  }

private:
  const ub1 *lengths_;
};

class SplitAddresses {
public:
  explicit SplitAddresses(const mipo_vec *src) : addresses_(static_cast<const ub1 *>(src->data)), lengths_(src) {}

  const ub1 *first(ub4 row) const {
    return reinterpret_cast<const ub1 *>(simd::read_native<ub8>(addresses_ + row * sizeof(ub8)));
  }
  RowBytes at(ub4 row) const { return {first(row), lengths_[row]}; }

private:
  const ub1 *addresses_;
  RowLengths lengths_;
};

// The walks stand on one row and know the byte at which it starts.
class InlineLengthRows {
public:
  static constexpr size_t bytes_beside_row = sizeof(ub2); // a row's length lies before it
  static constexpr bool has_lengths_apart = false;

  explicit InlineLengthRows(const mipo_vec *src, ub8 position = 0)
      : base_(static_cast<const ub1 *>(src->data)), next_(base_ + position) {}

  ub8 position() const { return static_cast<ub8>(next_ - base_); }
  const ub1 *next() const { return next_; }
  // The row stood on, which the caller numbers; the walk moves after it.
  RowBytes take(ub4) {
    const RowBytes row{next_ + bytes_beside_row, simd::read_native<ub2>(next_)};
    next_ = row.first + row.length;
    return row;
  }
  void skip(ub4 row, ub4 end) {
    for (; row < end; ++row) take(row);
  }
  // Steps back over the row just taken.
  void put_back(RowBytes row) { next_ = row.first - bytes_beside_row; }

private:
  const ub1 *base_;
  const ub1 *next_;
};

class SeparateLengthRows {
public:
  static constexpr size_t bytes_beside_row = 0;
  static constexpr bool has_lengths_apart = true;

  explicit SeparateLengthRows(const mipo_vec *src, ub8 position = 0)
      : base_(static_cast<const ub1 *>(src->data)), next_(base_ + position), lengths_(src) {}

  ub8 position() const { return static_cast<ub8>(next_ - base_); }
  const ub1 *next() const { return next_; }
  const RowLengths &lengths() const { return lengths_; }
  RowBytes take(ub4 row) {
    const RowBytes taken{next_, lengths_[row]};
    next_ += taken.length;
    return taken;
  }
  void skip(ub4 row, ub4 end) { advance(lengths_.sum(row, end)); }
  void advance(ub8 bytes) { next_ += bytes; }
  void put_back(RowBytes row) { next_ = row.first; }

private:
  const ub1 *base_;
  const ub1 *next_;
  RowLengths lengths_;
};

} // namespace mipo::column

#endif
