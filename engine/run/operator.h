// A query runs as a tree of operators. Each pulls batches from those below it and hands its own on:
//
//   scan ─> join by translation ─> filter ─┬─> group ─> having ──────────────┬─> distinct ─> order ─> limit ─> output
//                                          └─> row numbers ─> joined values ─┘
//
// A batch says which rows it is about, not what they hold: columns are read as codes, where they are needed.
#ifndef MIPO_ENGINE_RUN_OPERATOR_H
#define MIPO_ENGINE_RUN_OPERATOR_H

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "engine/run/kernel_profile.h"
#include "engine/run/value_source.h"
#include "mipo/host/column.h"
#include "mipo/host/resumable.h"

namespace mipo::engine {

/// Rows of a base table: of all of it those that a bit vector has, or those of an array of numbers. The groups of a
/// query are a base table, too.
struct TableRows {
  ub4 table_rows = 0;
  const host::Result *selected = nullptr;  ///< of the range 0 to table_rows; null: all of them
  std::optional<std::vector<ub4>> numbers; ///< if the rows are told by number, in this order

  ub8 count() const { return numbers ? numbers->size() : selected != nullptr ? selected->count() : table_rows; }
  /// For cursors, of rows that are not told by number.
  host::RowSelection selection() const {
    return selected != nullptr ? host::RowSelection(selected->bits()) : host::RowSelection();
  }
};

struct Batch {
  std::vector<TableRows> tables; ///< the i-th row is made of the i-th row of each base table
  const ValueSource *values;     ///< of rows told by number

  /// Of the only base table.
  TableRows &rows() { return tables.front(); }
  /// The same, told by number.
  std::vector<ub4> &numbers() { return *rows().numbers; }
};

class Operator {
public:
  explicit Operator(std::unique_ptr<Operator> input) : input_(std::move(input)) {}
  virtual ~Operator() = default;

  /// The next rows; nothing at the end. What a batch refers to is good until the next call.
  virtual std::optional<Batch> next() = 0;
  /// Adds the calls of kernels so far: those of the operators below in front of its own.
  void profile(std::vector<KernelProfile> &calls) const;

protected:
  Operator &input() { return *input_; }
  std::vector<KernelProfile> calls_;

private:
  std::unique_ptr<Operator> input_; // null for a scan
};

/// All rows of the input, told by number, in one batch; nothing if there is none.
std::optional<Batch> pull_all(Operator &input);

} // namespace mipo::engine

#endif
