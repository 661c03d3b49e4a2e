#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "hosted/dos/machine.h"
#include "platform/constants.h"
#include "selftest/support/host_filesystem.h"
#include "selftest/support/temporary_directory.h"
#include "selftest/support/test_bench.h"

// A directory of the host as a volume, seen from both sides: through dos, and by the host's own
// calls.

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSideFile = ".quorle-metadata";

std::string Content(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Put(const fs::path& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  EXPECT_TRUE(file.flush()) << path;
}

/// What is in a directory of the host, sorted, without the handler's own file.
std::vector<std::string> HostNames(const fs::path& directory) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(directory)) {
    if (entry.path().filename() != kSideFile) names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::size_t OpenDescriptors() {
  const fs::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

/// Acts for a user who may do little, as long as it lives.
class AsNobody {
 public:
  AsNobody() {
    if (::setegid(kNobody) != 0 || ::seteuid(kNobody) != 0) {
      throw std::runtime_error("cannot be nobody");
    }
  }
  ~AsNobody() {
    if (::seteuid(0) != 0 || ::setegid(0) != 0) std::abort();
  }
  AsNobody(const AsNobody&) = delete;
  AsNobody& operator=(const AsNobody&) = delete;

  static constexpr unsigned kNobody = 65534;
};

using Names = std::vector<std::string>;

/// DH0: is the directory `root()`; `outside()` lies beside it and must never change.
class HostdirTest : public ::testing::Test {
 protected:
  HostdirTest() {
    ::setenv("XDG_STATE_HOME", (state_.path() / "state").c_str(), 1);
    Put(outside() / "file", "outside");
    fs::create_directories(outside() / "inner");
    fs::create_directory(root());
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
    const fs::directory_iterator all(state_.path() / "state" / "quorle", none);
    return none ? 0 : std::distance(begin(all), end(all));
  }

  fs::path root() const { return base_.path() / "volume"; }
  fs::path outside() {
    fs::create_directory(base_.path() / "outside");
    return base_.path() / "outside";
  }

  /// Mounts a directory with further keys, as ",volume=x". Attributes go where this host has a
  /// place.
  void MountAt(const fs::path& directory, const std::string& keys = "") {
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
  std::string Refusal(const fs::path& directory, const std::string& keys = "") {
    try {
      TestBench bench({"--mount", "DH1=dir:" + directory.string() + keys, "DH1:"});
      return {};
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  DosInterface& dos() { return bench_->machine().dos(); }
  /// Everything on the volume, as TestBench::Volumes() tells it, of DH0: alone and without its
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
  struct Facts {
    bool found = false;
    std::uint32_t type = 0;
    DateStamp date{};
    std::uint32_t links = 0;
    std::string comment;
    std::uint32_t protection = 0;
    std::uint32_t owner = 0;
  };
  Facts Look(const char* name) {
    const ExamineData* const data = dos().ExamineObject(EX_ObjectNameInput, name);
    if (data == nullptr) return {};
    Facts facts{true,          data->Type,       data->Date,    data->RefCount,
                data->Comment, data->Protection, data->OwnerUID};
    dos().FreeDosObject(DOS_EXAMINEDATA, data);
    return facts;
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

// ---- Mounting
// ------------------------------------------------------------------------------------

TEST_F(HostdirTest, OnlyADirectoryIsMounted) {
  Put(root() / "file", "");
  EXPECT_NE(Refusal(root() / "missing").find("cannot open the directory"), std::string::npos);
  EXPECT_NE(Refusal(root() / "file").find("cannot open the directory"), std::string::npos);
  EXPECT_NE(Refusal("", "").find("nothing after"), std::string::npos);
  try {
    TestBench bench({"--mount", "DH0=dir", "DH0:"});
    ADD_FAILURE() << "there is no directory";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("no directory to mount"), std::string::npos);
  }
}

TEST_F(HostdirTest, KeysThatAreNoneAreRefused) {
  EXPECT_NE(Refusal(root(), ",metadata=stone").find("metadata=stone is no value"),
            std::string::npos);
  EXPECT_NE(Refusal(root(), ",scratch=1").find("scratch=1 is no value"), std::string::npos);
  EXPECT_NE(Refusal(root(), ",size=1").find("knows no key size"), std::string::npos);
  EXPECT_NE(Refusal(root(), ",state=x").find("state=x is no value"), std::string::npos);
  EXPECT_NE(Refusal(root(), ",volume=a/b").find("volume=a/b is no value"), std::string::npos);
}

TEST_F(HostdirTest, ADirectoryIsMountedOnce) {
  Mount();
  EXPECT_NE(Refusal(root()).find("mounted already"), std::string::npos);
  Unmount();
  EXPECT_EQ(Refusal(root(), KeepsAttributes(root()) ? "" : ",metadata=file"), "");
}

TEST_F(HostdirTest, ADirectoryThatCannotBeWrittenIsNotMounted) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, to become somebody who may not write";
  fs::permissions(base_.path(), fs::perms(0755));
  fs::permissions(root(), fs::perms(0755));
  const AsNobody nobody;
  EXPECT_NE(Refusal(root()).find("cannot be written"), std::string::npos);
  EXPECT_NE(Refusal(root(), ",metadata=file").find("cannot be written"), std::string::npos);
}

TEST_F(HostdirTest, ADirectoryFromWhichNothingIsDeletedIsNotMounted) {
  for (const char attribute : {'a', 'i'}) {
    SCOPED_TRACE(attribute);
    const std::string command =
        std::string("chattr ") + "+" + attribute + " " + root().string() + " 2>/dev/null";
    if (std::system(command.c_str()) != 0) GTEST_SKIP() << "no such attributes here";
    const std::string xattr = Refusal(root());
    const std::string file = Refusal(root(), ",metadata=file");
    EXPECT_EQ(std::system(("chattr -a -i " + root().string()).c_str()), 0);
    for (const std::string& refusal : {xattr, file}) {
      EXPECT_NE(refusal.find(std::string("(chattr +") + attribute + ")"), std::string::npos)
          << refusal;
    }
    EXPECT_TRUE(fs::is_empty(root()));
  }
}

TEST_F(HostdirTest, AUmaskThatTakesTheOwnersRightsIsRefused) {
  const mode_t before = ::umask(0777);
  const std::string xattr = Refusal(root());
  const std::string file = Refusal(root(), ",metadata=file");
  EXPECT_EQ(::umask(before), mode_t{0777}) << "it was changed";
  for (const std::string& refusal : {xattr, file}) {
    EXPECT_NE(refusal.find("the umask 0777"), std::string::npos) << refusal;
  }
  EXPECT_TRUE(fs::is_empty(root()));
}

TEST_F(HostdirTest, AFullHostSaysSoAtTheMount) {
  std::string why_not;
  // So old that no attribute has a place in an inode.
  const auto host = HostFilesystem::Make("ext2", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  {
    std::ofstream filler(host->path().parent_path() / "filler", std::ios::binary);
    const std::string block(1024, 'x');
    while (filler << block << std::flush) continue;
  }
  const std::string xattr = Refusal(host->path());
  EXPECT_NE(xattr.find("no room for extended attributes"), std::string::npos) << xattr;
  EXPECT_EQ(xattr.find("metadata=file"), std::string::npos) << xattr;
  // A file that has to be written again finds no room either; the old one stays.
  EXPECT_EQ(Refusal(host->path(), ",metadata=file"), "") << "an empty one needs none";
  const std::string record = "1 comment=" + std::string(200, 'c') + "\n";
  EXPECT_EQ(::truncate((host->path().parent_path() / "filler").c_str(), 0), 0);
  Put(host->path() / kSideFile, record);
  {
    std::ofstream filler(host->path().parent_path() / "filler", std::ios::binary);
    const std::string block(1024, 'x');
    while (filler << block << std::flush) continue;
  }
  const std::string file = Refusal(host->path(), ",metadata=file");
  EXPECT_NE(file.find("cannot write .quorle-metadata (No space left"), std::string::npos) << file;
  EXPECT_EQ(Content(host->path() / kSideFile), record);
  EXPECT_EQ(HostNames(host->path()), Names());
}

TEST_F(HostdirTest, AMissingRightIsNamed) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, to become somebody else";
  fs::permissions(base_.path(), fs::perms(0755));
  // As the directory for temporary files is: everybody makes files, and removes nobody else's.
  fs::permissions(root(), fs::perms(01777));
  const auto refusal = [this](const char* keys) {
    const AsNobody nobody;
    return Refusal(root(), keys);
  };
  const std::string attributes = refusal("");
  EXPECT_NE(attributes.find("cannot be set (Operation not permitted)"), std::string::npos)
      << attributes;
  Put(root() / kSideFile, "");
  const std::string rename = refusal(",metadata=file");
  EXPECT_NE(rename.find("cannot write .quorle-metadata (Operation not"), std::string::npos)
      << rename;
  fs::permissions(root() / kSideFile, fs::perms(0600));
  const std::string read = refusal(",metadata=file");
  EXPECT_NE(read.find("cannot read .quorle-metadata (Permission denied)"), std::string::npos)
      << read;
  EXPECT_EQ(HostNames(root()), Names());
}

TEST_F(HostdirTest, NothingIsLeftOpen) {
  const std::size_t before = OpenDescriptors();
  Mount();
  Make("DH0:file", "x");
  LockHandle locks[100];
  const std::size_t mounted = OpenDescriptors();
  for (LockHandle& lock : locks) lock = MustLock("DH0:file");
  EXPECT_EQ(OpenDescriptors(), mounted) << "a lock needs no descriptor";
  const FileHandle one = MustOpen("DH0:file", MODE_OLDFILE);
  const FileHandle two = MustOpen("DH0:file", MODE_OLDFILE);
  EXPECT_EQ(OpenDescriptors(), mounted + 1) << "a file needs one, however often it is open";
  dos().Close(one);
  dos().Close(two);
  for (const LockHandle lock : locks) dos().UnLock(lock);
  Unmount();
  EXPECT_EQ(OpenDescriptors(), before);
}

// ---- Names
// ---------------------------------------------------------------------------------------

TEST_F(HostdirTest, DotsAreNamesLikeAnyOther) {
  Mount();
  EXPECT_EQ(LockCode("DH0:.."), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(LockCode("DH0:."), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(LockCode("DH0:../outside/file"), ERROR_OBJECT_NOT_FOUND);
  Make("DH0:.", "one");
  EXPECT_EQ(DirectoryCode("DH0:.."), 0);
  Make("DH0:../outside", "two");
  EXPECT_EQ(Code(dos().Rename("DH0:../outside", "DH0:../..")), 0);
  EXPECT_EQ(ReadAll("DH0:."), "one");
  EXPECT_EQ(ReadAll("DH0:../.."), "two");
  EXPECT_EQ(Shown(), (Names{"DH0:.", "DH0:..", "DH0:../.."}));
  EXPECT_EQ(HostNames(root()), (Names{"\xef\x80\xae", "\xef\x80\xae\xef\x80\xae"}));
  EXPECT_EQ(Code(dos().Delete("DH0:../..")), 0);
  EXPECT_EQ(Code(dos().Delete("DH0:..")), 0);
  EXPECT_EQ(Code(dos().Delete("DH0:.")), 0);
  EXPECT_EQ(HostNames(root()), Names());
}

TEST_F(HostdirTest, ImpossibleNamesAreRefused) {
  Mount();
  Make("DH0:file");
  const std::string long_name(256, 'n');
  // 128 characters, 256 bytes for the host.
  const std::string wide_name(128, '\xe4');
  for (const std::string& name :
       {std::string("DH0::a:b"), std::string("DH0:a\nb"), std::string("DH0:\x1f"),
        "DH0:" + long_name, "DH0:" + wide_name}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(OpenCode(name, MODE_NEWFILE), ERROR_INVALID_COMPONENT_NAME);
    EXPECT_EQ(DirectoryCode(name), ERROR_INVALID_COMPONENT_NAME);
    EXPECT_EQ(Code(dos().Rename("DH0:file", name.c_str())), ERROR_INVALID_COMPONENT_NAME);
    EXPECT_EQ(Code(dos().MakeLink(name.c_str(), "x", LINK_SOFT)), ERROR_INVALID_COMPONENT_NAME);
    EXPECT_EQ(LockCode(name), ERROR_INVALID_COMPONENT_NAME);
  }
  EXPECT_EQ(HostNames(root()), Names{"file"});
  const std::string longest = "DH0:" + std::string(255, 'n');
  const std::string widest = "DH0:" + std::string(127, '\xe4');
  for (const std::string& name : {longest, widest}) {
    Make(name.c_str(), "x");
    EXPECT_EQ(ReadAll(name.c_str()), "x");
    EXPECT_EQ(Code(dos().Delete(name.c_str())), 0);
  }
}

TEST_F(HostdirTest, CaseIsKeptAndIgnored) {
  Mount();
  Make(
      "DH0:Gr\xfc\xdf"
      "e",
      "x");
  EXPECT_EQ(HostNames(root()), Names{"Gr\xc3\xbc\xc3\x9f"
                                     "e"});
  EXPECT_EQ(ReadAll("DH0:gR\xdc\xdf"
                    "E"),
            "x");
  EXPECT_EQ(OpenCode("DH0:GR\xdc\xdf"
                     "E",
                     MODE_NEWFILE),
            0);
  EXPECT_EQ(HostNames(root()), Names{"Gr\xc3\xbc\xc3\x9f"
                                     "e"});
  EXPECT_EQ(Code(dos().Rename("DH0:GR\xdc\xdf"
                              "E",
                              "DH0:gr\xfc\xdf"
                              "e")),
            0);
  EXPECT_EQ(HostNames(root()), Names{"gr\xc3\xbc\xc3\x9f"
                                     "e"});
}

TEST_F(HostdirTest, NamesThatDifferInCaseAloneAreAllReached) {
  Put(root() / "FILE", "first in byte order");
  Put(root() / "File", "second");
  Put(root() / "file", "third");
  Mount(",scratch=no");
  EXPECT_EQ(Shown(), (Names{"DH0:FILE", "DH0:File", "DH0:file"}));
  EXPECT_EQ(ReadAll("DH0:FILE"), "first in byte order");
  EXPECT_EQ(ReadAll("DH0:File"), "second");
  EXPECT_EQ(ReadAll("DH0:file"), "third");
  EXPECT_EQ(ReadAll("DH0:fILE"), "first in byte order");
  EXPECT_EQ(DirectoryCode("DH0:fILE"), ERROR_OBJECT_EXISTS);
  EXPECT_EQ(Code(dos().Rename("DH0:File", "DH0:fILE")), ERROR_OBJECT_EXISTS);
  EXPECT_EQ(Code(dos().Delete("DH0:File")), 0);
  EXPECT_EQ(HostNames(root()), (Names{"FILE", "file"}));
}

TEST_F(HostdirTest, NamesOfOneFileThatDifferInCaseAreTwo) {
  Put(root() / "AB", "x");
  fs::create_hard_link(root() / "AB", root() / "ab");
  Mount(",scratch=no");
  EXPECT_EQ(Shown(), (Names{"DH0:AB", "DH0:ab"}));
  EXPECT_EQ(Code(dos().Delete("DH0:ab")), 0);
  EXPECT_EQ(HostNames(root()), Names{"AB"});
}

TEST_F(HostdirTest, ForeignNamesAreHiddenAndStay) {
  const Names foreign = {"a:b", "new\nline", "\xe2\x82\xac", "\xff\xfe"};
  fs::create_directory(root() / "dir");
  for (const std::string& name : foreign) Put(root() / "dir" / name, "theirs");
  Mount(",scratch=no");
  EXPECT_EQ(Shown(), Names{"DH0:dir"});
  EXPECT_EQ(LockCode("DH0:dir/a:b"), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().Delete("DH0:dir")), ERROR_DIRECTORY_NOT_EMPTY);
  EXPECT_EQ(Code(dos().Rename("DH0:dir", "DH0:moved")), 0);
  EXPECT_EQ(HostNames(root() / "moved"), foreign);
}

// ---- What is foreign
// -----------------------------------------------------------------------------

TEST_F(HostdirTest, SymbolicLinksAreNotFollowed) {
  fs::create_symlink(outside() / "file", root() / "to-file");
  fs::create_directory_symlink(outside(), root() / "to-directory");
  fs::create_directory_symlink("..", root() / "up");
  Put(root() / "inside", "inside");
  fs::create_symlink("inside", root() / "to-inside");
  Mount();
  Make("DH0:mine");
  EXPECT_EQ(Shown(), (Names{"DH0:inside", "DH0:mine"}));
  for (const char* const name : {"DH0:to-file", "DH0:TO-FILE", "DH0:to-directory", "DH0:up",
                                 "DH0:to-inside", "DH0:to-directory/file", "DH0:up/outside"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(LockCode(name), ERROR_OBJECT_WRONG_TYPE);
    for (const std::int32_t mode : {MODE_OLDFILE, MODE_READWRITE, MODE_NEWFILE}) {
      EXPECT_EQ(OpenCode(name, mode), ERROR_OBJECT_WRONG_TYPE);
    }
    EXPECT_EQ(Code(dos().Delete(name)), ERROR_OBJECT_WRONG_TYPE);
    EXPECT_EQ(Code(dos().SetComment(name, "x")), ERROR_OBJECT_WRONG_TYPE);
    EXPECT_EQ(Code(dos().Rename(name, "DH0:x")), ERROR_OBJECT_WRONG_TYPE);
  }
  for (const char* const name : {"DH0:to-file", "DH0:TO-DIRECTORY", "DH0:up", "DH0:to-inside"}) {
    EXPECT_EQ(DirectoryCode(name), ERROR_OBJECT_EXISTS) << name;
    EXPECT_EQ(Code(dos().MakeLink(name, "x", LINK_SOFT)), ERROR_OBJECT_EXISTS) << name;
    EXPECT_EQ(Code(dos().Rename("DH0:mine", name)), ERROR_OBJECT_EXISTS) << name;
  }
  EXPECT_EQ(HostNames(root()),
            (Names{"inside", "mine", "to-directory", "to-file", "to-inside", "up"}));
}

TEST_F(HostdirTest, PipesAreLeftAlone) {
  ASSERT_EQ(::mkfifo((root() / "pipe").c_str(), 0666), 0);
  Mount();
  EXPECT_EQ(Shown(), Names());
  EXPECT_EQ(OpenCode("DH0:pipe", MODE_OLDFILE), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(Code(dos().Delete("DH0:pipe")), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(HostNames(root()), Names{"pipe"});
}

TEST_F(HostdirTest, WhatIsMountedInsideIsForeign) {
  fs::create_directory(root() / "dir");
  std::string why_not;
  const auto other = HostFilesystem::Make("tmpfs", "", why_not);
  if (other == nullptr) GTEST_SKIP() << why_not;
  Put(other->path() / "theirs", "x");
  const std::string command =
      "mount --bind " + other->path().string() + " " + (root() / "dir").string();
  ASSERT_EQ(std::system(command.c_str()), 0);
  Mount();
  EXPECT_EQ(Shown(), Names());
  EXPECT_EQ(LockCode("DH0:dir"), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(LockCode("DH0:dir/theirs"), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(DirectoryCode("DH0:dir"), ERROR_OBJECT_EXISTS);
  EXPECT_EQ(std::system(("umount " + (root() / "dir").string()).c_str()), 0);
  EXPECT_EQ(Shown(), Names{"DH0:dir"});
}

// ---- What is somebody's data
// --------------------------------------------------------------------------------

TEST_F(HostdirTest, WhatWasThereBeforeIsReadButNotChanged) {
  Put(root() / "theirs", "their data");
  fs::create_directories(root() / "dir" / "inner");
  Put(root() / "dir" / "file", "their data");
  Mount();
  Make("DH0:mine", "my data");
  for (const char* const name : {"DH0:theirs", "DH0:dir/file"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(ReadAll(name), "their data");
    for (const std::int32_t mode : {MODE_OLDFILE, MODE_READWRITE}) {
      const FileHandle file = MustOpen(name, mode);
      EXPECT_EQ(WriteCode(file, "x"), ERROR_INVALID_LOCK);
      EXPECT_EQ(Code(dos().ChangeFileSize(file, 0, OFFSET_BEGINNING)), ERROR_INVALID_LOCK);
      dos().Close(file);
    }
    EXPECT_EQ(OpenCode(name, MODE_NEWFILE), ERROR_INVALID_LOCK);
    const LockHandle lock = MustLock(name);
    EXPECT_EQ(Code(dos().MakeLink("DH0:hard", lock, LINK_HARD)), ERROR_INVALID_LOCK);
    dos().UnLock(lock);
  }
  for (const char* const name : {"DH0:theirs", "DH0:dir/file", "DH0:dir", "DH0:dir/inner"}) {
    SCOPED_TRACE(name);
    EXPECT_TRUE(Look(name).found);
    EXPECT_EQ(Code(dos().SetComment(name, "x")), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().SetProtection(name, 1)), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().SetOwnerInfo(name, OI_OwnerUID, 1)), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().SetDate(name, {1, 2, 3})), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().Rename(name, "DH0:other")), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().Delete(name)), ERROR_INVALID_LOCK);
  }
  EXPECT_EQ(OpenCode("DH0:dir/new", MODE_NEWFILE), ERROR_INVALID_LOCK);
  EXPECT_EQ(DirectoryCode("DH0:dir/new"), ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(dos().MakeLink("DH0:dir/new", "x", LINK_SOFT)), ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(dos().Rename("DH0:mine", "DH0:dir/new")), ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(dos().SetComment("DH0:", "the root is the tester's too")), 0);
  EXPECT_EQ(Code(dos().Delete("DH0:mine")), 0);
  EXPECT_EQ(HostNames(root()), (Names{"dir", "theirs"}));
  EXPECT_EQ(HostNames(root() / "dir"), (Names{"file", "inner"}));
  EXPECT_EQ(Content(root() / "theirs"), "their data");
  EXPECT_EQ(Content(root() / "dir" / "file"), "their data");
  EXPECT_EQ(Code(dos().SetComment("DH0:", "")), 0);

  Mount(",scratch=no");
  EXPECT_EQ(OpenCode("DH0:dir/file", MODE_NEWFILE), 0);
  EXPECT_EQ(Content(root() / "dir" / "file"), "");
  EXPECT_EQ(Code(dos().Delete("DH0:theirs")), 0);
  EXPECT_EQ(HostNames(root()), Names{"dir"});
}

TEST_F(HostdirTest, WhatTakesTheNameOfAScratchObjectIsNotChanged) {
  Mount();
  for (const char* const name : {"moved", "linked"}) {
    SCOPED_TRACE(name);
    const std::string path = std::string("DH0:") + name;
    Make(path.c_str(), "mine");
    EXPECT_EQ(LockCode(path), 0);
    Put(base_.path() / "spare", "theirs");
    if (std::string(name) == "linked") {
      fs::remove(base_.path() / "spare");
      fs::create_hard_link(outside() / "file", base_.path() / "spare");
    }
    fs::rename(base_.path() / "spare", root() / name);
    EXPECT_EQ(OpenCode(path, MODE_NEWFILE), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().SetComment(path.c_str(), "x")), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().Rename(path.c_str(), "DH0:other")), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().Delete(path.c_str())), ERROR_INVALID_LOCK);
  }
  EXPECT_EQ(Content(root() / "moved"), "theirs");
  EXPECT_EQ(Content(root() / "linked"), "outside");
}

TEST_F(HostdirTest, AFurtherNameOfAScratchObjectIsTheTestersToo) {
  Mount();
  Make("DH0:mine", "x");
  const LockHandle lock = MustLock("DH0:mine");
  EXPECT_EQ(Code(dos().MakeLink("DH0:second", lock, LINK_HARD)), 0);
  dos().UnLock(lock);
  EXPECT_EQ(Code(dos().Delete("DH0:mine")), 0);
  EXPECT_EQ(OpenCode("DH0:second", MODE_NEWFILE), 0);
  EXPECT_EQ(Code(dos().Delete("DH0:second")), 0);
  EXPECT_EQ(HostNames(root()), Names());
}

TEST_F(HostdirTest, AHostWithoutBirthsSaysWhatCannotBeProved) {
  std::string why_not;
  const auto host = HostFilesystem::Make("ramfs", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  MountAt(host->path(), ",metadata=file");
  EXPECT_NE(bench_->TakeErrors().find("quorle: DH0: the host does not know when"),
            std::string::npos);
  Make("DH0:mine");
  EXPECT_EQ(Code(dos().Delete("DH0:mine")), 0);
  Unmount();
}

// ---- What a run that was killed has left
// --------------------------------------------------------------------------------

TEST_F(HostdirTest, WhatIsNotProvedToBeAKilledRunsStays) {
  DieAfter("", [this] {
    Make("DH0:FILE01", "mine");
    Make("DH0:FILE02", "mine");
    Make("DH0:FILE03", "mine");
    EXPECT_EQ(DirectoryCode("DH0:DIRECTORY01"), 0);
  });
  Put(base_.path() / "spare", "theirs");
  fs::rename(base_.path() / "spare", root() / "FILE01");
  fs::remove(root() / "FILE02");
  fs::create_hard_link(outside() / "file", root() / "FILE02");
  fs::remove(root() / "FILE03");
  Put(root() / "DIRECTORY01" / "theirs", "theirs");
  Mount();
  std::string said = bench_->TakeErrors();
  EXPECT_NE(said.find("left FILE01, FILE02: not removed, as nothing proves"), std::string::npos)
      << said;
  EXPECT_NE(said.find("left DIRECTORY01: cannot be removed (Directory not empty)"),
            std::string::npos)
      << said;
  EXPECT_EQ(said.find("FILE03"), std::string::npos) << said;
  EXPECT_EQ(HostNames(root()), (Names{"DIRECTORY01", "FILE01", "FILE02"}));
  EXPECT_EQ(Content(root() / "FILE01"), "theirs");
  EXPECT_EQ(Content(root() / "DIRECTORY01" / "theirs"), "theirs");
  // What could not be removed is tried again.
  fs::remove(root() / "DIRECTORY01" / "theirs");
  Mount();
  said = bench_->TakeErrors();
  EXPECT_NE(said.find("left DIRECTORY01: removed"), std::string::npos) << said;
  EXPECT_EQ(HostNames(root()), (Names{"FILE01", "FILE02"}));
}

TEST_F(HostdirTest, WithoutBirthsAKilledRunsObjectsAreOnlyNamed) {
  std::string why_not;
  const auto host = HostFilesystem::Make("ramfs", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  const pid_t process = ::fork();
  if (process == 0) {
    MountAt(host->path(), ",metadata=file");
    Make("DH0:FILE01", "x");
    ::_exit(0);
  }
  EXPECT_EQ(::waitpid(process, nullptr, 0), process);
  MountAt(host->path(), ",metadata=file");
  const std::string said = bench_->TakeErrors();
  EXPECT_NE(said.find("left FILE01: not removed, as nothing proves"), std::string::npos) << said;
  EXPECT_EQ(Content(host->path() / "FILE01"), "x");
  Unmount();
}

TEST_F(HostdirTest, WithoutAPlaceForAJournalAMountGoesOn) {
  const auto said = [this] {
    Mount();
    Make("DH0:file", "x");
    EXPECT_EQ(Code(dos().Delete("DH0:file")), 0);
    std::string lines = bench_->TakeErrors();
    EXPECT_EQ(lines.find('\n'), lines.size() - 1) << "one line: " << lines;
    return lines;
  };
  const std::string no_journal = "quorle: DH0: no journal is kept";
  EXPECT_EQ(::unsetenv("XDG_STATE_HOME"), 0);
  const char* const home = std::getenv("HOME");
  const std::string kept_home = home == nullptr ? "" : home;
  EXPECT_EQ(::unsetenv("HOME"), 0);
  EXPECT_EQ(said().find(no_journal), 0U);
  if (home != nullptr) ::setenv("HOME", kept_home.c_str(), 1);
  // A path that is none, and one through a file.
  ::setenv("XDG_STATE_HOME", (outside() / "file").c_str(), 1);
  EXPECT_EQ(said().find(no_journal), 0U);
  // Never in the directory itself, and nothing is made there for it.
  ::setenv("XDG_STATE_HOME", (root() / "state").c_str(), 1);
  EXPECT_NE(said().find("lies in the directory itself"), std::string::npos);
  EXPECT_EQ(HostNames(root()), Names());
  fs::create_directories(root() / "state" / "quorle");
  EXPECT_NE(said().find("lies in the directory itself"), std::string::npos);
  EXPECT_TRUE(fs::is_empty(root() / "state" / "quorle"));
}

TEST_F(HostdirTest, AJournalThatFindsNoRoomAnyMoreIsGivenUp) {
  std::string why_not;
  const auto host = HostFilesystem::Make("tmpfs", "size=64k", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  ::setenv("XDG_STATE_HOME", host->path().c_str(), 1);
  Mount();
  {
    std::ofstream filler(host->path() / "filler", std::ios::binary);
    const std::string block(4096, 'x');
    while (filler << block << std::flush) continue;
  }
  std::string said;
  for (int i = 0; i < 100 && said.empty(); ++i) {
    Make(("DH0:" + std::string(200, 'n') + std::to_string(i)).c_str());
    said = bench_->TakeErrors();
  }
  EXPECT_EQ(said, "quorle: DH0: no journal is kept any more: No space left on device\n");
  Make("DH0:more");
  EXPECT_EQ(bench_->TakeErrors(), "");
  Unmount();
  EXPECT_TRUE(fs::is_empty(host->path() / "quorle"));
}

// ---- What the host changes while the volume is mounted
// --------------------------------------------

/// What somebody puts in the place of a directory that is locked.
class HostdirSwapTest : public HostdirTest {
 protected:
  void Prepare() {
    fs::create_directories(root() / "dir" / "inner");
    Put(root() / "dir" / "file", "inside");
    Mount();
    directory_ = MustLock("DH0:dir");
    file_ = MustLock("DH0:dir/file");
    dos().SetCurrentDir(directory_);
    EXPECT_EQ(LockCode("file"), 0);
    fs::rename(root() / "dir", root() / "old");
  }
  void NothingIsReached() {
    EXPECT_EQ(LockCode("file"), ERROR_INVALID_LOCK);
    EXPECT_EQ(LockCode("inner"), ERROR_INVALID_LOCK);
    EXPECT_EQ(OpenCode("file", MODE_OLDFILE), ERROR_INVALID_LOCK);
    EXPECT_EQ(OpenCode("file", MODE_NEWFILE), ERROR_INVALID_LOCK);
    EXPECT_EQ(OpenCode("new", MODE_NEWFILE), ERROR_INVALID_LOCK);
    EXPECT_EQ(DirectoryCode("new"), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().Delete("file")), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().Delete("inner")), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().Rename("file", "x")), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().Rename("DH0:old/file", "x")), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().SetComment("file", "x")), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().SetProtection("", 1)), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().SetDate("", {1, 2, 3})), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().MakeLink("new", "x", LINK_SOFT)), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().MakeLink("DH0:hard", file_, LINK_HARD)), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().OpenFromLock(file_)), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().ExamineObject(EX_LockInput, file_)), ERROR_INVALID_LOCK);
    EXPECT_EQ(Code(dos().ExamineObject(EX_LockInput, directory_)), ERROR_INVALID_LOCK);
    // The locks themselves stay good for what needs no object.
    const LockHandle copy = dos().DupLock(directory_);
    EXPECT_EQ(dos().SameLock(copy, directory_), LOCK_SAME);
    dos().UnLock(copy);
    dos().SetCurrentDir({});
    dos().UnLock(directory_);
    dos().UnLock(file_);
    EXPECT_EQ(HostNames(root() / "old"), (Names{"file", "inner"}));
    EXPECT_EQ(Content(root() / "old" / "file"), "inside");
  }

  LockHandle directory_;
  LockHandle file_;
};

TEST_F(HostdirSwapTest, ForASymbolicLinkOutOfTheVolume) {
  Prepare();
  fs::create_directory_symlink(outside(), root() / "dir");
  NothingIsReached();
}

TEST_F(HostdirSwapTest, ForASymbolicLinkToTheOldOne) {
  Prepare();
  fs::create_directory_symlink("old", root() / "dir");
  NothingIsReached();
}

TEST_F(HostdirSwapTest, ForAnotherDirectory) {
  Prepare();
  fs::create_directories(root() / "dir" / "inner");
  Put(root() / "dir" / "file", "another");
  NothingIsReached();
  EXPECT_EQ(ReadAll("DH0:dir/file"), "another");
}

TEST_F(HostdirSwapTest, ForNothing) {
  Prepare();
  NothingIsReached();
}

TEST_F(HostdirTest, AnOpenFileStaysTheOneThatWasOpened) {
  Mount();
  Make("DH0:file", "old");
  const FileHandle file = MustOpen("DH0:file", MODE_OLDFILE);
  fs::remove(root() / "file");
  fs::create_symlink(outside() / "file", root() / "file");
  char buffer[8] = {};
  EXPECT_EQ(dos().Read(file, buffer, 8), 3);
  EXPECT_STREQ(buffer, "old");
  EXPECT_EQ(WriteCode(file, "er"), 0);
  EXPECT_EQ(dos().GetFileSize(file), 5);
  EXPECT_EQ(Code(dos().Delete("DH0:file")), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_TRUE(dos().Close(file));
  EXPECT_EQ(OpenCode("DH0:file", MODE_NEWFILE), ERROR_OBJECT_WRONG_TYPE);
}

TEST_F(HostdirTest, ALockDoesNotPassToWhatIsMadeAnew) {
  Mount();
  Make("DH0:file", "old");
  const LockHandle lock = dos().Lock("DH0:file", EXCLUSIVE_LOCK);
  fs::remove(root() / "file");
  // The host may give the new file the number of the old one.
  Make("DH0:file", "new");
  Make("DH0:other");
  EXPECT_EQ(ReadAll("DH0:file"), "new");
  EXPECT_EQ(LockCode("DH0:other"), 0);
  dos().UnLock(lock);
  EXPECT_EQ(ReadAll("DH0:file"), "new");
}

TEST_F(HostdirTest, ALockDoesNotPassToWhatTheHostMakesAnew) {
  Mount();
  Make("DH0:file", "old");
  const LockHandle lock = MustLock("DH0:file");
  fs::remove(root() / "file");
  // ext4 gives it the number of the old one.
  Put(root() / "file", "theirs");
  EXPECT_EQ(Code(dos().ExamineObject(EX_LockInput, lock)), ERROR_INVALID_LOCK);
  dos().UnLock(lock);
  EXPECT_EQ(Content(root() / "file"), "theirs");
}

TEST_F(HostdirTest, ADirectoryThatIsBoundInsideIsForeign) {
  fs::create_directory(root() / "dir");
  const std::string command =
      "mount --bind " + outside().string() + " " + (root() / "dir").string() + " 2>/dev/null";
  if (std::system(command.c_str()) != 0) GTEST_SKIP() << "mounting is not allowed here";
  Mount();
  EXPECT_EQ(Shown(), Names());
  EXPECT_EQ(LockCode("DH0:dir"), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(std::system(("umount " + (root() / "dir").string()).c_str()), 0);
}

TEST_F(HostdirTest, ALockThatWasFoundVoidStaysSo) {
  Mount();
  Make("DH0:file", "old");
  const LockHandle lock = MustLock("DH0:file");
  fs::rename(root() / "file", root() / "old");
  Put(root() / "file", "new");
  EXPECT_EQ(Code(dos().ExamineObject(EX_LockInput, lock)), ERROR_INVALID_LOCK);
  EXPECT_EQ(ReadAll("DH0:file"), "new");
  fs::rename(root() / "old", root() / "file");
  EXPECT_EQ(Code(dos().ExamineObject(EX_LockInput, lock)), ERROR_INVALID_LOCK);
  dos().UnLock(lock);
  EXPECT_EQ(ReadAll("DH0:file"), "old");
}

TEST_F(HostdirTest, ANameThatTheHostFreedIsTakenByAnother) {
  Mount();
  Make("DH0:one", "1");
  Make("DH0:two", "2");
  const LockHandle one = MustLock("DH0:one");
  const LockHandle two = MustLock("DH0:two");
  fs::remove(root() / "one");
  EXPECT_EQ(Code(dos().Rename("DH0:two", "DH0:one")), 0);
  dos().UnLock(one);
  EXPECT_EQ(Code(dos().Delete("DH0:one")), ERROR_OBJECT_IN_USE) << "two is still locked";
  dos().UnLock(two);
  EXPECT_EQ(ReadAll("DH0:one"), "2");
  EXPECT_EQ(Code(dos().Delete("DH0:one")), 0);
}

TEST_F(HostdirTest, ObjectsThatAreHeldFollowTheirNames) {
  Mount();
  EXPECT_EQ(DirectoryCode("DH0:a"), 0);
  EXPECT_EQ(DirectoryCode("DH0:a/b"), 0);
  EXPECT_EQ(DirectoryCode("DH0:c"), 0);
  Make("DH0:a/b/file", "x");
  const LockHandle b = MustLock("DH0:a/b");
  const LockHandle file = MustLock("DH0:a/b/file");
  EXPECT_EQ(Code(dos().Rename("DH0:a", "DH0:c/moved")), 0);
  EXPECT_EQ(Code(dos().Rename("DH0:c/moved/b/file", "DH0:c/moved/b/other")), 0);
  dos().SetCurrentDir(b);
  EXPECT_EQ(ReadAll("other"), "x");
  dos().SetCurrentDir({});
  const LockHandle above = dos().ParentDir(file);
  EXPECT_EQ(dos().SameLock(above, b), LOCK_SAME);
  const LockHandle top = dos().ParentDir(b);
  const LockHandle moved = MustLock("DH0:c/moved");
  EXPECT_EQ(dos().SameLock(top, moved), LOCK_SAME);
  for (const LockHandle lock : {b, file, above, top, moved}) dos().UnLock(lock);
  EXPECT_EQ(Content(root() / "c" / "moved" / "b" / "other"), "x");
}

TEST_F(HostdirTest, AScanSeesWhatStays) {
  for (const char* const name : {"a", "b", "c", "d"}) Put(root() / name, "");
  Mount();
  HandlerPort& port = *bench_->machine().list().Find("DH0").port;
  std::int32_t res2 = 0;
  const auto next = [&](::PRIVATE_ExamineDirContext& context) -> std::string {
    if (!port.ExamineDir(res2, context)) return "#" + std::to_string(res2);
    std::string name = context.Entry->Name;
    port.FreeExamineData(context.Entry);
    context.Entry = nullptr;
    return name;
  };
  ::Lock* const lock = port.Lock(res2, nullptr, "", SHARED_LOCK);
  ::PRIVATE_ExamineDirContext context{};
  context.Directory = lock;
  EXPECT_EQ(next(context), "a");
  fs::remove(root() / "b");
  Put(root() / "e", "");
  ::PRIVATE_ExamineDirContext second{};
  EXPECT_EQ(next(second), "a");
  EXPECT_EQ(next(second), "c");
  EXPECT_EQ(next(context), "c");
  EXPECT_EQ(next(context), "d");
  EXPECT_EQ(next(context), "#232");
  EXPECT_EQ(next(context), "#232");
  second = {};  // begins again
  EXPECT_EQ(next(second), "a");
  context.FSPrivate[0] = 0;
  EXPECT_EQ(next(context), "a");
  port.UnLock(res2, lock);
}

// ---- What is kept where
// --------------------------------------------------------------------------

class HostdirMetadataTest : public HostdirTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    if (std::string(GetParam()) == "xattr" && !KeepsAttributes(root())) {
      GTEST_SKIP() << "no extended attributes in the directory for temporary files";
    }
  }
  void MountSo() { Mount(std::string(",metadata=") + GetParam()); }
};

TEST_P(HostdirMetadataTest, AttributesOutliveTheMount) {
  const DateStamp far_date{2000000, 1439, 2999};
  const DateStamp near_date{16000, 2, 2};
  MountSo();
  EXPECT_EQ(DirectoryCode("DH0:dir"), 0);
  Make("DH0:dir/file", "content");
  EXPECT_EQ(Code(dos().MakeLink("DH0:soft", "DH0:dir/file", LINK_SOFT)), 0);
  EXPECT_EQ(Code(dos().SetComment("DH0:dir/file", "a comment with \xe4 and %20")), 0);
  EXPECT_EQ(Code(dos().SetProtection("DH0:dir/file", 0x80000022)), 0);
  EXPECT_EQ(Code(dos().SetOwnerInfo("DH0:dir/file", OI_OwnerUID, 7)), 0);
  EXPECT_EQ(Code(dos().SetDate("DH0:dir/file", far_date)), 0);
  EXPECT_EQ(Code(dos().SetDate("DH0:dir", near_date)), 0);
  EXPECT_EQ(Code(dos().SetComment("DH0:", "the root")), 0);
  EXPECT_EQ(Code(dos().SetDate("DH0:", near_date)), 0);
  EXPECT_EQ(Code(dos().Relabel("DH0:", "Its Own Name")), 0);
  EXPECT_EQ(Code(dos().SetDate("DH0:", near_date)), 0);
  const std::string before = Listing();

  MountSo();
  EXPECT_EQ(Listing(), before);
  const Facts file = Look("DH0:dir/file");
  EXPECT_EQ(file.comment, "a comment with \xe4 and %20");
  EXPECT_EQ(file.protection, 0x80000022U);
  EXPECT_EQ(file.owner, 7U);
  EXPECT_EQ(file.date.ds_Days, far_date.ds_Days);
  EXPECT_EQ(file.date.ds_Minute, far_date.ds_Minute);
  EXPECT_EQ(file.date.ds_Tick, far_date.ds_Tick);
  EXPECT_EQ(Look("DH0:dir").date.ds_Minute, near_date.ds_Minute);
  EXPECT_EQ(Look("DH0:").comment, "the root");
  EXPECT_EQ(Look("DH0:").date.ds_Days, near_date.ds_Days);
  EXPECT_EQ(ReadAll("DH0:soft"), "content");
  EXPECT_EQ(LockCode("Its Own Name:"), 0);
  EXPECT_EQ(Content(root() / "soft"), "DH0:dir/file");
}

TEST_P(HostdirMetadataTest, AChangeOfTheHostsShowsItsDate) {
  MountSo();
  Make("DH0:file", "x");
  EXPECT_EQ(Code(dos().SetDate("DH0:file", {2000000, 1, 1})), 0);
  const std::timespec times[2] = {{0, UTIME_OMIT}, {1000000000, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, (root() / "file").c_str(), times, 0), 0);
  EXPECT_NEAR(Look("DH0:file").date.ds_Days, 1000000000 / 86400 - 2922, 1);
}

TEST_P(HostdirMetadataTest, AllNamesOfAFileShareItsAttributes) {
  MountSo();
  Make("DH0:one", "x");
  const LockHandle lock = MustLock("DH0:one");
  EXPECT_EQ(Code(dos().MakeLink("DH0:two", lock, LINK_HARD)), 0);
  dos().UnLock(lock);
  EXPECT_EQ(fs::hard_link_count(root() / "one"), 2U);
  EXPECT_EQ(Code(dos().SetComment("DH0:two", "both")), 0);
  EXPECT_EQ(Look("DH0:one").comment, "both");
  EXPECT_EQ(Look("DH0:one").links, 2U);
  EXPECT_EQ(Code(dos().Delete("DH0:one")), 0);
  EXPECT_EQ(Look("DH0:two").comment, "both");
  EXPECT_EQ(Look("DH0:two").links, 1U);
}

TEST_P(HostdirMetadataTest, ANameGivenAgainHasNothingOfTheOld) {
  MountSo();
  for (int i = 0; i < 20; ++i) {
    Make("DH0:file");
    EXPECT_EQ(Look("DH0:file").comment, "");
    EXPECT_EQ(Look("DH0:file").protection, 0U);
    EXPECT_EQ(Code(dos().SetComment("DH0:file", "old")), 0);
    EXPECT_EQ(Code(dos().SetProtection("DH0:file", 0xFF00)), 0);
    EXPECT_EQ(Code(dos().Delete("DH0:file")), 0);
  }
}

TEST_P(HostdirMetadataTest, ALabelIsKeptUnlessTheMountGivesOne) {
  MountSo();
  EXPECT_EQ(LockCode("DH0 Disk:"), 0);
  EXPECT_EQ(Code(dos().Relabel("DH0:", "Kept 100%")), 0);
  MountSo();
  EXPECT_EQ(LockCode("Kept 100%:"), 0);
  Mount(std::string(",volume=Given,metadata=") + GetParam());
  EXPECT_EQ(LockCode("Given:"), 0);
  EXPECT_EQ(LockCode("Kept 100%:"), ERROR_DEVICE_NOT_MOUNTED);
  MountSo();
  EXPECT_EQ(LockCode("Kept 100%:"), 0);
}

TEST_P(HostdirMetadataTest, ANameThatIsGivenBackLeavesNoLabel) {
  const std::string metadata = std::string(",metadata=") + GetParam();
  // Relabels a volume that is mounted with `keys`, gives it its name back, and mounts it again.
  const auto there_and_back = [this, &metadata](const std::string& keys, const char* name) {
    Mount(keys + metadata);
    EXPECT_EQ(Code(dos().Relabel("DH0:", "Other")), 0);
    EXPECT_EQ(Code(dos().Relabel("DH0:", name)), 0);
    MountSo();
  };
  there_and_back(",volume=Given", "Given");
  EXPECT_EQ(LockCode("DH0 Disk:"), 0) << "the name of the device";
  EXPECT_EQ(Code(dos().Relabel("DH0:", "Kept")), 0);
  there_and_back(",volume=Given", "Given");
  EXPECT_EQ(LockCode("Kept:"), 0);
  there_and_back(",volume=", "DH0");
  EXPECT_EQ(LockCode("Kept:"), 0);
  there_and_back("", "Kept");
  EXPECT_EQ(LockCode("Kept:"), 0);
}

TEST_P(HostdirMetadataTest, ARunLeavesTheDirectoryToEveryDevice) {
  MountSo();
  EXPECT_EQ(bench_->Run(), RETURN_ERROR) << "no hard links to directories";
  Unmount();
  const fs::path other = outside() / "inner";
  const std::string metadata = std::string(",metadata=") + GetParam();
  TestBench both({"--mount", "DH0=dir:" + other.string() + metadata, "--mount",
                  "DH1=dir:" + root().string() + metadata, "DH1:"});
  EXPECT_NE(both.Volumes().find("DH1 Disk"), std::string::npos) << both.Volumes();
}

TEST_P(HostdirMetadataTest, FilesOfTheHostsArePlain) {
  Put(root() / "file", "content");
  fs::create_directory(root() / "dir");
  MountSo();
  const Facts file = Look("DH0:file");
  EXPECT_TRUE(file.found);
  EXPECT_EQ(file.type, static_cast<std::uint32_t>(FSO_TYPE_FILE));
  EXPECT_EQ(file.protection, 0U);
  EXPECT_EQ(file.comment, "");
  EXPECT_EQ(file.owner, 0U);
  EXPECT_EQ(ReadAll("DH0:file"), "content");
  EXPECT_EQ(Look("DH0:dir").type, static_cast<std::uint32_t>(FSO_TYPE_DIRECTORY));
}

TEST_P(HostdirMetadataTest, WhatAKilledRunLeftIsNamedAndRemoved) {
  Put(root() / "theirs", "their data");
  const std::string keys = std::string(",metadata=") + GetParam();
  const pid_t process = DieAfter(keys, [this] {
    Make("DH0:FILE01", "x");
    Make("DH0:gone", "x");
    EXPECT_EQ(Code(dos().Delete("DH0:gone")), 0);
    EXPECT_EQ(DirectoryCode("DH0:DIRECTORY01"), 0);
    Make("DH0:DIRECTORY01/inner", "x");
    EXPECT_EQ(Code(dos().SetProtection("DH0:FILE01", EXDF_NO_DELETE)), 0);
    EXPECT_EQ(Code(dos().MakeLink("DH0:LINK01", "target", LINK_SOFT)), 0);
    const LockHandle lock = MustLock("DH0:FILE01");
    EXPECT_EQ(Code(dos().MakeLink("DH0:second", lock, LINK_HARD)), 0);
    EXPECT_EQ(Code(dos().Rename("DH0:DIRECTORY01", "DH0:moved")), 0);
  });
  EXPECT_EQ(Journals(), 1);
  EXPECT_EQ(HostNames(root()), (Names{"FILE01", "LINK01", "moved", "second", "theirs"}));
  MountSo();
  EXPECT_EQ(HostNames(root()), Names{"theirs"});
  EXPECT_EQ(Journals(), 1) << "its own";
  const std::string said = bench_->TakeErrors();
  EXPECT_NE(said.find("quorle: DH0: the run of 20"), std::string::npos) << said;
  EXPECT_NE(said.find("(process " + std::to_string(process) +
                      "), which was killed, left moved/inner, FILE01, LINK01, second, moved: "
                      "removed\n"),
            std::string::npos)
      << said;
  EXPECT_EQ(said.find('\n'), said.size() - 1) << said;
  MountSo();
  EXPECT_EQ(bench_->TakeErrors(), "") << "once";
  EXPECT_EQ(Content(root() / "theirs"), "their data");
}

INSTANTIATE_TEST_SUITE_P(Metadata, HostdirMetadataTest, ::testing::Values("xattr", "file"),
                         [](const auto& row) { return std::string(row.param); });

TEST_F(HostdirTest, TheSideFileIsNoPartOfTheVolume) {
  Mount(",metadata=file");
  EXPECT_TRUE(fs::exists(root() / kSideFile));
  EXPECT_EQ(Shown(), Names());
  EXPECT_EQ(LockCode("DH0:.quorle-metadata"), ERROR_OBJECT_NOT_FOUND);
  Make("DH0:.QUORLE-metadata", "mine");
  EXPECT_EQ(Shown(), Names{"DH0:.QUORLE-metadata"});
  EXPECT_EQ(ReadAll("DH0:.quorle-metadata"), "mine");
  EXPECT_EQ(Code(dos().Delete("DH0:.quorle-METADATA")), 0);
  EXPECT_TRUE(fs::exists(root() / kSideFile));
}

TEST_F(HostdirTest, TheSideFileIsReadAsFarAsItWasFinished) {
  Mount(",metadata=file");
  Make("DH0:one");
  Make("DH0:two");
  EXPECT_EQ(Code(dos().SetComment("DH0:one", "first")), 0);
  EXPECT_EQ(Code(dos().SetComment("DH0:one", "second")), 0);
  EXPECT_EQ(Code(dos().SetComment("DH0:two", "third")), 0);
  Unmount();
  std::string text = Content(root() / kSideFile);
  ASSERT_TRUE(text.ends_with("comment=third\n"));
  text.resize(text.size() - 3);  // the host went down while it was written
  Put(root() / kSideFile, text);
  Mount(",metadata=file,scratch=no");
  EXPECT_EQ(Look("DH0:one").comment, "second");
  EXPECT_EQ(Look("DH0:two").comment, "");
  EXPECT_EQ(Content(root() / kSideFile).find("first"), std::string::npos) << "written anew";
  EXPECT_EQ(Code(dos().Delete("DH0:one")), 0);
  Mount(",metadata=file");
  EXPECT_EQ(Content(root() / kSideFile).find("second"), std::string::npos) << "gone for good";
  EXPECT_FALSE(fs::exists(root() / ".quorle-metadata.new"));
}

TEST_F(HostdirTest, ASideFileThatIsNoFileIsRefused) {
  fs::create_symlink(outside() / "file", root() / kSideFile);
  EXPECT_NE(Refusal(root(), ",metadata=file").find("cannot read .quorle-metadata"),
            std::string::npos);
}

TEST_F(HostdirTest, ASideFileThatIsAPipeIsRefused) {
  ASSERT_EQ(::mkfifo((root() / kSideFile).c_str(), 0600), 0);
  EXPECT_NE(Refusal(root(), ",metadata=file").find("cannot read .quorle-metadata"),
            std::string::npos);
}

TEST_F(HostdirTest, ANewSideFileIsNotWrittenIntoWhatStandsInItsPlace) {
  const std::string content = Content(outside() / "file");
  ASSERT_NE(content, "");
  fs::create_hard_link(outside() / "file", root() / (std::string(kSideFile) + ".new"));
  Mount(",metadata=file");
  EXPECT_EQ(Content(outside() / "file"), content);
  Unmount();
  EXPECT_EQ(Content(outside() / "file"), content);
}

// ---- Sizes
// ---------------------------------------------------------------------------------------

TEST_F(HostdirTest, AFileMayBeHuge) {
  Mount();
  const std::int64_t huge = std::int64_t{3} << 40;
  const FileHandle file = MustOpen("DH0:file", MODE_NEWFILE);
  ASSERT_TRUE(dos().ChangeFileSize(file, huge, OFFSET_BEGINNING)) << dos().IoErr();
  EXPECT_EQ(dos().GetFileSize(file), huge);
  EXPECT_TRUE(dos().ChangeFilePosition(file, -1, OFFSET_END));
  EXPECT_EQ(WriteCode(file, "xy"), 0);
  EXPECT_EQ(dos().GetFileSize(file), huge + 1);
  // Past what any file of this host can have, or almost any.
  const std::int32_t code = Code(dos().ChangeFileSize(file, INT64_MAX - 1, OFFSET_BEGINNING));
  EXPECT_TRUE(code == ERROR_DISK_FULL || code == 0) << code;
  EXPECT_TRUE(dos().ChangeFileSize(file, 0, OFFSET_BEGINNING));
  dos().Close(file);
}

TEST_F(HostdirTest, AFullHostLosesNothing) {
  std::string why_not;
  const auto host = HostFilesystem::Make("tmpfs", "size=128k,nr_inodes=12", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  MountAt(host->path());
  const std::string page(4096, 'x');
  const FileHandle file = MustOpen("DH0:file", MODE_NEWFILE);
  int pages = 0;
  while (pages < 100 && WriteCode(file, page) == 0) ++pages;
  EXPECT_EQ(dos().IoErr(), ERROR_DISK_FULL);
  ASSERT_GT(pages, 10);
  ASSERT_LT(pages, 100);
  EXPECT_EQ(dos().GetFileSize(file), pages * 4096);
  EXPECT_EQ(dos().GetFilePosition(file), pages * 4096);
  // Half of this would fit, where a file ends in a page that is not full.
  EXPECT_TRUE(dos().ChangeFileSize(file, -2000, OFFSET_END));
  EXPECT_EQ(WriteCode(file, page), ERROR_DISK_FULL);
  EXPECT_EQ(dos().GetFileSize(file), pages * 4096 - 2000);
  EXPECT_EQ(dos().GetFilePosition(file), pages * 4096 - 2000);
  // Over old content and beyond the end: what is there stays.
  EXPECT_TRUE(dos().ChangeFilePosition(file, -6000, OFFSET_END));
  EXPECT_EQ(WriteCode(file, std::string(65536, 'y')), ERROR_DISK_FULL);
  EXPECT_EQ(dos().GetFileSize(file), pages * 4096 - 2000);
  dos().Close(file);

  const std::string content = Content(host->path() / "file");
  EXPECT_EQ(content.find_first_not_of('x'), std::string::npos);
  EXPECT_EQ(Code(dos().MakeLink("DH0:soft", "target", LINK_SOFT)), ERROR_DISK_FULL);
  EXPECT_EQ(LockCode("DH0:soft"), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(HostNames(host->path()), Names{"file"});

  EXPECT_EQ(Code(dos().Delete("DH0:file")), 0);
  std::string name = "DH0:a";
  while (OpenCode(name, MODE_NEWFILE) == 0 && name.back() < 'z') ++name.back();
  EXPECT_EQ(dos().IoErr(), ERROR_DISK_FULL);
  EXPECT_EQ(LockCode(name), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(DirectoryCode(name), ERROR_DISK_FULL);
  for (; name.back() > 'a';) {
    --name.back();
    EXPECT_EQ(Code(dos().Delete(name.c_str())), 0) << name;
  }
  EXPECT_EQ(HostNames(host->path()), Names());
  Unmount();
}

TEST_F(HostdirTest, AFullHostKeepsTheSideFileWhole) {
  std::string why_not;
  const auto host = HostFilesystem::Make("tmpfs", "size=64k", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  MountAt(host->path(), ",metadata=file");
  EXPECT_EQ(Code(dos().SetOwnerInfo("DH0:", OI_OwnerUID, 7)), 0);
  Make("DH0:file");
  const std::string comment(250, 'c');
  EXPECT_EQ(Code(dos().SetComment("DH0:file", comment.c_str())), 0);
  Make("DH0:filler");
  const FileHandle filler = MustOpen("DH0:filler", MODE_OLDFILE);
  while (WriteCode(filler, std::string(4096, 'x')) == 0) continue;
  dos().Close(filler);
  // The last page of the side file takes some lines more.
  std::int32_t code = 0;
  std::string last = comment;
  for (int i = 0; i < 100 && code == 0; ++i) {
    std::string next(200 + i % 2, 'd');
    code = Code(dos().SetComment("DH0:file", next.c_str()));
    if (code == 0) last = next;
  }
  EXPECT_EQ(code, ERROR_DISK_FULL);
  EXPECT_EQ(Look("DH0:file").comment, last);
  const std::string text = Content(host->path() / kSideFile);
  EXPECT_TRUE(text.ends_with("comment=" + last + "\n"));
  // The host has room for new files, but in the end not for the owner that they take over.
  Names made = {"file", "filler"};
  std::string name = "DH0:new-a";
  while (name.back() < 'z' && OpenCode(name, MODE_NEWFILE) == 0) {
    made.push_back(name.substr(4));
    ++name.back();
  }
  EXPECT_EQ(OpenCode(name, MODE_NEWFILE), ERROR_DISK_FULL);
  EXPECT_EQ(DirectoryCode(name), ERROR_DISK_FULL);
  EXPECT_EQ(Code(dos().MakeLink(name.c_str(), "x", LINK_SOFT)), ERROR_DISK_FULL);
  EXPECT_EQ(HostNames(host->path()), made);
  EXPECT_EQ(Code(dos().Delete("DH0:filler")), 0);
  EXPECT_EQ(Code(dos().SetComment("DH0:file", "room again")), 0);
  MountAt(host->path(), ",metadata=file");
  EXPECT_EQ(Look("DH0:file").comment, "room again");
  Unmount();
}

// ---- What the host does not allow
// ----------------------------------------------------------------

TEST_F(HostdirTest, AReadOnlyHostIsRefusedAndOneThatBecomesSoIsProtected) {
  std::string why_not;
  const auto host = HostFilesystem::Make("tmpfs", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  MountAt(host->path());
  EXPECT_EQ(DirectoryCode("DH0:dir"), 0);
  Make("DH0:file", "content");
  ASSERT_TRUE(host->SetReadOnly(true));
  EXPECT_EQ(ReadAll("DH0:file"), "content");
  const FileHandle file = MustOpen("DH0:file", MODE_OLDFILE);
  EXPECT_EQ(WriteCode(file, "x"), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().ChangeFileSize(file, 0, OFFSET_BEGINNING)), ERROR_DISK_WRITE_PROTECTED);
  dos().Close(file);
  EXPECT_EQ(OpenCode("DH0:file", MODE_NEWFILE), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(OpenCode("DH0:new", MODE_NEWFILE), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(DirectoryCode("DH0:new"), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().Delete("DH0:file")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().Rename("DH0:file", "DH0:new")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().MakeLink("DH0:new", "x", LINK_SOFT)), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().SetComment("DH0:file", "x")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().SetDate("DH0:file", {1, 2, 3})), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().Relabel("DH0:", "new")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(LockCode("DH0 Disk:"), 0);
  const std::string refusal = Refusal(host->path());
  Unmount();
  EXPECT_NE(refusal.find("mounted read-only"), std::string::npos) << refusal;
  EXPECT_EQ(Content(host->path() / "file"), "content");
}

TEST_F(HostdirTest, AHostWithoutAttributesSaysSo) {
  std::string why_not;
  const auto host = HostFilesystem::Make("ramfs", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  const std::string refusal = Refusal(host->path());
  EXPECT_NE(refusal.find("extended attributes"), std::string::npos) << refusal;
  EXPECT_NE(refusal.find("metadata=file"), std::string::npos) << refusal;
  EXPECT_EQ(HostNames(host->path()), Names());
  EXPECT_EQ(Refusal(host->path(), ",metadata=file"), "");
}

TEST_F(HostdirTest, AHostMayIgnoreCaseAndHaveNoLinks) {
  std::string why_not;
  const auto host = HostFilesystem::Make("exfat", "", why_not);
  if (host == nullptr) GTEST_SKIP() << why_not;
  MountAt(host->path(), ",metadata=file");
  for (const auto& [name, same, shown] : {std::array{"DH0:File", "DH0:fILE", "File"},
                                          std::array{"DH0:\xc4", "DH0:\xe4", "\xc3\x84"}}) {
    SCOPED_TRACE(shown);
    Make(name, "x");
    const LockHandle lock = dos().Lock(same, EXCLUSIVE_LOCK);
    EXPECT_EQ(LockCode(name), ERROR_OBJECT_IN_USE);
    dos().UnLock(lock);
    EXPECT_EQ(DirectoryCode(same), ERROR_OBJECT_EXISTS);
    EXPECT_EQ(HostNames(host->path()), Names{shown});
    EXPECT_EQ(Code(dos().SetComment(same, "kept")), 0);
    EXPECT_EQ(Code(dos().Rename(name, same)), 0);
    EXPECT_NE(HostNames(host->path()), Names{shown});
    EXPECT_EQ(Look(name).comment, "kept");
    const LockHandle target = MustLock(name);
    EXPECT_EQ(Code(dos().MakeLink("DH0:link", target, LINK_HARD)), ERROR_ACTION_NOT_KNOWN);
    dos().UnLock(target);
    EXPECT_EQ(Code(dos().Delete(name)), 0);
    EXPECT_EQ(HostNames(host->path()), Names());
  }
  Unmount();
}

TEST_F(HostdirTest, WhatTheHostForbidsIsProtected) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root, to become somebody else";
  fs::permissions(base_.path(), fs::perms(0755));
  ASSERT_EQ(::chown(root().c_str(), AsNobody::kNobody, AsNobody::kNobody), 0);
  Put(root() / "hidden", "theirs");
  fs::permissions(root() / "hidden", fs::perms(0600));
  Put(root() / "fixed", "theirs");
  fs::permissions(root() / "fixed", fs::perms(0644));
  fs::create_directory(root() / "dir");
  fs::permissions(root() / "dir", fs::perms(0755));
  Put(root() / "dir" / "file", "theirs");
  {
    const AsNobody nobody;
    Mount(",scratch=no");
    EXPECT_EQ(Shown(), (Names{"DH0:dir", "DH0:fixed", "DH0:hidden", "DH0:dir/file"}));
    EXPECT_EQ(OpenCode("DH0:hidden", MODE_OLDFILE), ERROR_READ_PROTECTED);
    EXPECT_EQ(ReadAll("DH0:fixed"), "theirs");
    const FileHandle file = MustOpen("DH0:fixed", MODE_OLDFILE);
    EXPECT_EQ(WriteCode(file, "x"), ERROR_WRITE_PROTECTED);
    EXPECT_EQ(Code(dos().ChangeFileSize(file, 0, OFFSET_BEGINNING)), ERROR_WRITE_PROTECTED);
    dos().Close(file);
    EXPECT_EQ(OpenCode("DH0:fixed", MODE_NEWFILE), ERROR_WRITE_PROTECTED);
    EXPECT_EQ(OpenCode("DH0:dir/new", MODE_NEWFILE), ERROR_WRITE_PROTECTED);
    EXPECT_EQ(Code(dos().Delete("DH0:dir/file")), ERROR_DELETE_PROTECTED);
    EXPECT_EQ(Code(dos().Rename("DH0:dir/file", "DH0:file")), ERROR_WRITE_PROTECTED);
    Unmount();
  }
  EXPECT_EQ(Content(root() / "fixed"), "theirs");
  EXPECT_EQ(Content(root() / "dir" / "file"), "theirs");
}

}  // namespace
}  // namespace quorle::selftest
