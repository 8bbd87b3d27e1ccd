// Runs a plan with the library's kernels and remembers every call.
#ifndef MIPO_TOOLS_EXECUTOR_H
#define MIPO_TOOLS_EXECUTOR_H

#include <optional>
#include <string>
#include <vector>

#include "mipo/host/library.h"
#include "plan.h"

namespace mipo::tools {

/// One call of a kernel or of an entry of the record, or rows that the program reads one by one.
struct Step {
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
};

struct Answer {
  ub8 row_count = 0;                          // rows that qualify
  std::vector<ub4> rows;                      // their numbers, as far as the output needs them
  std::vector<std::optional<ub8>> aggregates; // of a plan that aggregates: codes of min and max, for each output column
  std::vector<Step> steps;

  double kernel_seconds() const;
};

/// Throws host::Error for kernels that this build of the library does not have, and for what they report.
Answer execute(const host::Library &library, const Plan &plan);

} // namespace mipo::tools

#endif
