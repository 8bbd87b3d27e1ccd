#include "program/file_progress.h"

#include <cstdio>
#include <memory>

#include <fmt/format.h>
#include <unistd.h>

namespace mipo::program {
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

std::function<void(ub8, ub8)> reading_progress(const std::string &file) {
  const auto progress = std::make_shared<FileProgress>("reading", file);
  return [progress](ub8 done, ub8 total) { progress->show(done, total); };
}

} // namespace mipo::program
