#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "selftest/unit/handlers/hostdir_fixture.h"

// Names, and what is foreign or somebody's.

namespace quorle::selftest {
namespace {

namespace fs = std::filesystem;

// ---- Names --------------------------------------------------------------------------------------

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

// ---- What is foreign ----------------------------------------------------------------------------

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

// ---- What is somebody's data --------------------------------------------------------------------

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

}  // namespace
}  // namespace quorle::selftest
