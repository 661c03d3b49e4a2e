#include "hosted/isolation/handler_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <limits>
#include <thread>

namespace quorle::isolation {
namespace {

constexpr int kFirstOwnDescriptor = STDERR_FILENO + 1;

void CloseTheRest() {
#ifdef SYS_close_range
  if (syscall(SYS_close_range, kFirstOwnDescriptor, std::numeric_limits<unsigned>::max(), 0) == 0) {
    return;
  }
#endif
  // An older kernel. Descriptors are given out from the lowest: few programs get further.
  constexpr int kMany = 1024;
  for (int descriptor = kFirstOwnDescriptor; descriptor < kMany; ++descriptor) close(descriptor);
}

/// The tester's input and output are not the handler's. What it prints is seen all the same.
void LeaveTheParent(pid_t parent) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(0);
  std::signal(SIGINT, SIG_IGN);
  const int nothing = open("/dev/null", O_RDWR);
  if (nothing >= 0) dup2(nothing, STDIN_FILENO);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  // At once: the process may end by a signal.
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  CloseTheRest();
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

HandlerProcess::~HandlerProcess() {
  Kill();
}

std::optional<int> HandlerProcess::Status() {
  int status = 0;
  if (!status_ && waitpid(id_, &status, WNOHANG) == id_) status_ = status;
  return status_;
}

std::optional<int> HandlerProcess::WaitForEnd(std::chrono::nanoseconds timeout) {
  constexpr std::chrono::microseconds kPause{200};
  const auto end = std::chrono::steady_clock::now() + timeout;
  while (!Status() && std::chrono::steady_clock::now() < end) std::this_thread::sleep_for(kPause);
  return status_;
}

void HandlerProcess::Kill() {
  if (Status()) return;
  kill(id_, SIGKILL);
  int status = 0;
  while (waitpid(id_, &status, 0) < 0 && errno == EINTR) {
  }
  status_ = status;
}

std::string DescribeEnd(int status) {
  if (WIFSIGNALED(status)) return "ended by signal " + std::to_string(WTERMSIG(status));
  return "exited with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace quorle::isolation
