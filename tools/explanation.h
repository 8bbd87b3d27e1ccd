// What --explain shows: how the data was read, and every call of a kernel with its rows and its time.
#ifndef MIPO_TOOLS_EXPLANATION_H
#define MIPO_TOOLS_EXPLANATION_H

#include <ostream>
#include <string>
#include <vector>

#include "executor.h"
#include "file_reading.h"
#include "json_value.h"

namespace mipo::tools {

struct Explanation {
  std::vector<Reading> readings; // file by file
  std::string level;             // instruction set of the library
  const Answer *answer = nullptr;
};

void write_explanation(std::ostream &out, const Explanation &explanation);
JsonValue explanation_json(const Explanation &explanation);

} // namespace mipo::tools

#endif
