// What --explain shows: how the data was read, and every call of a kernel with its rows and its time.
#ifndef MIPO_PROGRAM_EXPLANATION_H
#define MIPO_PROGRAM_EXPLANATION_H

#include <ostream>
#include <string>
#include <vector>

#include "engine/catalog/file_reading.h"
#include "engine/run/kernel_profile.h"
#include "program/json_value.h"

namespace mipo::program {

struct Explanation {
  std::vector<engine::Reading> readings; // file by file
  std::string level;                     // instruction set of the library
  std::vector<engine::KernelProfile> calls;
};

void write_explanation(std::ostream &out, const Explanation &explanation);
JsonValue explanation_json(const Explanation &explanation);

} // namespace mipo::program

#endif
