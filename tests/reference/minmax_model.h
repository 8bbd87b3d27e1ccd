// The least and the greatest code of the selected rows, worked out one row at a time.
#ifndef MIPO_TESTS_REFERENCE_MINMAX_MODEL_H
#define MIPO_TESTS_REFERENCE_MINMAX_MODEL_H

#include <optional>
#include <string>
#include <vector>

#include "decompression_model.h"
#include "mipo/integers.h"

namespace mipo::reference {

/// A call in values: what the records of the call say, without where it lies.
struct MinmaxCall {
  enum class Selection { none, bits, list };

  std::string kernel; ///< its name
  bool null_aware = false;
  std::vector<ub4> codes; ///< of the rows; of a run-length column, of the runs
  bool run_length = false;
  std::vector<ub4> run_lengths; ///< none is 0
  ub4 code_count = 1;           ///< codes of the dictionary
  ub8 mode = 0;                 ///< 1: the least, 2: the greatest, any other: both
  Selection selection = Selection::none;
  std::vector<ub4> selected; ///< ascending rows, of both forms of a selection
  ub4 next_row = 0;          ///< the first row that is still to be done
  Compression compression;

  ub4 rows() const;
};

struct MinmaxOutcome {
  struct Extremes {
    ub4 least, greatest;
  };

  ub4 code = 1;
  std::optional<Extremes> extremes; ///< empty: the result is not touched
  bool least_is_told = true, greatest_is_told = true;
  bool ended_early = false;
  std::optional<ub4> next_row; ///< empty: not told
  std::optional<ub4> nset;     ///< empty: not touched
  std::vector<std::string> calls;
};

MinmaxOutcome minmax(const MinmaxCall &call);

} // namespace mipo::reference

#endif
