#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "selftest/support/temporary_directory.h"

// Runs of the program that are killed or lose their descriptors at some moment, and what becomes of
// their scratch objects.

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;

constexpr int kKillsUnlessGiven = 10;
/// A busy machine may miss every moment that counts; then there are up to so many times more.
constexpr int kPatience = 20;

/// QUORLE_KILLS=500 for more than a self-test has time for.
int Kills() {
  const char* const given = std::getenv("QUORLE_KILLS");
  return given == nullptr ? kKillsUnlessGiven : std::atoi(given);
}

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class KilledRunTest : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    if (std::string(GetParam()) == "xattr" && !KeepsAttributes(base_.path())) {
      GTEST_SKIP() << "no extended attributes in the directory for temporary files";
    }
    fs::create_directory(volume());
    std::ofstream(volume() / "theirs") << "their data";
  }

  fs::path volume() const { return base_.path() / "volume"; }
  fs::path errors() const { return base_.path() / "errors"; }
  fs::path output() const { return base_.path() / "output"; }

  /// Starts the program; `test` is "TN=6" or empty for all.
  pid_t Start(const char* test) const {
    const pid_t process = ::fork();
    if (process != 0) return process;
    // A program without descriptors cannot look for leaks.
    ::setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    ::setenv("XDG_STATE_HOME", (base_.path() / "state").c_str(), 1);
    const std::string mount =
        "DH0=dir:" + volume().string() + ",metadata=" + static_cast<const char*>(GetParam());
    ::dup2(::open(output().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
    ::dup2(::open(errors().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
    ::execl(QUORLE_PROGRAM, QUORLE_PROGRAM, "--no-delay", "--mount", mount.c_str(),
            "DH0:", *test == '\0' ? nullptr : test, nullptr);
    ::_exit(127);
  }

  /// The microseconds that all tests take, on this machine and in this build.
  int WholeRun() const {
    const auto begun = std::chrono::steady_clock::now();
    const pid_t process = Start("");
    int status = 0;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    const auto taken = std::chrono::steady_clock::now() - begun;
    return static_cast<int>(std::chrono::duration_cast<std::chrono::microseconds>(taken).count());
  }

  /// When the run number `run` is stopped first: at any moment of the second half, in which it has
  /// made something and goes on to.
  static int MomentOf(int run, int whole) { return whole / 2 + run * 7919 % (whole / 2 + 1); }

  enum class When { kAny, kBetweenMaking };

  /// Starts all tests and stops them after so many microseconds, or some while later, when something
  /// of theirs is there. 0 when they ended before. Between two stops the run goes on for longer than an
  /// object takes to be made: one that is stopped every few microseconds is always caught as it makes
  /// its first object.
  pid_t StopARun(int microseconds, When when = When::kAny) const {
    const pid_t process = Start("");
    EXPECT_GT(process, 0);
    ::usleep(static_cast<useconds_t>(microseconds));
    for (int step = 0;; ++step) {
      int status = 0;
      ::kill(process, SIGSTOP);
      EXPECT_EQ(::waitpid(process, &status, WUNTRACED), process);
      if (!WIFSTOPPED(status)) return 0;
      if (!Left(true).empty() && (when == When::kAny || !IsMaking())) return process;
      ::kill(process, SIGCONT);
      ::usleep(static_cast<useconds_t>(500 + step * 271 % 1000));
    }
  }

  /// What is in the directory beside what was there first and the file of the records. The handler's
  /// other names are left out of `shown`.
  std::vector<std::string> Left(bool shown) const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(volume())) {
      const std::string name = entry.path().filename();
      if (name == "theirs" || name == ".quorle-metadata") continue;
      if (!shown || !name.starts_with(".quorle-metadata")) names.push_back(name);
    }
    return names;
  }

  /// Whether the run was stopped as it made an object: its journal ends with that.
  bool IsMaking() const {
    const std::string journal = JournalText();
    const std::size_t last_line = journal.rfind('\n', journal.size() - 2) + 1;
    return journal.compare(last_line, 7, "making ") == 0;
  }

  /// Of the one run that is there.
  std::string JournalText() const {
    for (const auto& entry : fs::directory_iterator(base_.path() / "state" / "quorle")) {
      if (entry.path().filename().string().starts_with("directory-")) return Content(entry.path());
    }
    return {};
  }

  /// Has somebody put something of his where a scratch object is: what is open suffices to remove the
  /// tester's own.
  void Obstruct(const std::string& name) const {
    if (fs::is_directory(volume() / name)) {
      std::ofstream(volume() / name / "theirs") << "their data";
    } else {
      std::ofstream(base_.path() / "spare") << "their data";
      fs::rename(base_.path() / "spare", volume() / name);
    }
  }

 private:
  TemporaryDirectory base_;
};

TEST_P(KilledRunTest, TheNextMountNamesAndRemovesWhatIsLeft) {
  const int whole = WholeRun();
  int with_leftovers = 0;
  int unproved = 0;
  const auto is_enough = [&](int kill) {
    return kill >= (unproved < with_leftovers ? Kills() : Kills() * kPatience);
  };
  for (int kill = 0; !is_enough(kill); ++kill) {
    SCOPED_TRACE(kill);
    const pid_t process =
        StopARun(MomentOf(kill, whole), kill % 2 == 0 ? When::kAny : When::kBetweenMaking);
    if (process == 0) continue;
    const bool is_making = IsMaking();
    int status = 0;
    ::kill(process, SIGKILL);
    ASSERT_EQ(::waitpid(process, &status, 0), process);
    const std::vector<std::string> left = Left(true);
    ASSERT_FALSE(left.empty());
    ++with_leftovers;

    const pid_t next = Start("TN=6");
    ASSERT_EQ(::waitpid(next, &status, 0), next);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    const std::string said = Content(errors());
    EXPECT_NE(said.find("(process " + std::to_string(process) + "), which was killed, left"),
              std::string::npos)
        << said;
    for (const std::string& name : left) EXPECT_NE(said.find(name), std::string::npos) << said;
    if (said.find("nothing proves") != std::string::npos) {
      EXPECT_TRUE(is_making) << said;
      ++unproved;
      for (const std::string& name : Left(false)) fs::remove_all(volume() / name);
    }
    EXPECT_EQ(Left(false), std::vector<std::string>());
    EXPECT_EQ(Content(volume() / "theirs"), "their data");
  }
  EXPECT_GT(with_leftovers, 0) << "none of the runs was killed";
  EXPECT_LT(unproved, with_leftovers) << "none of the runs was killed between making two objects";
  std::printf("%d killed runs left something, %d of them something that was not proved theirs\n",
              with_leftovers, unproved);
}

TEST_P(KilledRunTest, WhatStaysWithoutDescriptorsIsNamed) {
  const int whole = WholeRun();
  int with_leftovers = 0;
  const auto is_enough = [&](int run) {
    return run >= (with_leftovers > 0 ? Kills() : Kills() * kPatience);
  };
  for (int run = 0; !is_enough(run); ++run) {
    SCOPED_TRACE(run);
    const pid_t process = StopARun(MomentOf(run, whole));
    if (process == 0) continue;
    for (const std::string& name : Left(true)) Obstruct(name);
    // From here on it can open nothing any more.
    const struct ::rlimit none {};
    ASSERT_EQ(::prlimit(process, RLIMIT_NOFILE, &none, nullptr), 0);
    ::kill(process, SIGCONT);
    int status = 0;
    ASSERT_EQ(::waitpid(process, &status, 0), process);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 10);
    const std::string said = Content(output()) + Content(errors());
    if (!Left(true).empty()) ++with_leftovers;
    for (const std::string& name : Left(true)) {
      EXPECT_NE(said.find('"' + name + '"'), std::string::npos) << name << " is there\n" << said;
    }
    for (const std::string& name : Left(false)) fs::remove_all(volume() / name);
  }
  EXPECT_GT(with_leftovers, 0) << "that was no test";
  std::printf("%d runs left something\n", with_leftovers);
}

INSTANTIATE_TEST_SUITE_P(Metadata, KilledRunTest, ::testing::Values("xattr", "file"),
                         [](const auto& row) { return std::string(row.param); });

}  // namespace
}  // namespace quorle::selftest
