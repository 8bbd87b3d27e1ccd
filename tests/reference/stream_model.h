// Streams of byte strings, worked out one row at a time: comparing two of them, copying selected rows into a bounded
// output.
#ifndef MIPO_TESTS_REFERENCE_STREAM_MODEL_H
#define MIPO_TESTS_REFERENCE_STREAM_MODEL_H

#include <optional>
#include <string>
#include <vector>

#include "mipo/integers.h"

namespace mipo::reference {

using Rows = std::vector<std::string>; ///< the bytes of each row

struct EqualRows {
  ub4 code = 0, nset = 0;
  std::optional<std::vector<ub8>> words; ///< empty: the bit vector is not touched
};

EqualRows compare_streams(const Rows &left, const Rows &right);

/// A copy of selected rows in values: what the records of the call say, without where it lies.
struct SelectiveCopy {
  Rows rows;
  bool is_list = false;
  std::vector<ub4> selected; ///< ascending rows
  ub4 next_row = 0;          ///< without a list a row, else a place in the list
  ub4 row_capacity = 0;
  std::optional<ub8> byte_capacity; ///< empty: rows have addresses, their bytes take no room
  ub8 bytes_beside_row = 0;         ///< that a row takes in the stream and the output, beside its own

  ub8 position_of(ub4 row) const; ///< in the source, in bytes
};

struct SelectiveOutcome {
  ub4 code = 0;
  std::vector<ub4> copied; ///< row numbers
  ub8 bytes = 0;           ///< of the output
  ub4 next_row = 0;
  std::optional<ub8> data_pos; ///< empty: not told
};

SelectiveOutcome copy_selected(const SelectiveCopy &call);

} // namespace mipo::reference

#endif
