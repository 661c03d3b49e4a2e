#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "hosted/dos/machine.h"
#include "platform/constants.h"
#include "selftest/support/host_filesystem.h"
#include "selftest/support/temporary_directory.h"
#include "selftest/support/test_bench.h"

// A directory of the host as a volume, seen from both sides: through dos, and by the host's own
// calls.

namespace quorle::selftest {

inline constexpr const char* kSideFile = ".quorle-metadata";

using Names = std::vector<std::string>;

/// What is in a file of the host.
std::string Content(const std::filesystem::path& path);
/// Makes a file of the host.
void Put(const std::filesystem::path& path, const std::string& content);
/// What is in a directory of the host, sorted, without the handler's own file.
Names HostNames(const std::filesystem::path& directory);
/// Descriptors that this process has open.
std::size_t OpenDescriptors();

/// DH0: is the directory `root()`; `outside()` lies beside it and must never change.
class HostdirTest : public ::testing::Test {
 protected:
  HostdirTest() {
    ::setenv("XDG_STATE_HOME", (state_.path() / "state").c_str(), 1);
    Put(outside() / "file", "outside");
    std::filesystem::create_directories(outside() / "inner");
    std::filesystem::create_directory(root());
  }
  ~HostdirTest() override {
    Unmount();
    EXPECT_EQ(HostNames(base_.path()), (Names{"outside", "volume"}));
    EXPECT_EQ(HostNames(outside()), (Names{"file", "inner"}));
    EXPECT_EQ(HostNames(outside() / "inner"), Names());
    EXPECT_EQ(Content(outside() / "file"), "outside");
    EXPECT_EQ(Journals(), 0) << "a mount that ended leaves none";
  }

  /// How many journals there are.
  std::ptrdiff_t Journals() const {
    std::error_code none;
    const std::filesystem::directory_iterator all(state_.path() / "state" / "quorle", none);
    return none ? 0 : std::distance(begin(all), end(all));
  }

  std::filesystem::path root() const { return base_.path() / "volume"; }
  std::filesystem::path outside() {
    std::filesystem::create_directory(base_.path() / "outside");
    return base_.path() / "outside";
  }

  /// Mounts a directory with further keys, as ",volume=x". Attributes go where this host has a
  /// place for them.
  void MountAt(const std::filesystem::path& directory, const std::string& keys = "") {
    Unmount();
    std::string mount = "DH0=dir:" + directory.string() + keys;
    if (keys.find("metadata=") == std::string::npos && !KeepsAttributes(directory)) {
      mount += ",metadata=file";
    }
    bench_ = std::make_unique<TestBench>(std::vector<std::string>{"--mount", mount, "DH0:"});
  }
  void Mount(const std::string& keys = "") { MountAt(root(), keys); }
  void Unmount() {
    if (bench_ == nullptr) return;
    for (const std::string& complaint : bench_->machine().ShutDown()) ADD_FAILURE() << complaint;
    bench_.reset();
  }
  /// Why a mount is refused; empty when it is not.
  std::string Refusal(const std::filesystem::path& directory, const std::string& keys = "") {
    try {
      TestBench bench({"--mount", "DH1=dir:" + directory.string() + keys, "DH1:"});
      return {};
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  DosInterface& dos() { return bench_->machine().dos(); }
  /// Everything on the volume, as TestBench::Volumes() shows it, of DH0: alone and without its
  /// root.
  std::string Listing() {
    const std::string all = bench_->Volumes();
    const std::size_t start = all.find("DH0: label");
    return all.substr(all.find('\n', start) + 1);
  }
  Names Shown() {
    Names names;
    std::string all = Listing();
    for (std::size_t at = all.find(" type="); at != std::string::npos; at = all.find(" type=")) {
      names.push_back(all.substr(0, at));
      all.erase(0, all.find('\n') + 1);
    }
    return names;
  }

  template <class Result>
  std::int32_t Code(Result result) {
    return result ? 0 : dos().IoErr();
  }
  std::int32_t LockCode(const std::string& name) {
    const LockHandle lock = dos().Lock(name.c_str(), SHARED_LOCK);
    const std::int32_t code = Code(lock);
    dos().UnLock(lock);
    return code;
  }
  std::int32_t OpenCode(const std::string& name, std::int32_t mode) {
    const FileHandle file = dos().Open(name.c_str(), mode);
    const std::int32_t code = Code(file);
    dos().Close(file);
    return code;
  }
  std::int32_t DirectoryCode(const std::string& name) {
    const LockHandle lock = dos().CreateDir(name.c_str());
    const std::int32_t code = Code(lock);
    dos().UnLock(lock);
    return code;
  }
  LockHandle MustLock(const char* name) {
    const LockHandle lock = dos().Lock(name, SHARED_LOCK);
    EXPECT_TRUE(lock) << name << ": " << dos().IoErr();
    return lock;
  }
  FileHandle MustOpen(const char* name, std::int32_t mode) {
    const FileHandle file = dos().Open(name, mode);
    EXPECT_TRUE(file) << name << ": " << dos().IoErr();
    return file;
  }
  std::int32_t WriteCode(FileHandle file, const std::string& text) {
    const auto length = static_cast<std::int32_t>(text.size());
    return dos().Write(file, text.data(), length) == length ? 0 : dos().IoErr();
  }
  void Make(const char* name, const std::string& content = "") {
    const FileHandle file = MustOpen(name, MODE_NEWFILE);
    EXPECT_EQ(content.empty() ? 0 : WriteCode(file, content), 0) << name;
    EXPECT_TRUE(dos().Close(file));
  }
  std::string ReadAll(const char* name) {
    const FileHandle file = MustOpen(name, MODE_OLDFILE);
    std::string content(1000, '\0');
    const std::int32_t count = dos().Read(file, content.data(), 1000);
    dos().Close(file);
    content.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return content;
  }
  struct Attributes {
    bool found = false;
    std::uint32_t type = 0;
    DateStamp date{};
    std::uint32_t links = 0;
    std::string comment;
    std::uint32_t protection = 0;
    std::uint32_t owner = 0;
  };
  Attributes Look(const char* name) {
    const ExamineData* const data = dos().ExamineObject(EX_ObjectNameInput, name);
    if (data == nullptr) return {};
    Attributes found{true,          data->Type,       data->Date,    data->RefCount,
                     data->Comment, data->Protection, data->OwnerUID};
    dos().FreeDosObject(DOS_EXAMINEDATA, data);
    return found;
  }

  /// Mounts in a process of its own, has it do `work`, and ends it at once, as a signal would.
  /// Returns the process.
  pid_t DieAfter(const std::string& keys, const std::function<void()>& work) {
    Unmount();
    const pid_t process = ::fork();
    if (process == 0) {
      Mount(keys);
      work();
      ::_exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0);
    return process;
  }

  TemporaryDirectory base_;
  TemporaryDirectory state_;
  std::unique_ptr<TestBench> bench_;
};

}  // namespace quorle::selftest
