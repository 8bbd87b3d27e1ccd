#include "file_progress.h"

#include <cstdio>

#include <fmt/format.h>
#include <unistd.h>

namespace mipo::tools {
namespace {

constexpr std::chrono::milliseconds silence{500}; // what takes less shows nothing
constexpr const char *wipe_line = "\r\x1b[K";

} // namespace

FileProgress::FileProgress(std::string what, std::string file)
    : what_(std::move(what)), file_(std::move(file)), on_terminal_(isatty(STDERR_FILENO) == 1) {
}

FileProgress::~FileProgress() {
  if (shown_) std::fputs(wipe_line, stderr);
}

void FileProgress::show(ub8 bytes_done, ub8 bytes_total) {
  if (!on_terminal_ || bytes_total == 0 || std::chrono::steady_clock::now() - start_ < silence) return;
  const int percent = static_cast<int>(bytes_done * 100 / bytes_total);
  if (percent == percent_) return;
  percent_ = percent;
  shown_ = true;
  fmt::print(stderr, "{}{} {}: {} %", wipe_line, what_, file_, percent);
}

} // namespace mipo::tools
