#include "hosted/break_signal.h"

#include <csignal>

namespace quorle {
namespace {

/// The program's only variable outside an object: a signal handler is given no object to write to.
volatile std::sig_atomic_t break_pending = 0;

void OnInterrupt(int) {
  break_pending = 1;
}

}  // namespace

BreakSignal::BreakSignal() {
  break_pending = 0;
  struct sigaction action = {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  // SA_RESETHAND: the default action is back for the second signal. SA_RESTART: no read or write of
  // a handler is cut short.
  action.sa_flags = static_cast<int>(SA_RESETHAND) | SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
}

BreakSignal::~BreakSignal() {
  std::signal(SIGINT, SIG_DFL);
}

bool BreakSignal::TakeBreak() {
  if (break_pending == 0) return false;
  break_pending = 0;
  return true;
}

}  // namespace quorle
