#include "hosted/connect/child_command.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <thread>

#include "hosted/calls/process_end.h"

namespace quorle::connect {
namespace {

/// As a shell reports a command that it cannot run.
constexpr int kNotRun = 127;

constexpr std::chrono::milliseconds kGlance{5};

/// Kills the group when everybody has closed the other end of the pipe `pipe`.
[[noreturn]] void Guard(const std::array<int, 2>& pipe, const std::array<int, 2>& sockets) {
  for (const int descriptor :
       {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO, pipe[1], sockets[0], sockets[1]}) {
    close(descriptor);
  }
  char nothing = 0;
  while (read(pipe[0], &nothing, 1) < 0 && errno == EINTR) {
  }
  kill(0, SIGKILL);
  _exit(0);
}

[[noreturn]] void RunCommand(const char* command, int descriptor) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (descriptor == ChildCommand::kDescriptor) {
    fcntl(descriptor, F_SETFD, 0);
  } else {
    dup2(descriptor, ChildCommand::kDescriptor);
  }
  // What this process ignores is not the command's.
  for (const int signal : {SIGINT, SIGPIPE}) std::signal(signal, SIG_DFL);
  execl("/bin/sh", "sh", "-c", command, nullptr);
  _exit(kNotRun);
}

}  // namespace

int ChildCommand::Open(std::string& problem) {
  std::array<int, 2> sockets{-1, -1};
  std::array<int, 2> pipe{-1, -1};
  std::signal(SIGCHLD, SIG_DFL);  // its end is ours to see
  pid_t guard = -1;
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets.data()) == 0 &&
      pipe2(pipe.data(), O_CLOEXEC) == 0) {
    std::fflush(nullptr);
    guard = fork();
    if (guard == 0) Guard(pipe, sockets);
    if (guard > 0) id_ = fork();
    if (id_ == 0) RunCommand(command_.c_str(), sockets[1]);
  }
  const int error = errno;
  close(sockets[1]);
  close(pipe[0]);
  // The other end of the pipe stays open as long as this process lives.
  if (id_ > 0) return sockets[0];
  close(pipe[1]);
  close(sockets[0]);
  problem = std::string("no process for the command: ") + std::strerror(error);
  return -1;
}

bool ChildCommand::HasEnded() {
  int status = 0;
  if (!status_ && waitpid(id_, &status, WNOHANG) == id_) status_ = status;
  return status_.has_value();
}

std::optional<std::string> ChildCommand::HowItEnded() {
  const auto end = std::chrono::steady_clock::now() + ending_;
  while (!HasEnded() && std::chrono::steady_clock::now() < end)
    std::this_thread::sleep_for(kGlance);
  if (!status_) return std::nullopt;
  return DescribeEnd(*status_);
}

std::optional<std::string> ChildCommand::Finish() {
  int status = 0;
  while (!status_) {
    if (waitpid(id_, &status, 0) == id_) {
      status_ = status;
    } else if (errno != EINTR) {
      return std::nullopt;
    }
  }
  if (*status_ == 0) return std::nullopt;
  return DescribeEnd(*status_);
}

}  // namespace quorle::connect
