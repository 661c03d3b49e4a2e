#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/magic.h>
#include <sys/ptrace.h>
#include <sys/vfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "selftest/support/temporary_directory.h"

// What a run over a directory of the host costs in system calls. On a FUSE filesystem most of them are
// a way to another process and back.

namespace quorle::selftest {
namespace {

/// Calls of the host for one of the tester. The least that can be is in docs/hostdir.md.
constexpr double kMostForACall = 4.3;

/// Where most hosts have a tmpfs that everybody may use.
constexpr const char* kSharedMemory = "/dev/shm";

bool IsTmpfs(const char* path) {
  struct ::statfs stat {};
  return ::statfs(path, &stat) == 0 && stat.f_type == TMPFS_MAGIC;
}

/// Runs the program and counts its system calls, in all its threads and not in its children; -1 where
/// a process may not be watched.
long CountSystemCalls(const std::vector<std::string>& arguments) {
  const pid_t process = ::fork();
  if (process == 0) {
    std::vector<char*> argv = {const_cast<char*>(QUORLE_PROGRAM)};
    for (const std::string& argument : arguments)
      argv.push_back(const_cast<char*>(argument.data()));
    argv.push_back(nullptr);
    ::setenv("ASAN_OPTIONS", "detect_leaks=0", 1);  // that watches the process, too
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(nowhere, STDOUT_FILENO);
    ::dup2(nowhere, STDERR_FILENO);
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(126);
    ::raise(SIGSTOP);
    ::execv(QUORLE_PROGRAM, argv.data());
    ::_exit(127);
  }
  int status = 0;
  if (::waitpid(process, &status, 0) != process || !WIFSTOPPED(status)) return -1;
  constexpr auto kOptions =
      static_cast<std::uintptr_t>(PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_EXITKILL);
  ::ptrace(PTRACE_SETOPTIONS, process, nullptr, kOptions);
  ::ptrace(PTRACE_SYSCALL, process, nullptr, nullptr);
  long stops = 0;
  for (;;) {
    const pid_t stopped = ::waitpid(-1, &status, __WALL);
    if (stopped < 0) return -1;
    if (!WIFSTOPPED(status)) {
      if (stopped == process) break;
      continue;
    }
    // A call stops twice, when it begins and when it ends.
    const int signal = WSTOPSIG(status);
    std::uintptr_t passed_on = 0;
    if (signal == (SIGTRAP | 0x80)) {
      ++stops;
    } else if (signal != SIGTRAP && signal != SIGSTOP) {
      passed_on = static_cast<std::uintptr_t>(signal);
    }
    ::ptrace(PTRACE_SYSCALL, stopped, nullptr, passed_on);
  }
  return WIFEXITED(status) && WEXITSTATUS(status) <= 10 ? stops / 2 : -1;
}

/// Calls of the tester in a run over a device: the lines of its trace that are no output.
long CountCalls(const std::string& trace) {
  std::ifstream lines(trace);
  long calls = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.find("\"op\":\"Output\"") == std::string::npos) ++calls;
  }
  return calls;
}

class SystemCallsTest : public ::testing::TestWithParam<const char*> {};

TEST_P(SystemCallsTest, ARunOverADirectoryTakesFew) {
  if (!IsTmpfs(kSharedMemory)) GTEST_SKIP() << kSharedMemory << " is no tmpfs";
  const TemporaryDirectory directory(kSharedMemory);
  if (std::string(GetParam()) == "xattr" && !KeepsAttributes(directory.path())) {
    GTEST_SKIP() << "no extended attributes in " << kSharedMemory;
  }
  const TemporaryDirectory other;
  ::setenv("XDG_STATE_HOME", (other.path() / "state").c_str(), 1);
  const std::string mount = "DH0=dir:" + directory.path().string() + ",metadata=" + GetParam();
  const std::string trace = (other.path() / "trace").string();
  const std::string command = std::string(QUORLE_PROGRAM) + " --no-delay --trace " + trace +
                              " --mount " + mount + " DH0: >/dev/null 2>&1";
  static_cast<void>(std::system(command.c_str()));
  const long calls = CountCalls(trace);
  ASSERT_GT(calls, 1000) << "that was no whole run";

  // What the program costs without the directory is no matter here.
  const long plain = CountSystemCalls({"--no-delay", "RAM:"});
  if (plain < 0) GTEST_SKIP() << "this user or this machine cannot watch a process";
  const long all = CountSystemCalls({"--no-delay", "--mount", mount, "DH0:"});
  ASSERT_GT(all, plain);
  const double for_a_call = static_cast<double>(all - plain) / static_cast<double>(calls);
  std::printf("%ld system calls more than over RAM:, %ld calls of the tester: %.2f for each\n",
              all - plain, calls, for_a_call);
  EXPECT_LE(for_a_call, kMostForACall);
}

INSTANTIATE_TEST_SUITE_P(Metadata, SystemCallsTest, ::testing::Values("xattr", "file"),
                         [](const auto& row) { return std::string(row.param); });

}  // namespace
}  // namespace quorle::selftest
