#include "hosted/dos/break_signal.h"

#include <csignal>

namespace quorle {
namespace {

/// Outside an object: a signal handler is given none to write to.
volatile std::sig_atomic_t break_pending = 0;

constexpr int kBreakSignals[] = {SIGINT, SIGTERM, SIGHUP};

void OnBreak(int signal);

/// Gives `signal` its default action when OnBreak() is what it leads to.
void LetGo(int signal) {
  struct sigaction now = {};
  sigaction(signal, nullptr, &now);
  if (now.sa_handler != OnBreak) return;
  now = {};
  now.sa_handler = SIG_DFL;
  sigaction(signal, &now, nullptr);
}

void OnBreak(int /*signal*/) {
  break_pending = 1;
  for (const int signal : kBreakSignals) LetGo(signal);
}

}  // namespace

BreakSignal::BreakSignal() {
  break_pending = 0;
  for (const int signal : kBreakSignals) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = OnBreak;
    for (const int other : kBreakSignals) sigaddset(&action.sa_mask, other);
    // No read or write of a handler is cut short.
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
  }
}

BreakSignal::~BreakSignal() {
  for (const int signal : kBreakSignals) LetGo(signal);
}

bool BreakSignal::TakeBreak() {
  if (break_pending == 0) return false;
  break_pending = 0;
  return true;
}

// NOLINTNEXTLINE(readability-convert-member-functions-to-static): it takes one that is there
bool BreakSignal::IsPending() const {
  return break_pending != 0;
}

}  // namespace quorle
