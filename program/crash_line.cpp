#include "program/crash_line.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>

namespace quorle {
namespace {

constexpr std::array kCrashes = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
/// Where the handler has used up the stack of the process.
constexpr std::size_t kCrashStack = std::size_t{64} << 10;

/// What a signal handler, which is given no object, writes.
struct LastWords {
  pid_t process = 0;
  std::array<char, 512> line{};
  std::size_t size = 0;
  std::array<char, kCrashStack> stack{};
};
LastWords last_words;

void WriteLastWords(int signal) {
  if (getpid() == last_words.process) {
    [[maybe_unused]] const auto written =
        write(STDERR_FILENO, last_words.line.data(), last_words.size);
  }
  // Blocked until this returns: then it is what would have been.
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

}  // namespace

CrashLine::CrashLine() {
  last_words.process = getpid();
  stack_t alternative{};
  alternative.ss_sp = last_words.stack.data();
  alternative.ss_size = last_words.stack.size();
  sigaltstack(&alternative, nullptr);
  for (const int signal : kCrashes) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_DFL) continue;
    action = {};
    action.sa_handler = WriteLastWords;
    action.sa_flags = SA_ONSTACK;
    sigaction(signal, &action, nullptr);
  }
}

CrashLine::~CrashLine() {
  for (const int signal : kCrashes) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler == WriteLastWords) std::signal(signal, SIG_DFL);
  }
  stack_t none{};
  none.ss_flags = SS_DISABLE;
  sigaltstack(&none, nullptr);
}

void CrashLine::Set(const std::string& line) {
  const std::size_t count = std::min(line.size(), last_words.line.size() - 1);
  last_words.size = 0;
  std::copy_n(line.begin(), count, last_words.line.begin());
  last_words.line[count] = '\n';
  last_words.size = count + 1;
}

}  // namespace quorle
