#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "selftest/support/temporary_directory.h"

// Runs of the program while another process keeps putting files and directories of its own where
// the tester's scratch objects are. Nothing of that process may be lost or changed.

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;

constexpr int kNames = 4;  ///< FILE01 to FILE04, and so on
constexpr int kRunsUnlessGiven = 10;

/// QUORLE_RACER_RUNS=400 for more than a self-test has time for.
int Runs() {
  const char* const given = std::getenv("QUORLE_RACER_RUNS");
  return given == nullptr ? kRunsUnlessGiven : std::atoi(given);
}

std::string ContentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// What must not change of an object; its links and its time of status may.
std::string StateOf(const fs::path& path) {
  struct ::stat stat {};
  if (::lstat(path.c_str(), &stat) != 0) return "gone";
  std::string state = std::to_string(stat.st_ino) + ' ' + std::to_string(stat.st_mode) + ' ' +
                      std::to_string(stat.st_mtim.tv_sec) + '.' +
                      std::to_string(stat.st_mtim.tv_nsec);
  char attributes[256];
  const ssize_t length = ::listxattr(path.c_str(), attributes, sizeof attributes);
  state += " attributes:" + std::to_string(length);
  if (S_ISDIR(stat.st_mode)) {
    for (const auto& entry : fs::directory_iterator(path))
      state += " holds " + entry.path().string();
    return state;
  }
  const std::string content = ContentOf(path);
  return state + ' ' + std::to_string(content.size()) + ' ' +
         std::to_string(std::hash<std::string>()(content));
}

ino_t InodeOf(const fs::path& path) {
  struct ::stat stat {};
  return ::lstat(path.c_str(), &stat) == 0 ? stat.st_ino : 0;
}

/// What the racing process and this one share.
struct Shared {
  std::atomic<bool> stop = false;
  std::atomic<long> placed = 0;
};

/// Something of the racing process's, and the name in the volume that it goes to.
struct Victim {
  fs::path home;
  fs::path target;
  bool linked;  ///< a further link of it goes there, or it goes itself
  ino_t inode = 0;
  std::string state;
};

class Racer {
 public:
  Racer(const fs::path& base, Shared& shared)
      : shared_(shared), volume_(base / "volume"), spare_(base / "spare") {
    fs::remove_all(base / "outside");
    fs::create_directory(base / "outside");
    fs::create_directory(volume_);
    const std::string content = "somebody's data, " + std::string(5000, '#');
    for (int i = 1; i <= kNames; ++i) {
      for (const char* const name : {"FILE", "LINK", "DIRECTORY"}) {
        const std::string numbered = name + ("0" + std::to_string(i));
        for (const bool linked : {true, false}) {
          const bool is_directory = *name == 'D';
          if (is_directory && linked) continue;
          Victim victim{base / "outside" / (numbered + (linked ? "-linked" : "-moved")),
                        volume_ / numbered, linked, 0, ""};
          if (is_directory) {
            fs::create_directory(victim.home);
          } else {
            std::ofstream(victim.home, std::ios::binary) << content << victim.home;
          }
          const std::timespec times[2] = {{1000000000, 0}, {1000000000 + i, 0}};
          ::utimensat(AT_FDCWD, victim.home.c_str(), times, 0);
          victim.inode = InodeOf(victim.home);
          victim.state = StateOf(victim.home);
          victims_.push_back(victim);
        }
      }
    }
  }

  /// Until it is stopped.
  void Run() {
    while (!shared_.stop) {
      for (const Victim& victim : victims_) {
        if (shared_.stop) break;
        if (!victim.linked) {
          TakeBack(victim);
          Place(victim);
        } else if (IsFree(victim.target)) {
          Swap(victim);
        }
      }
    }
  }

  /// After a run: what was lost or changed. The volume is empty then.
  std::vector<std::string> Differences() {
    std::vector<std::string> differences;
    for (const Victim& victim : victims_) {
      if (!victim.linked && InodeOf(victim.home) != victim.inode) FindAgain(victim);
      const std::string state = StateOf(victim.home);
      if (state == victim.state) continue;
      differences.push_back(victim.home.filename().string() + ": " + state + ", was " +
                            victim.state);
    }
    for (const auto& entry : fs::directory_iterator(volume_)) {
      if (entry.path().filename() != ".quorle-metadata") fs::remove_all(entry.path());
    }
    return differences;
  }

 private:
  /// Whether none of the victims that go themselves is at `target`, or may come back to it.
  bool IsFree(const fs::path& target) const {
    for (const Victim& victim : victims_) {
      if (!victim.linked && victim.target == target) return InodeOf(victim.home) == victim.inode;
    }
    return true;
  }
  /// Replaces what has the name by a link to the victim; makes one where nothing has it.
  void Swap(const Victim& victim) {
    ::unlink(spare_.c_str());
    if (::link(victim.home.c_str(), spare_.c_str()) != 0) return;
    if (::rename(spare_.c_str(), victim.target.c_str()) == 0) ++shared_.placed;
  }
  void Place(const Victim& victim) {
    if (InodeOf(victim.home) != victim.inode) return;
    if (::rename(victim.home.c_str(), victim.target.c_str()) == 0) ++shared_.placed;
  }
  void TakeBack(const Victim& victim) {
    if (InodeOf(victim.home) == victim.inode || InodeOf(victim.target) != victim.inode) return;
    if (::renameat2(AT_FDCWD, victim.target.c_str(), AT_FDCWD, victim.home.c_str(),
                    RENAME_NOREPLACE) != 0 ||
        InodeOf(victim.home) == victim.inode) {
      return;
    }
    // That was something of the tester's.
    if (::renameat2(AT_FDCWD, victim.home.c_str(), AT_FDCWD, victim.target.c_str(),
                    RENAME_NOREPLACE) != 0) {
      fs::remove_all(victim.home);
    }
  }
  void FindAgain(const Victim& victim) {
    fs::remove_all(victim.home);
    for (const auto& entry : fs::recursive_directory_iterator(volume_)) {
      if (InodeOf(entry.path()) != victim.inode) continue;
      fs::rename(entry.path(), victim.home);
      return;
    }
  }

  Shared& shared_;
  fs::path volume_;
  fs::path spare_;
  std::vector<Victim> victims_;
};

class RacerTest : public ::testing::TestWithParam<const char*> {};

TEST_P(RacerTest, NothingOfAnotherProcessIsLost) {
  TemporaryDirectory base;
  if (std::string(GetParam()) == "xattr" && !KeepsAttributes(base.path())) {
    GTEST_SKIP() << "no extended attributes in the directory for temporary files";
  }
  void* const memory =
      ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  auto& shared = *new (memory) Shared;
  const std::string command =
      std::string("XDG_STATE_HOME='") + (base.path() / "state").string() +
      "' '" QUORLE_PROGRAM "' --no-delay --mount 'DH0=dir:" + (base.path() / "volume").string() +
      ",metadata=" + GetParam() + "' DH0: >'" + (base.path() / "output").string() + "' 2>&1";
  int runs_with_differences = 0;
  for (int run = 0; run < Runs(); ++run) {
    Racer racer(base.path(), shared);
    shared.stop = false;
    const pid_t process = ::fork();
    ASSERT_GE(process, 0);
    if (process == 0) {
      racer.Run();
      ::_exit(0);
    }
    const int status = std::system(command.c_str());
    shared.stop = true;
    ASSERT_EQ(::waitpid(process, nullptr, 0), process);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_TRUE(WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == 10)
        << WEXITSTATUS(status) << ContentOf(base.path() / "output");
    const std::vector<std::string> differences = racer.Differences();
    if (!differences.empty()) ++runs_with_differences;
    for (const std::string& difference : differences)
      ADD_FAILURE() << "run " << run << ": " << difference;
  }
  EXPECT_GT(shared.placed, 10 * Runs()) << "that was no race";
  std::printf("%d runs, %d with losses or changes, %ld objects placed\n", Runs(),
              runs_with_differences, shared.placed.load());
  ::munmap(memory, sizeof(Shared));
}

INSTANTIATE_TEST_SUITE_P(Metadata, RacerTest, ::testing::Values("xattr", "file"),
                         [](const auto& row) { return std::string(row.param); });

}  // namespace
}  // namespace quorle::selftest
