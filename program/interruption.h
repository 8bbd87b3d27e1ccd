// Ctrl-C and SIGTERM as an exception, for work that must not be left half done.
#ifndef MIPO_PROGRAM_INTERRUPTION_H
#define MIPO_PROGRAM_INTERRUPTION_H

#include <csignal>
#include <exception>

namespace mipo::program {

/// What Interruptible::check() throws.
class Interrupted : public std::exception {
public:
  explicit Interrupted(int signal) : signal_(signal) {}
  const char *what() const noexcept override { return "interrupted"; }
  /// As shells tell it: 130 after SIGINT, 143 after SIGTERM.
  int exit_code() const noexcept { return 128 + signal_; }

private:
  int signal_;
};

/// While one lives, the two signals are noted and do not end the process. One at a time.
class Interruptible {
public:
  Interruptible();
  Interruptible(const Interruptible &) = delete;
  Interruptible &operator=(const Interruptible &) = delete;
  ~Interruptible();

  /// Throws Interrupted if a signal has come.
  void check() const;

private:
  static constexpr int signals[] = {SIGINT, SIGTERM};
  struct sigaction before_[2];
};

} // namespace mipo::program

#endif
