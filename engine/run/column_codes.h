// The codes that the selected rows of a chunk have in a column.
#ifndef MIPO_ENGINE_RUN_COLUMN_CODES_H
#define MIPO_ENGINE_RUN_COLUMN_CODES_H

#include <deque>
#include <vector>

#include "engine/plan/bound_column.h"
#include "engine/run/chunk_rows.h"
#include "engine/run/kernel_profile.h"

namespace mipo::engine {

/// Codes of the stored column: of a joined one, those of its key. By kernel, or read one by one; the column must be
/// plain or decompressed then. Chunks are read in ascending order.
class ColumnCodes {
public:
  static constexpr ub8 no_value = ~ub8{0};

  /// `rows` has chunks of up to `chunk` rows, and must outlive the codes.
  ColumnCodes(const host::Library &library, const BoundColumn &column, ChunkRows &rows, ub4 chunk);

  const BoundColumn &column() const { return column_; }
  bool by_kernel() const { return by_kernel_; }
  /// Reads the chunk's codes; nothing to do if they have been read.
  void read();
  const KernelProfile &profile() const { return profile_; }
  /// Stored codes, one for each selected row, if by_kernel().
  const ub4 *unpacked() const { return unpacked_.data(); }

  /// Calls take(i, code) for each of `count` rows with the code of the column's own value, or no_value.
  void each(ub4 count, auto take) const {
    if (by_kernel_ && column_.is_joined())
      for (ub4 i = 0; i < count; ++i) take(i, value_by_code_[unpacked_[i]]);
    else if (by_kernel_)
      for (ub4 i = 0; i < count; ++i) take(i, has_null_ && unpacked_[i] == 0 ? no_value : unpacked_[i]);
    else
      for (ub4 i = 0; i < count; ++i) take(i, read_[i]);
  }

private:
  const BoundColumn &column_;
  ChunkRows &rows_;
  const host::EncodedColumn &data_;
  bool by_kernel_, has_null_;
  std::optional<host::CodeCursor> cursor_; // by_kernel()
  std::vector<ub4> unpacked_;              // stored codes
  std::vector<ub8> read_;                  // codes of values
  KernelProfile profile_;
  CodeMap<ub8> value_by_code_;        // of a joined column that a kernel unpacks
  ub4 read_begin_ = 0, read_end_ = 0; // of the last chunk
};

/// The codes of the columns that a chunk's work asks for, each column once however often it is asked for.
class ChunkCodes {
public:
  ChunkCodes(const host::Library &library, ChunkRows &rows, ub4 chunk)
      : library_(library), rows_(rows), chunk_(chunk) {}

  /// Stays where it is as long as this object.
  ColumnCodes &of(const BoundColumn &column) {
    for (ColumnCodes &codes : codes_)
      if (&codes.column() == &column) return codes;
    return codes_.emplace_back(library_, column, rows_, chunk_);
  }
  /// Adds the calls of kernels.
  void profile(std::vector<KernelProfile> &calls) const {
    for (const ColumnCodes &codes : codes_) calls.push_back(codes.profile());
  }

private:
  const host::Library &library_;
  ChunkRows &rows_;
  ub4 chunk_;
  std::deque<ColumnCodes> codes_;
};

} // namespace mipo::engine

#endif
