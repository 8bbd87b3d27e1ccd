// What --explain tells of the work: a line for each kernel that was called.
#ifndef MIPO_ENGINE_RUN_KERNEL_PROFILE_H
#define MIPO_ENGINE_RUN_KERNEL_PROFILE_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "mipo/host/translation_table.h"
#include "mipo/integers.h"

namespace mipo::engine {

class Stopwatch {
public:
  double seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point start_ = Clock::now();
};

/// The table that a translation kernel looks codes up in.
struct TranslationUsed {
  host::TableMapping mapping;
  host::EntryWidth width;
  std::size_t bytes;
};

/// One call of a kernel or of an entry of the record, or rows that the program reads one by one.
struct KernelProfile {
  enum class Kind { kernel, entry, row_by_row };
  Kind kind = Kind::kernel;
  std::string name;
  std::string expanded_by; // the kernel that made rows of the answer for runs; empty for columns without runs
  ub4 key = 0;             // in the dispatch table; for an entry, its slot in the record
  std::string condition;   // what the call stands for, in the query's terms
  ub8 rows_in = 0;         // rows that were still in question
  ub8 rows_out = 0;        // rows that remained
  ub8 rows_read = 0;       // rows that the call looked at: rows_in of a selective call, else all
  bool selective = false;
  double seconds = 0;
  std::optional<TranslationUsed> translation;

  /// Adds the time that has passed, and rows.
  void add(const Stopwatch &stopwatch, ub8 in, ub8 read) {
    seconds += stopwatch.seconds();
    rows_in += in;
    rows_read += read;
  }
  /// Adds the time and rows of the same step on another thread.
  void add(const KernelProfile &other) {
    seconds += other.seconds;
    rows_in += other.rows_in;
    rows_out += other.rows_out;
    rows_read += other.rows_read;
  }
};

/// Of all calls.
double total_seconds(const std::vector<KernelProfile> &calls);

/// A step by an entry of the record, which lies at `byte_in_record`.
KernelProfile entry_step(const char *name, std::size_t byte_in_record, const std::string &condition);
/// A step by a column kernel.
KernelProfile kernel_step(ub4 key, const std::string &condition);
/// A step by a translation kernel with this table.
KernelProfile translation_step(ub4 key, const host::TranslationTable &table, const std::string &condition);
/// A step that the program makes itself.
KernelProfile row_step(const char *name, const std::string &condition);

} // namespace mipo::engine

#endif
