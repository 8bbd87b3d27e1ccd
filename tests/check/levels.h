// The builds of the library under test: every level that this build tree holds and this processor can run, side by side
// in one process, each through its own record.
#ifndef MIPO_TESTS_CHECK_LEVELS_H
#define MIPO_TESTS_CHECK_LEVELS_H

#include <string>
#include <vector>

#include "mipo/open.h"

namespace mipo::check {

struct Level {
  std::string name;
  const mipo_specialized_ctx *record;
};

/// All of them, opened at the first call. The environment variable MIPO_TEST_LIBRARY (files, separated by colons) takes
/// their place. Ends the process with a message if a library does not open or none is left.
const std::vector<Level> &levels();

} // namespace mipo::check

#endif
