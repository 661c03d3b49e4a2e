#include "hosted/isolation/crash_trace.h"

#include <cxxabi.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <utility>

// Its header lies among GCC's own, where clang-tidy does not look.
#if defined(QUORLE_HAS_BACKTRACE) && __has_include(<backtrace.h>)
#define QUORLE_LEAVES_TRACES
#include <backtrace.h>
#include <dlfcn.h>
#include <sys/mman.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#endif

namespace quorle::isolation {
namespace {

/// A line: the function, its file and the line there, with these between them.
constexpr char kBetween = '\t';
constexpr std::size_t kMostFrames = 32;

std::string Demangled(const std::string& name) {
  const std::unique_ptr<char, decltype(&std::free)> plain(
      abi::__cxa_demangle(name.c_str(), nullptr, nullptr, nullptr), std::free);
  return plain != nullptr ? plain.get() : name + "()";
}

/// Takes the text before the next `end` off `text`.
std::string_view TakeUntil(char end, std::string_view& text) {
  const std::size_t at = std::min(text.find(end), text.size());
  const std::string_view taken = text.substr(0, at);
  text.remove_prefix(std::min(at + 1, text.size()));
  return taken;
}

}  // namespace

void ClearTrace(std::span<std::byte> place) {
  place.front() = std::byte{0};
}

std::vector<std::string> ReadTrace(std::span<const std::byte> place) {
  // A copy: the process may not be the last that writes there.
  const std::string copy(reinterpret_cast<const char*>(place.data()), place.size());
  std::string_view text = copy;
  text = TakeUntil('\0', text);
  std::vector<std::string> lines;
  while (!text.empty() && lines.size() < kMostFrames) {
    std::string_view frame = TakeUntil('\n', text);
    if (std::count(frame.begin(), frame.end(), kBetween) != 2) break;
    const std::string function = Demangled(std::string(TakeUntil(kBetween, frame)));
    const std::string_view file = TakeUntil(kBetween, frame);
    int line = 0;
    std::from_chars(frame.data(), frame.data() + frame.size(), line);
    std::string shown = "#";
    shown.append(std::to_string(lines.size())).append(" ").append(function);
    if (!file.empty()) shown.append(" at ").append(file).append(":").append(std::to_string(line));
    lines.push_back(std::move(shown));
  }
  return lines;
}

#ifdef QUORLE_LEAVES_TRACES

namespace {

constexpr int kCrashSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTRAP, SIGSYS};
/// Enough for reading debug data, where the handler has used up its own.
constexpr std::size_t kStackBytes = std::size_t{256} << 10;

/// What a signal handler, which is given no object, writes to, and how.
struct Tracer {
  backtrace_state* state = nullptr;
  char* place = nullptr;
  std::size_t size = 0;
  std::size_t used = 0;
  bool has_lines = false;         ///< of source code
  const void* program = nullptr;  ///< where the tester is: the handler was called from there
};
Tracer tracer;

void IgnoreError(void* /*data*/, const char* /*message*/, int /*number*/) {}

const void* ObjectOf(std::uintptr_t address) {
  Dl_info info{};
  // NOLINTNEXTLINE(performance-no-int-to-ptr): that is how the address comes
  return dladdr(reinterpret_cast<void*>(address), &info) != 0 ? info.dli_fbase : nullptr;
}

/// Notes one function; not 0 when that was enough.
int NoteFrame(void* /*data*/, std::uintptr_t address, const char* file, int line,
              const char* function) {
  if (ObjectOf(address) == tracer.program) return 1;
  if (function == nullptr) return 0;
  const std::size_t room = tracer.size - tracer.used;
  const int count =
      std::snprintf(tracer.place + tracer.used, room, "%s%c%s%c%d\n", function, kBetween,
                    file == nullptr ? "" : file, kBetween, file == nullptr ? 0 : line);
  if (count < 0 || static_cast<std::size_t>(count) >= room) {
    tracer.place[tracer.used] = '\0';
    return 1;
  }
  tracer.used += static_cast<std::size_t>(count);
  tracer.has_lines = tracer.has_lines || file != nullptr;
  return 0;
}

[[gnu::noinline]] void OnCrash(int signal) {
  // What crashes from here on ends the process.
  for (const int other : kCrashSignals) std::signal(other, SIG_DFL);
  // Neither this function nor the kernel's way to it.
  constexpr int kSkipped = 2;
  backtrace_full(tracer.state, kSkipped, NoteFrame, IgnoreError, nullptr);
  if (!tracer.has_lines) tracer.place[0] = '\0';
  // Blocked until this returns, to where it happened: a core file shows that.
  std::raise(signal);
}

}  // namespace

void LeaveTraces(std::span<std::byte> place) {
  void* const stack = mmap(nullptr, kStackBytes, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  tracer = {.state = backtrace_create_state(nullptr, 0, IgnoreError, nullptr),
            .place = reinterpret_cast<char*>(place.data()),
            .size = place.size(),
            .program = ObjectOf(reinterpret_cast<std::uintptr_t>(&OnCrash))};
  if (stack == MAP_FAILED || tracer.state == nullptr) return;
  const stack_t alternative{.ss_sp = stack, .ss_flags = 0, .ss_size = kStackBytes};
  sigaltstack(&alternative, nullptr);
  sigset_t crashes;
  sigemptyset(&crashes);
  for (const int signal : kCrashSignals) {
    sigaddset(&crashes, signal);
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_DFL) continue;
    action = {};
    action.sa_handler = OnCrash;
    action.sa_flags = SA_ONSTACK;
    sigaction(signal, &action, nullptr);
  }
  // Blocked by whoever started the program they would do nothing.
  sigprocmask(SIG_UNBLOCK, &crashes, nullptr);
}

#else

void LeaveTraces(std::span<std::byte> /*place*/) {}

#endif

}  // namespace quorle::isolation
