// The program `mipo`: its command line and its exit codes.
#ifndef MIPO_PROGRAM_PROGRAM_H
#define MIPO_PROGRAM_PROGRAM_H

#include <cstddef>
#include <optional>
#include <ostream>

namespace mipo::program {

enum ExitCode {
  exit_ok = 0,
  exit_failed = 1, // the query, the data or the library is at fault
  exit_usage = 2   // the command line is
};

/// Runs the program. Results go to `out`, messages to `err`, each beginning with "mipo: ".
int run_program(int argc, const char *const *argv, std::ostream &out, std::ostream &err,
                std::optional<std::size_t> terminal_width = std::nullopt);

} // namespace mipo::program

#endif
