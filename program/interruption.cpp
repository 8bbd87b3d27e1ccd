#include "program/interruption.h"

#include <iterator>

namespace mipo::program {
namespace {

volatile std::sig_atomic_t noted_signal = 0;

void note(int signal) {
  noted_signal = signal;
}

} // namespace

Interruptible::Interruptible() {
  noted_signal = 0;
  struct sigaction action {};
  action.sa_handler = note;
  for (std::size_t i = 0; i < std::size(signals); ++i) ::sigaction(signals[i], &action, &before_[i]);
}

Interruptible::~Interruptible() {
  for (std::size_t i = 0; i < std::size(signals); ++i) ::sigaction(signals[i], &before_[i], nullptr);
}

void Interruptible::check() const {
  if (noted_signal != 0) throw Interrupted(noted_signal);
}

} // namespace mipo::program
