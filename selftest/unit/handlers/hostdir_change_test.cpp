#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "selftest/unit/handlers/hostdir_fixture.h"

// What another process changes, and what a killed one has left.

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;

// ---- What a run that was killed has left --------------------------------------------------------

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

TEST_F(HostdirTest, AKilledRunsObjectThatWasToBeRenamedIsNamedAsItIsCalled) {
  DieAfter("", [this] {
    Make("DH0:FILE01", "mine");
    EXPECT_EQ(Code(dos().Rename("DH0:FILE01", "DH0:FILE02")), 0);
  });
  // As if it had died between saying so and renaming.
  fs::rename(root() / "FILE02", root() / "FILE01");
  Mount();
  const std::string said = bench_->TakeErrors();
  EXPECT_NE(said.find("left FILE01: removed"), std::string::npos) << said;
  EXPECT_EQ(HostNames(root()), Names{});
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

// ---- What the host changes while the volume is mounted ------------------------------------------

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

TEST_F(HostdirTest, ALockDoesNotPassToWhatIsMadeAgain) {
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

TEST_F(HostdirTest, ALockDoesNotPassToWhatTheHostMakesAgain) {
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

}  // namespace
}  // namespace quorle::selftest
