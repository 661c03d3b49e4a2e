#include "hosted/isolation/handler_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <thread>

namespace quorle::isolation {
namespace {

constexpr int kFirstOwnDescriptor = STDERR_FILENO + 1;

/// Waits until the process behind `descriptor` has ended, at most for `timeout`; without one a
/// moment.
void AwaitEnd(int descriptor, std::chrono::nanoseconds timeout) {
  constexpr std::chrono::microseconds kMoment{200};
  if (descriptor < 0) {
    std::this_thread::sleep_for(kMoment);
    return;
  }
  pollfd wanted{descriptor, POLLIN, 0};
  poll(&wanted, 1, static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(timeout).count()));
}

/// Whether our child `id` is no more, reaped or not. It stays as it is.
bool HasEnded(pid_t id) {
  siginfo_t info{};
  if (waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOHANG | WNOWAIT) != 0) {
    return errno == ECHILD;
  }
  return info.si_pid == id;
}

/// Waits for the end of a child, as waitpid() names it, and returns how it ended; none without one.
std::optional<int> Reap(pid_t id) {
  int status = 0;
  pid_t ended = 0;
  while ((ended = waitpid(id, &status, 0)) < 0 && errno == EINTR) {
  }
  if (ended < 0) return std::nullopt;
  return status;
}

/// The tester's input and output are not the handler's. What it prints is seen all the same.
void LeaveTheParent(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(0);
  setsid();
  std::signal(SIGINT, SIG_IGN);
  for (const int signal : {SIGTERM, SIGHUP, SIGCONT}) std::signal(signal, SIG_DFL);
  const int nothing = open("/dev/null", O_RDWR);
  if (nothing >= 0) dup2(nothing, STDIN_FILENO);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  // At once: the process may end by a signal.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  CloseOtherDescriptors();
}

}  // namespace

std::unique_ptr<HandlerProcess> HandlerProcess::Start(const std::function<void()>& body,
                                                      std::string& problem) {
  // What is still to be printed would be printed twice.
  std::fflush(nullptr);
  const pid_t parent = getpid();
  const pid_t id = fork();
  if (id < 0) {
    problem = std::string("no process for the handler: ") + std::strerror(errno);
    return nullptr;
  }
  if (id == 0) {
    LeaveTheParent(parent);
    // An exception of the handler ends it where it was thrown; the copy of the tester around it is
    // not to be unwound.
    [&body]() noexcept { body(); }();
    std::fflush(nullptr);
    _exit(0);
  }
  return std::unique_ptr<HandlerProcess>(new HandlerProcess(id));
}

HandlerProcess::HandlerProcess(pid_t id) : id_(id), descriptor_(OpenProcess(id)) {}

HandlerProcess::~HandlerProcess() {
  Kill();
  if (descriptor_ >= 0) close(descriptor_);
}

std::optional<int> HandlerProcess::Status() {
  if (!status_ && HasEnded(id_)) EndSession();
  return status_;
}

bool HandlerProcess::IsStopped() const {
  // "1234 (the name) T ...": nothing in a name is safe from being taken for its end but the last.
  std::ifstream file("/proc/" + std::to_string(id_) + "/stat");
  std::string line;
  std::getline(file, line);
  const std::size_t state = line.rfind(") ");
  if (state == std::string::npos || state + 2 >= line.size()) return false;
  return line[state + 2] == 'T' || line[state + 2] == 't';
}

std::optional<int> HandlerProcess::WaitForEnd(std::chrono::nanoseconds timeout) {
  const auto end = std::chrono::steady_clock::now() + timeout;
  while (!Status()) {
    const auto left = end - std::chrono::steady_clock::now();
    if (left <= left.zero()) break;
    AwaitEnd(descriptor_, left);
  }
  return status_;
}

void HandlerProcess::Abort() {
  if (!Status()) kill(id_, SIGABRT);
}

void HandlerProcess::Kill() {
  if (Status()) return;
  kill(id_, SIGKILL);
  EndSession();
}

/// Kills what is left of the session of a process that has ended or was killed, and reaps the
/// process and then what came to us of its session. As long as it is not reaped its number is
/// nobody else's.
void HandlerProcess::EndSession() {
  kill(-id_, SIGKILL);
  // Without a report of its end, which somebody else took, it counts as ended well.
  status_ = Reap(id_).value_or(0);
  while (Reap(-id_)) {
  }
}

int OpenProcess(pid_t id) {
#ifdef SYS_pidfd_open
  return static_cast<int>(syscall(SYS_pidfd_open, id, 0));
#else
  static_cast<void>(id);
  return -1;
#endif
}

void CloseOtherDescriptors() {
#ifdef SYS_close_range
  if (syscall(SYS_close_range, kFirstOwnDescriptor, std::numeric_limits<unsigned>::max(), 0) == 0) {
    return;
  }
#endif
  // An older kernel. The lowest free descriptor comes first: few programs get further.
  constexpr int kMany = 1024;
  for (int descriptor = kFirstOwnDescriptor; descriptor < kMany; ++descriptor) close(descriptor);
}

}  // namespace quorle::isolation
