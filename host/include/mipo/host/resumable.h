// Kernels that stop when their output is full and go on when they are called again, as cursors: each next() fills a
// buffer with what the next selected rows have, until there are none left.
//
// A cursor takes reports and decompression from a call context but leaves the context's record alone, so that several
// may share one on a thread. What it is made from must outlive it.
#ifndef MIPO_HOST_RESUMABLE_H
#define MIPO_HOST_RESUMABLE_H

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

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

/// What the cursors share: the call that a loop repeats, and its selection.
class Cursor {
public:
  static constexpr ub4 all_rows = 0xffffffff;

  Cursor(const Cursor &) = delete;
  Cursor &operator=(const Cursor &) = delete;

protected:
  Cursor(CallContext &context, std::string_view kernel, const RowSelection &selection, ub4 rows);
  ~Cursor() = default;

  /// Throws what a kernel has reported, or its code if it stands for no answer.
  void check(ub4 code) const;
  void select_list(std::span<const ub4> list);

  CallContext &context_;
  mipo_call_ctx call_;
  bool none_; ///< the selection is an empty list: its address may be null, which would not tell a list

private:
  std::string_view kernel_; // its name
  std::size_t messages_before_;
};

/// The codes of the selected rows of a dictionary column, by its `decode_unpack` kernel with this key.
class CodeCursor : public Cursor {
public:
  CodeCursor(const Library &library, CallContext &context, const mipo_vec &column, ub4 key,
             const RowSelection &selection = {});

  /// The codes of the next selected rows in front of row `end`, in `codes`, whose size is how many at most; empty at
  /// the end. `end` is for selections that are not a list.
  std::span<const ub4> next(std::span<ub4> codes, ub4 end = all_rows);
  /// Goes on at row `row`, which must not be in front of where the cursor stands.
  void skip_to(ub4 row) { call_.next_row = row; }

private:
  ub4 rows_;
  mipo_decode_kernel *unpack_;
  mipo_vec column_;
};

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

/// The numbers of selected rows.
class RowNumberCursor {
public:
  RowNumberCursor(const Library &library, const RowSelection &selection, ub4 rows);

  /// The next ones, `most` at most; empty at the end. Good until the next call.
  std::span<const ub4> next(std::size_t most);

private:
  std::optional<RowReader> bits_;
  std::span<const ub4> ready_; // of a list, or read from bits
  std::vector<ub4> numbers_;   // of all rows
  ub4 next_row_, rows_;
};

/// The symbols of the selected rows of a dictionary column without runs, by its `decode` kernel with this key.
class SymbolCursor : public Cursor {
public:
  /// `capacity` rows at most at a time.
  SymbolCursor(const Library &library, CallContext &context, const mipo_vec &column, ub4 key, ub4 capacity,
               const RowSelection &selection = {});

  /// The next rows; none at the end. Good until the next call.
  DecodedRows next();

private:
  mipo_decode_kernel *decode_;
  const mipo_vec &column_;
  RowNumberCursor rows_;
  std::vector<ub8> addresses_;
  std::vector<ub2> lengths_, indicators_;
};

/// The selected rows of a stream, copied (mipo_selective_dydi).
class StreamCursor : public Cursor {
public:
  StreamCursor(const Library &library, CallContext &context, const mipo_vec &source,
               const RowSelection &selection = {});

  /// Fills the output with the next rows; null at the end. Throws Error if a single row does not fit the output, and
  /// ArgumentError for one of another form.
  const mipo_vec *next(StreamOutput &output);

private:
  const Library &library_;
  const mipo_vec &source_;
  std::optional<BitVector> all_; // of a selection of all rows
  bool done_;
};

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

/// Group keys of the selected rows of columns (mipo_groupkey_dydi). Throws ArgumentError if there is no column, if
/// columns differ in rows or if one has no dictionary.
class GroupKeyCursor : public Cursor {
public:
  GroupKeyCursor(const Library &library, CallContext &context, std::span<const mipo_vec> columns, KeyPacking packing,
                 const RowSelection &selection = {});

  /// The keys of the next selected rows in front of row `end`, in `keys`, whose size is how many at most; empty at the
  /// end. Throws Error if keys do not fit into 32 bits.
  std::span<const ub4> next(std::span<ub4> keys, ub4 end = all_rows);
  /// Goes on at row `row`, which must not be in front of where the cursor stands.
  void skip_to(ub4 row) { call_.next_row = row; }
  /// How many different keys there can be. After next().
  ub4 key_count() const { return range_.ngroups; }

private:
  const Library &library_;
  std::vector<mipo_vec> columns_;
  std::vector<ub4> codes_;
  mipo_group_range range_{};
  ub4 rows_, done_up_to_ = 0;
};

} // namespace mipo::host

#endif
