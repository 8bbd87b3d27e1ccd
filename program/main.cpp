#include <sys/ioctl.h>
#include <unistd.h>

#include <iostream>
#include <optional>

#include "program/program.h"

namespace {

// Columns of the terminal that standard output is; nothing for a file or a pipe.
std::optional<std::size_t> terminal_width() {
  constexpr std::size_t usual = 80; // of terminals that do not tell
  if (isatty(STDOUT_FILENO) == 0) return std::nullopt;
  winsize size{};
  return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usual;
}

} // namespace

int main(int argc, char **argv) {
  std::ios::sync_with_stdio(false);
  return mipo::program::run_program(argc, argv, std::cout, std::cerr, terminal_width());
}
