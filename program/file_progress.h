// A line on the terminal that tells how far the work on a file has come.
#ifndef MIPO_PROGRAM_FILE_PROGRESS_H
#define MIPO_PROGRAM_FILE_PROGRESS_H

#include <chrono>
#include <functional>
#include <string>

#include "mipo/integers.h"

namespace mipo::program {

/// Shows itself on standard error if that is a terminal and the work takes long, and wipes itself out at the end.
class FileProgress {
public:
  /// `what` is done with `file`: "reading", "writing", ...
  FileProgress(std::string what, std::string file);
  FileProgress(const FileProgress &) = delete;
  FileProgress &operator=(const FileProgress &) = delete;
  ~FileProgress();

  void show(ub8 bytes_done, ub8 bytes_total);

private:
  std::string what_, file_;
  bool on_terminal_;
  bool shown_ = false;
  int percent_ = -1;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// Shows how far the reading of a file is, for as long as the function or a copy of it lives.
std::function<void(ub8 bytes_done, ub8 bytes_total)> reading_progress(const std::string &file);

} // namespace mipo::program

#endif
