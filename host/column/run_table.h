// Runs of equal rows: how long they are, as kernels read it, and which of them a row is in.
#ifndef MIPO_HOST_COLUMN_RUN_TABLE_H
#define MIPO_HOST_COLUMN_RUN_TABLE_H

#include <span>
#include <vector>

#include "mipo/host/aligned_buffer.h"
#include "mipo/host/encoding.h"
#include "mipo/vec.h"

namespace mipo::host {

/// Number of runs that rows make, if none is longer than `longest`.
ub8 count_runs(std::span<const ub4> rows, ub8 longest);
/// The longest run that the form can tell.
ub8 longest_run(RunForm form) noexcept;
/// Bytes that the form takes for so many runs.
std::size_t run_bytes(RunForm form, ub8 runs) noexcept;

class RunTable {
public:
  RunTable() = default;
  /// Finds the runs of `rows`, equal numbers being equal rows.
  RunTable(std::span<const ub4> rows, RunForm form);
  /// Of runs that lie in memory as a table has written them.
  RunTable(RunForm form, ub4 run_count, bool has_long_runs, AlignedBuffer extents, AlignedBuffer first_rows) noexcept;

  /// The number of each run's rows.
  const std::vector<ub4> &values() const noexcept { return values_; }
  /// Frees what values() gives.
  void drop_values() noexcept { values_ = {}; }
  /// Bytes as stored.
  std::size_t bytes() const noexcept { return extents_.size(); }
  ub4 run_count() const noexcept { return run_count_; }
  /// Whether any has more than 255 rows.
  bool has_long_runs() const noexcept { return has_long_runs_; }
  /// Lengths or starts; the first rows of every so many runs.
  std::span<const std::byte> extents() const noexcept { return extents_.bytes(); }
  std::span<const std::byte> index() const noexcept { return first_rows_.bytes(); }
  static constexpr ub4 index_step = 32; ///< runs from one of them to the next
  static std::size_t index_bytes(ub8 runs) noexcept;
  /// The first row of each run that the index has.
  std::span<const ub4> first_rows() const noexcept;
  ub4 run_of(ub4 row) const noexcept;
  /// Of ascending rows, as many.
  void runs_of(std::span<const ub4> rows, std::span<ub4> runs) const noexcept;
  ub4 length(ub4 run) const noexcept;
  /// Points the context's fields here, where they stay until the table is destroyed.
  void describe(mipo_enc_ctx &enc_ctx) const noexcept;

private:
  template <class Unit>
  Unit unit(std::size_t i) const noexcept;
  template <class Unit>
  void store(std::span<const ub4> numbers);

  RunForm form_ = RunForm::none;
  ub4 run_count_ = 0;
  bool has_long_runs_ = false;
  std::vector<ub4> values_;
  AlignedBuffer extents_;
  AlignedBuffer first_rows_;
};

} // namespace mipo::host

#endif
