#include "program/shell_command.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "hosted/calls/process_end.h"
#include "hosted/isolation/handler_process.h"
#include "program/orphans.h"

namespace quorle {
namespace {

/// How long an interruption or the end of the time may go unnoticed.
constexpr int kTickOfPoll = 50;
constexpr std::chrono::milliseconds kTick{kTickOfPoll};

/// A descriptor that is closed in the end.
class OwnDescriptor {
 public:
  explicit OwnDescriptor(int number = -1) : number_(number) {}
  ~OwnDescriptor() { Close(); }
  OwnDescriptor(const OwnDescriptor&) = delete;
  OwnDescriptor& operator=(const OwnDescriptor&) = delete;

  int get() const { return number_; }
  void Close() {
    if (number_ >= 0) close(std::exchange(number_, -1));
  }

 private:
  friend struct OwnPipe;
  int number_;
};

struct OwnPipe {
  bool Open() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
    reader.number_ = ends[0];
    writer.number_ = ends[1];
    return true;
  }

  OwnDescriptor reader;
  OwnDescriptor writer;
};

/// What the two processes share.
struct Pipes {
  bool Open() { return output.Open() && status.Open() && orders.Open(); }

  OwnPipe output;  ///< what the command prints
  OwnPipe status;  ///< how it ended, as waitpid() reports it
  OwnPipe orders;  ///< a byte: interrupt it; the end: kill it
};

/// Reads or waits again after a signal.
template <class Call>
ssize_t Retry(Call call) {
  ssize_t result = 0;
  while ((result = call()) < 0 && errno == EINTR) {
  }
  return result;
}

// ---- The command's own process -----------------------------------------------------------------

[[noreturn]] void BecomeCommand(const ShellCommand& command, int output) {
  setpgid(0, 0);
  // What this program ignores the command does not.
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGXFSZ, SIGCHLD}) {
    std::signal(signal, SIG_DFL);
  }
  const int nothing = open("/dev/null", O_RDONLY);
  if (nothing >= 0) dup2(nothing, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  isolation::CloseOtherDescriptors();
  for (const auto& [name, value] : command.environment) setenv(name.c_str(), value.c_str(), 1);
  execl("/bin/sh", "sh", "-c", command.text.c_str(), nullptr);
  std::fprintf(stderr, "/bin/sh: %s\n", std::strerror(errno));
  constexpr int kCannotBeRun = 126;
  _exit(kCannotBeRun);
}

// ---- The process that keeps watch over it ------------------------------------------------------

/// Waits until the command `id` has ended and returns how; kills it when the orders end.
int AwaitCommand(pid_t id, int orders) {
  const int descriptor = isolation::OpenProcess(id);
  std::array<pollfd, 2> wanted{{{orders, POLLIN, 0}, {descriptor, POLLIN, 0}}};
  for (;;) {
    int status = 0;
    // An old kernel has no such descriptor.
    poll(wanted.data(), wanted.size(), descriptor < 0 ? kTickOfPoll : -1);
    if (Retry([&] { return waitpid(id, &status, WNOHANG); }) == id) return status;
    if (wanted[0].revents == 0) continue;
    char order = 0;
    const bool goes_on = Retry([&] { return read(orders, &order, 1); }) == 1;
    kill(-id, goes_on ? SIGINT : SIGKILL);
    if (goes_on) continue;
    Retry([&] { return waitpid(id, &status, 0); });
    return status;
  }
}

/// Runs the command and reports how it ended, once everything that it started has.
[[noreturn]] void KeepWatch(const ShellCommand& command, Pipes& pipes) {
  setsid();
  std::signal(SIGINT, SIG_IGN);
  for (const int signal : {SIGTERM, SIGHUP, SIGCONT, SIGURG}) std::signal(signal, SIG_DFL);
  pipes.orders.writer.Close();
  int status = -1;
  {
    const Orphans descendants;
    const pid_t id = fork();
    if (id == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      BecomeCommand(command, pipes.output.writer.get());
    }
    pipes.output.writer.Close();
    if (id > 0) {
      setpgid(id, id);
      status = AwaitCommand(id, pipes.orders.reader.get());
    }
  }
  static_cast<void>(
      Retry([&] { return write(pipes.status.writer.get(), &status, sizeof status); }));
  _exit(0);
}

// ---- This process ------------------------------------------------------------------------------

/// Prints what the command prints, and remembers its last line.
class Output {
 public:
  explicit Output(const ShellCommand& command) : command_(command) {}

  /// Takes what there is in `descriptor`. False at the end.
  bool Take(int descriptor) {
    std::array<char, 4096> block{};
    const ssize_t count = Retry([&] { return read(descriptor, block.data(), block.size()); });
    if (count <= 0) return false;
    const std::string_view text(block.data(), static_cast<std::size_t>(count));
    if (command_.print) command_.print(text);
    is_torn_ = text.back() != '\n';
    for (const char c : text) {
      if (c == '\n') {
        EndLine();
      } else if (line_.size() < kLongestLine) {
        line_ += c;
      }
    }
    return true;
  }

  /// Ends the line that nothing ended. Returns the last one with anything on it.
  const std::string& End() {
    if (is_torn_ && command_.print) command_.print("\n");
    EndLine();
    return last_;
  }

 private:
  static constexpr std::size_t kLongestLine = 200;

  void EndLine() {
    const bool is_blank = line_.find_first_not_of(" \t\r") == std::string::npos;
    if (!is_blank) last_ = line_.substr(0, line_.find_last_not_of(" \t\r") + 1);
    line_.clear();
  }

  const ShellCommand& command_;
  std::string line_;
  std::string last_;
  bool is_torn_ = false;
};

/// Follows the command to its end. Returns how it ended; nothing when its time was over.
std::optional<int> Follow(const ShellCommand& command, Pipes& pipes, Output& output) {
  using Moment = std::chrono::steady_clock;
  std::array<pollfd, 2> wanted{
      {{pipes.status.reader.get(), POLLIN, 0}, {pipes.output.reader.get(), POLLIN, 0}}};
  std::chrono::nanoseconds spent{0};
  bool interrupted = false;
  bool late = false;
  Moment::time_point last = Moment::now();
  while (Retry([&] { return poll(wanted.data(), wanted.size(), kTickOfPoll); }) >= 0) {
    if (wanted[1].revents != 0 && !output.Take(wanted[1].fd)) wanted[1].fd = -1;
    if (wanted[0].revents != 0) break;
    if (!interrupted && command.was_interrupted && command.was_interrupted()) {
      interrupted = true;
      static_cast<void>(!write(pipes.orders.writer.get(), "", 1));
    }
    // The time in which this process was stopped does not count.
    const Moment::time_point now = Moment::now();
    spent += std::min<std::chrono::nanoseconds>(now - std::exchange(last, now), 2 * kTick);
    if (late || spent < command.limit) continue;
    late = true;
    pipes.orders.writer.Close();
  }
  // Whoever could print more has ended.
  pollfd rest{pipes.output.reader.get(), POLLIN, 0};
  while (poll(&rest, 1, 0) > 0 && output.Take(rest.fd)) {
  }
  int status = 0;
  const bool has_status = Retry([&] {
                            return read(pipes.status.reader.get(), &status, sizeof status);
                          }) == sizeof status;
  if (late) return std::nullopt;
  return has_status ? status : -1;
}

}  // namespace

std::string RunShellCommand(const ShellCommand& command) {
  Pipes pipes;
  std::fflush(nullptr);
  const pid_t id = pipes.Open() ? fork() : -1;
  if (id < 0) return std::string("could not be run: ") + std::strerror(errno);
  if (id == 0) KeepWatch(command, pipes);
  pipes.output.writer.Close();
  pipes.status.writer.Close();
  pipes.orders.reader.Close();
  Output output(command);
  const std::optional<int> status = Follow(command, pipes, output);
  Retry([&] { return waitpid(id, nullptr, 0); });

  const std::string& line = output.End();
  if (status == 0) return {};
  const auto seconds = command.limit.count();
  std::string how = status ? (*status == -1 ? "could not be run" : DescribeEnd(*status))
                           : "did not end within " + std::to_string(seconds) +
                                 (seconds == 1 ? " second" : " seconds");
  return line.empty() ? how : how + ": \"" + line + "\"";
}

}  // namespace quorle
