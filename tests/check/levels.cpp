#include "levels.h"

#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace mipo::check {
namespace {

bool runs_here(const std::string &level) {
#if defined(__x86_64__)
  if (level == "avx2") return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
  if (level == "sse42") return __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("popcnt");
#endif
  return level == "plain" || level == "neon";
}

Level open(const std::string &path) {
  mipo_library library;
  if (mipo_open_path(&library, path.c_str()) != 0) {
    std::fprintf(stderr, "%s: %s\n", path.c_str(), library.message);
    std::exit(2);
  }
  return {library.level, library.record};
}

std::vector<Level> open_all() {
  std::vector<Level> opened;
  std::string path;
  if (const char *files = std::getenv("MIPO_TEST_LIBRARY")) {
    for (std::istringstream list(files); std::getline(list, path, ':');) opened.push_back(open(path));
  } else {
    std::istringstream list(MIPO_TEST_LEVEL_FILES); // "level=file" pairs, separated by colons
    while (std::getline(list, path, ':')) {
      const auto equals = path.find('=');
      if (runs_here(path.substr(0, equals))) opened.push_back(open(path.substr(equals + 1)));
    }
  }
  if (opened.empty()) {
    std::fprintf(stderr, "no library to test\n");
    std::exit(2);
  }
  return opened;
}

} // namespace

const std::vector<Level> &levels() {
  static const std::vector<Level> all = open_all();
  return all;
}

} // namespace mipo::check
