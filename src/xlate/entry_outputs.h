// Where `c2d` kernels hand out the entries they find: one place for every row.
#ifndef MIPO_XLATE_ENTRY_OUTPUTS_H
#define MIPO_XLATE_ENTRY_OUTPUTS_H

#include <string.h>

#include "mipo/vec.h"
#include "simd/simd.h"

namespace mipo::xlate {

/// Rows that are stored together, where a group of rows begins at a multiple of as many.
inline constexpr ub4 group_rows = 16;

/// Of kernels that only tell which rows survive.
struct NoOutput {
  explicit NoOutput(const mipo_call_ctx *) {}

  [[gnu::always_inline]] void store(ub4, ub4) const {}
  [[gnu::always_inline]] void store_if(bool, ub4, ub4) const {}

  struct Group {
    Group(const NoOutput &, ub4) {}
    [[gnu::always_inline]] void add(ub4, ub4) const {}
    [[gnu::always_inline]] void store() const {}
  };
};

/// An element a row.
template <class Element>
class ElementOutput {
public:
  explicit ElementOutput(const mipo_call_ctx *ctx) : base_(static_cast<ub1 *>(ctx->xlate_out)) {}

  [[gnu::always_inline]] void store(ub4 row, ub4 entry) const { write(place(row), entry); }
  /// Rows outside of the range write to a dummy.
  [[gnu::always_inline]] void store_if(bool meant, ub4 row, ub4 entry) const {
    ub1 nowhere[sizeof(Element)];
    write(meant ? place(row) : nowhere, entry);
  }

  class Group {
  public:
    Group(const ElementOutput &output, ub4 first_row) : first_(output.place(first_row)) {}
    [[gnu::always_inline]] void add(ub4 i, ub4 entry) const { write(first_ + i * sizeof(Element), entry); }
    [[gnu::always_inline]] void store() const {}

  private:
    ub1 *first_;
  };

private:
  [[gnu::always_inline]] ub1 *place(ub4 row) const { return base_ + size_t{row} * sizeof(Element); }
  [[gnu::always_inline]] static void write(ub1 *place, ub4 entry) {
    const auto element = static_cast<Element>(entry);
    memcpy(place, &element, sizeof element);
  }

  ub1 *base_;
};

/// Two rows a byte, the even one low. A row on its own keeps its neighbour.
class NibbleOutput {
public:
  explicit NibbleOutput(const mipo_call_ctx *ctx) : base_(static_cast<ub1 *>(ctx->xlate_out)) {}

  [[gnu::always_inline]] void store(ub4 row, ub4 entry) const { write(base_ + row / 2, row, entry); }
  [[gnu::always_inline]] void store_if(bool meant, ub4 row, ub4 entry) const {
    ub1 nowhere = 0;
    write(meant ? base_ + row / 2 : &nowhere, row, entry);
  }

  class Group {
  public:
    Group(const NibbleOutput &output, ub4 first_row) : first_(output.base_ + first_row / 2) {}
    [[gnu::always_inline]] void add(ub4 i, ub4 entry) { nibbles_ |= ub8{entry} << 4 * i; }
    [[gnu::always_inline]] void store() const { memcpy(first_, &nibbles_, sizeof nibbles_); }

  private:
    static_assert(group_rows == 2 * sizeof(ub8), "a group is a word of nibbles");
    ub1 *first_;
    ub8 nibbles_ = 0;
  };

private:
  [[gnu::always_inline]] static void write(ub1 *place, ub4 row, ub4 entry) {
    const ub4 shift = row % 2 * 4;
    *place = static_cast<ub1>((*place & 0xf0 >> shift) | entry << shift);
  }

  ub1 *base_;
};

} // namespace mipo::xlate

#endif
