// A line on the terminal that tells how far the reading of a file has come.
#ifndef MIPO_TOOLS_READING_PROGRESS_H
#define MIPO_TOOLS_READING_PROGRESS_H

#include <chrono>
#include <string>

#include "mipo/integers.h"

namespace mipo::tools {

/// Shows itself on standard error if that is a terminal and the reading takes long, and wipes itself out at the end.
class ReadingProgress {
public:
  explicit ReadingProgress(std::string file);
  ReadingProgress(const ReadingProgress &) = delete;
  ReadingProgress &operator=(const ReadingProgress &) = delete;
  ~ReadingProgress();

  void show(ub8 bytes_done, ub8 bytes_total);

private:
  std::string file_;
  bool on_terminal_;
  bool shown_ = false;
  int percent_ = -1;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

} // namespace mipo::tools

#endif
