// Loops around kernels that stop when their output is full and go on when they are called again.
//
// Each function calls a kernel until all rows are done, with one buffer that is filled over and over, and hands every
// filling to a callable. What the buffer holds is good until the callable returns. The callable may throw, which ends
// the loop, but must leave the call context alone, which is in use; afterwards that is as it was before.
#ifndef MIPO_HOST_RESUMABLE_H
#define MIPO_HOST_RESUMABLE_H

#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <variant>

#include "mipo/host/bit_vector.h"
#include "mipo/host/context.h"
#include "mipo/host/library.h"
#include "mipo/host/value_stream.h"

namespace mipo::host {

/// Which rows of a column: all, those of a bit vector, or those of an ascending list. Refers to what it is made from.
class RowSelection {
public:
  /// All rows.
  RowSelection() = default;
  /// `selective`: kernels that have the choice look at these rows only, which pays if they are few.
  explicit RowSelection(const BitVector &bits, bool selective = false) : rows_(&bits), selective_(selective) {}
  explicit RowSelection(std::span<const ub4> list) : rows_(list) {}

  bool is_all() const noexcept { return std::holds_alternative<std::monostate>(rows_); }
  /// Null if the rows are not told by bits.
  const BitVector *bits() const noexcept {
    const auto *bits = std::get_if<const BitVector *>(&rows_);
    return bits != nullptr ? *bits : nullptr;
  }
  /// Null if the rows are not told by a list.
  const std::span<const ub4> *list() const noexcept { return std::get_if<std::span<const ub4>>(&rows_); }
  bool selective() const noexcept { return selective_; }

private:
  std::variant<std::monostate, const BitVector *, std::span<const ub4>> rows_;
  bool selective_ = false;
};

// All throw ArgumentError if the selection does not fit the column (a bit vector of another size, a list that does not
// ascend or leaves the column) or if there is room for no row, MissingKernel if the library does not have the kernel,
// and Error with what the kernel reported to the context or with the code that it returned.

/// Copies the selected rows of a stream (mipo_selective_dydi). Throws Error if a single row does not fit the output.
void copy_selected(const Library &library, CallContext &context, const mipo_vec &source, const RowSelection &selection,
                   StreamOutput &output, const std::function<void(const mipo_vec &)> &consume);

/// The codes of the selected rows of a dictionary column, `capacity` at most at a time, by the column's
/// `decode_unpack` kernel with this key.
void unpack_codes(const Library &library, CallContext &context, const mipo_vec &column, ub4 key,
                  const RowSelection &selection, ub4 capacity,
                  const std::function<void(std::span<const ub4>)> &consume);

/// Some rows and their symbols.
struct DecodedRows {
  std::span<const ub4> rows;
  std::span<const ub8> addresses;
  std::span<const ub2> lengths;
  std::span<const ub2> indicators; ///< 2: no value, 0: a value

  std::size_t size() const noexcept { return rows.size(); }
  /// Nothing if the row has no value. The bytes are the dictionary's.
  std::optional<std::string_view> value(std::size_t i) const noexcept {
    if (indicators[i] != 0) return std::nullopt;
    return std::string_view(reinterpret_cast<const char *>(addresses[i]), lengths[i]);
  }
};

/// The symbols of the selected rows of a dictionary column without runs, `capacity` rows at most at a time, by the
/// column's `decode` kernel with this key.
void decode_rows(const Library &library, CallContext &context, const mipo_vec &column, ub4 key,
                 const RowSelection &selection, ub4 capacity, const std::function<void(const DecodedRows &)> &consume);

enum class Extremes : ub8 { both = 0, minimum = 1, maximum = 2 };

/// Codes; only what was asked for means anything.
struct CodeRange {
  ub4 minimum, maximum;
};

/// The least and greatest code of the selected rows, by the column's `minmax` kernel with this key; nothing if there is
/// no such row. One call does it: the kernel has no output that could fill up.
std::optional<CodeRange> extreme_codes(const Library &library, CallContext &context, const mipo_vec &column, ub4 key,
                                       const RowSelection &selection, Extremes which = Extremes::both);

/// How the codes of a row's columns become one number.
enum class KeyPacking {
  shifts,  ///< each code has its own bits
  products ///< the numbers are as dense as the dictionaries allow, which reaches further
};

/// Group keys of all rows of `columns`, `capacity` rows at most at a time, and as the result how many different ones
/// there can be (mipo_groupkey_dydi). Throws ArgumentError if there is no column, if columns differ in rows or if one
/// has no dictionary; Error if the keys do not fit into 32 bits, in which case nothing was consumed.
ub4 group_keys(const Library &library, CallContext &context, std::span<const mipo_vec> columns, KeyPacking packing,
               ub4 capacity, const std::function<void(std::span<const ub4>)> &consume);

} // namespace mipo::host

#endif
