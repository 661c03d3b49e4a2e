#include "hosted/dos/hosted_dos.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "selftest/unit/hosted/machine_fixture.h"

namespace quorle {
namespace {

/// A code that no call gives.
constexpr std::int32_t kUntouched = 4711;

class HostedDosTest : public MachineTest {
 protected:
  /// Every call that takes a lock, and its answer as a truth value.
  std::vector<std::pair<const char*, std::function<bool(LockHandle)>>> LockCalls() {
    return {
        {"DupLock", [this](LockHandle lock) { return bool(dos().DupLock(lock)); }},
        {"OpenFromLock", [this](LockHandle lock) { return bool(dos().OpenFromLock(lock)); }},
        {"ParentDir", [this](LockHandle lock) { return bool(dos().ParentDir(lock)); }},
        {"ChangeMode",
         [this](LockHandle lock) { return dos().ChangeMode(CHANGE_LOCK, lock, SHARED_LOCK); }},
        {"ExamineObject",
         [this](LockHandle lock) { return dos().ExamineObject(EX_LockInput, lock) != nullptr; }},
        {"MakeLink", [this](LockHandle lock) { return dos().MakeLink("new", lock, LINK_HARD); }},
    };
  }

  std::vector<std::pair<const char*, std::function<bool(FileHandle)>>> FileCalls() {
    return {
        {"Read",
         [this](FileHandle file) {
           char buffer[4];
           return dos().Read(file, buffer, 4) != -1;
         }},
        {"Write", [this](FileHandle file) { return dos().Write(file, "x", 1) != -1; }},
        {"ChangeFilePosition",
         [this](FileHandle file) { return dos().ChangeFilePosition(file, 0, OFFSET_BEGINNING); }},
        {"GetFilePosition", [this](FileHandle file) { return dos().GetFilePosition(file) != -1; }},
        {"ChangeFileSize",
         [this](FileHandle file) { return dos().ChangeFileSize(file, 0, OFFSET_BEGINNING); }},
        {"GetFileSize", [this](FileHandle file) { return dos().GetFileSize(file) != -1; }},
        {"ChangeMode",
         [this](FileHandle file) { return dos().ChangeMode(CHANGE_FH, file, SHARED_LOCK); }},
        {"DupLockFromFH", [this](FileHandle file) { return bool(dos().DupLockFromFH(file)); }},
        {"ParentOfFH", [this](FileHandle file) { return bool(dos().ParentOfFH(file)); }},
        {"ExamineObject",
         [this](FileHandle file) {
           return dos().ExamineObject(EX_FileHandleInput, file) != nullptr;
         }},
    };
  }

  /// Every call that takes a name.
  std::vector<std::pair<const char*, std::function<bool(const char*)>>> NameCalls() {
    return {
        {"Open", [this](const char* name) { return bool(dos().Open(name, MODE_OLDFILE)); }},
        {"Lock", [this](const char* name) { return bool(dos().Lock(name, SHARED_LOCK)); }},
        {"CreateDir", [this](const char* name) { return bool(dos().CreateDir(name)); }},
        {"CreateDirTree", [this](const char* name) { return bool(dos().CreateDirTree(name)); }},
        {"Delete", [this](const char* name) { return dos().Delete(name); }},
        {"Rename from", [this](const char* name) { return dos().Rename(name, "x"); }},
        {"Rename to", [this](const char* name) { return dos().Rename("file", name); }},
        {"MakeLink", [this](const char* name) { return dos().MakeLink(name, "x", LINK_SOFT); }},
        {"SetComment", [this](const char* name) { return dos().SetComment(name, "c"); }},
        {"SetProtection", [this](const char* name) { return dos().SetProtection(name, 0); }},
        {"SetDate",
         [this](const char* name) {
           return dos().SetDate(name, {1, 2, 3});
         }},
        {"SetOwnerInfo",
         [this](const char* name) { return dos().SetOwnerInfo(name, OI_OwnerUID, 0); }},
        {"ExamineObject",
         [this](const char* name) {
           return dos().ExamineObject(EX_StringNameInput, name) != nullptr;
         }},
        {"ExamineObject itself",
         [this](const char* name) {
           return dos().ExamineObject(EX_ObjectNameInput, name) != nullptr;
         }},
        {"GetDeviceProc",
         [this](const char* name) { return dos().GetDeviceProc(name, nullptr) != nullptr; }},
    };
  }
};

// ---- Handles -----------------------------------------------------------------------------------

TEST_F(HostedDosTest, HandlesAreUsedOnce) {
  MakeFile("file");
  std::set<std::uintptr_t> seen;
  for (int i = 0; i < 100; ++i) {
    const LockHandle lock = MustLock("file");
    EXPECT_TRUE(seen.insert(lock.value).second);
    dos().UnLock(lock);
    const FileHandle file = dos().Open("file", MODE_OLDFILE);
    EXPECT_TRUE(seen.insert(file.value).second);
    dos().Close(file);
  }
}

TEST_F(HostedDosTest, AGivenBackLockIsInvalid) {
  MakeFile("file");
  const LockHandle stale = MustLock("file");
  dos().UnLock(stale);
  for (const auto& [name, call] : LockCalls()) {
    dos().SetIoErr(kUntouched);
    EXPECT_FALSE(call(stale)) << name;
    EXPECT_EQ(dos().IoErr(), ERROR_INVALID_LOCK) << name;
  }
  dos().SetIoErr(kUntouched);
  dos().UnLock(stale);
  EXPECT_EQ(dos().IoErr(), ERROR_INVALID_LOCK);
  const LockHandle live = MustLock("file");
  EXPECT_EQ(dos().SameLock(stale, live), LOCK_DIFFERENT);
  EXPECT_EQ(dos().SameLock(live, stale), LOCK_DIFFERENT);
  EXPECT_FALSE(dos().FileLockOf(stale).fl_Port);
}

TEST_F(HostedDosTest, AClosedFileIsInvalid) {
  MakeFile("file");
  const FileHandle stale = dos().Open("file", MODE_OLDFILE);
  EXPECT_TRUE(dos().Close(stale));
  for (const auto& [name, call] : FileCalls()) {
    dos().SetIoErr(kUntouched);
    EXPECT_FALSE(call(stale)) << name;
    EXPECT_EQ(dos().IoErr(), ERROR_INVALID_LOCK) << name;
  }
  EXPECT_FALSE(dos().Close(stale));
  EXPECT_EQ(dos().IoErr(), ERROR_INVALID_LOCK);
}

TEST_F(HostedDosTest, AHandleOfAnotherKindIsInvalid) {
  MakeFile("file");
  const FileHandle file = dos().Open("file", MODE_OLDFILE);
  const LockHandle lock = MustLock("file");
  EXPECT_EQ(Code(dos().DupLock(LockHandle{file.value})), ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(dos().DupLockFromFH(FileHandle{lock.value})), ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(dos().DupLock(LockHandle{~std::uintptr_t{0}})), ERROR_INVALID_LOCK);
}

TEST_F(HostedDosTest, NoHandleIsAMissingArgument) {
  for (const auto& [name, call] : LockCalls()) {
    if (std::strcmp(name, "DupLock") == 0) continue;  // no lock is the root
    dos().SetIoErr(kUntouched);
    EXPECT_FALSE(call({})) << name;
    EXPECT_EQ(dos().IoErr(), ERROR_REQUIRED_ARG_MISSING) << name;
  }
  for (const auto& [name, call] : FileCalls()) {
    dos().SetIoErr(kUntouched);
    EXPECT_FALSE(call({})) << name;
    EXPECT_EQ(dos().IoErr(), ERROR_REQUIRED_ARG_MISSING) << name;
  }
}

TEST_F(HostedDosTest, NoNameIsAMissingArgument) {
  for (const auto& [name, call] : NameCalls()) {
    dos().SetIoErr(kUntouched);
    EXPECT_FALSE(call(nullptr)) << name;
    EXPECT_EQ(dos().IoErr(), ERROR_REQUIRED_ARG_MISSING) << name;
  }
}

TEST_F(HostedDosTest, AnUnknownDeviceIsNotMounted) {
  MakeFile("file");
  for (const auto& [name, call] : NameCalls()) {
    dos().SetIoErr(kUntouched);
    EXPECT_FALSE(call("NOSUCH:x")) << name;
    EXPECT_EQ(dos().IoErr(), ERROR_DEVICE_NOT_MOUNTED) << name;
  }
}

TEST_F(HostedDosTest, OpenFromLockTakesTheLockOnSuccessOnly) {
  MakeFile("file");
  MakeDirectory("dir");
  const LockHandle file_lock = MustLock("file");
  const FileHandle file = dos().OpenFromLock(file_lock);
  ASSERT_TRUE(file);
  EXPECT_EQ(Code(dos().DupLock(file_lock)), ERROR_INVALID_LOCK);
  EXPECT_TRUE(dos().Close(file));
  const LockHandle dir_lock = MustLock("dir");
  EXPECT_FALSE(dos().OpenFromLock(dir_lock));
  EXPECT_TRUE(dos().DupLock(dir_lock));
}

TEST_F(HostedDosTest, WhatIsOpenIsCountedAndReleased) {
  MakeFile("file");
  EXPECT_EQ(dos().CountOpen(), OpenObjects{});
  const LockHandle lock = MustLock("file");
  const FileHandle file = dos().Open("file", MODE_OLDFILE);
  const ExamineData* const record = dos().ExamineObject(EX_StringNameInput, "file");
  dos().GetDeviceProc("DH0:", nullptr);
  ArgumentWord words[1] = {};
  const RdArgsHandle args = dos().ReadArgs("X", words, {});
  ASSERT_NE(record, nullptr);
  ASSERT_TRUE(args);
  EXPECT_EQ(dos().CountOpen(), (OpenObjects{1, 1, 1, 1, 1}));
  dos().ReleaseEverything();
  EXPECT_EQ(dos().CountOpen(), OpenObjects{});
  EXPECT_FALSE(dos().DupLock(lock));
  EXPECT_FALSE(dos().Close(file));
  EXPECT_TRUE(dos().Lock("file", EXCLUSIVE_LOCK));
  EXPECT_TRUE(machine_->ShutDown().empty());
}

// ---- The error code ----------------------------------------------------------------------------

TEST_F(HostedDosTest, SuccessLeavesTheErrorCodeAlone) {
  int step = 0;
  dos().SetIoErr(kUntouched);
  const auto untouched = [&](bool succeeded) {
    ++step;
    EXPECT_TRUE(succeeded) << "step " << step << ": " << dos().IoErr();
    EXPECT_EQ(dos().IoErr(), kUntouched) << "step " << step;
    dos().SetIoErr(kUntouched);
  };
  const FileHandle file = dos().Open("file", MODE_READWRITE);
  untouched(bool(file));
  untouched(dos().Write(file, "abc", 3) == 3);
  untouched(dos().ChangeFilePosition(file, 0, OFFSET_BEGINNING));
  char buffer[8];
  untouched(dos().Read(file, buffer, 8) == 3);
  untouched(dos().Read(file, buffer, 8) == 0);
  untouched(dos().GetFilePosition(file) == 3);
  untouched(dos().GetFileSize(file) == 3);
  untouched(dos().ChangeFileSize(file, 2, OFFSET_BEGINNING));
  untouched(dos().ChangeMode(CHANGE_FH, file, EXCLUSIVE_LOCK));
  untouched(dos().ChangeMode(CHANGE_FH, file, SHARED_LOCK));
  const LockHandle lock = dos().DupLockFromFH(file);
  untouched(bool(lock));
  const LockHandle parent = dos().ParentOfFH(file);
  untouched(bool(parent));
  untouched(bool(dos().ParentDir(lock)));
  untouched(dos().Close(file));
  untouched(bool(dos().DupLock(lock)));
  untouched(dos().SameLock(lock, parent) == LOCK_SAME_VOLUME);
  untouched(dos().SameLock(lock, lock) == LOCK_SAME);
  dos().UnLock(lock);
  untouched(true);
  untouched(bool(dos().CreateDir("dir")));
  untouched(bool(dos().CreateDirTree("dir/a/b")));
  untouched(dos().MakeLink("soft", "file", LINK_SOFT));
  const LockHandle target = dos().Lock("file", SHARED_LOCK);
  untouched(bool(target));
  untouched(dos().MakeLink("hard", target, LINK_HARD));
  untouched(dos().ReadSoftLink(PortOf("DH0:"), parent, "soft", buffer, 8) == 4);
  untouched(dos().SetComment("file", "c"));
  untouched(dos().SetProtection("file", 0));
  untouched(dos().SetDate("file", {1, 2, 3}));
  untouched(dos().SetOwnerInfo("file", OI_OwnerUID, 1));
  untouched(dos().SetOwnerInfo("file", OI_OwnerGID, 1));
  untouched(dos().ExamineObject(EX_StringNameInput, "soft") != nullptr);
  untouched(dos().ExamineObject(EX_ObjectNameInput, "soft") != nullptr);
  untouched(dos().Rename("soft", "moved"));
  untouched(dos().Delete("moved"));
  const PortHandle port = PortOf("DH0:");
  untouched(bool(port));
  untouched(dos().IsFileSystem(port));
  untouched(dos().DevNameFromPort(port, buffer, 8, true));
  untouched(dos().VolNameFromPort(port, buffer, 8, false));
  std::uint32_t type = 0;
  char version[256];
  untouched(dos().FileSystemAttr(port, version, 256, type));
  InfoData info;
  untouched(dos().GetDiskInfo(port, info));
  untouched(dos().GetDiskInfo("DH0:", info));
  untouched(dos().Relabel("DH0:", "Play"));
  untouched(dos().WriteProtectVolume("DH0:", true, 0, 0));
  untouched(dos().WriteProtectVolume("DH0:", false, 0, 0));
}

TEST_F(HostedDosTest, ReleasesOfNothingLeaveTheErrorCodeAlone) {
  dos().SetIoErr(kUntouched);
  dos().UnLock({});
  EXPECT_FALSE(dos().Close({}));
  dos().FreeDosObject(DOS_EXAMINEDATA, nullptr);
  dos().FreeDeviceProc(nullptr);
  dos().FreeArgs({});
  EXPECT_FALSE(dos().DupLock({}));
  dos().SetCurrentDir({});
  EXPECT_EQ(dos().IoErr(), kUntouched);
}

TEST_F(HostedDosTest, PrintingLeavesTheErrorCodeAlone) {
  dos().SetIoErr(205);
  dos().Printf("%s #%n %m\n", "Lock()");
  dos().PutStr("100%n\n");
  EXPECT_EQ(dos().IoErr(), 205);
  EXPECT_EQ(output_.text, "Lock() #205 object not found\n100%n\n");
}

TEST_F(HostedDosTest, TheCodeIsZeroAtFirst) {
  EXPECT_EQ(dos().IoErr(), 0);
}

TEST_F(HostedDosTest, TheRootsMissingParentSetsTheCodeToZero) {
  const LockHandle root = MustLock("DH0:");
  dos().SetIoErr(kUntouched);
  EXPECT_FALSE(dos().ParentDir(root));
  EXPECT_EQ(dos().IoErr(), 0);
}

TEST_F(HostedDosTest, TheDateLeavesItsSecondsInTheCode) {
  clock_.now = {16000, 61, 149};
  DateStamp now{};
  dos().DateStamp(now);
  EXPECT_EQ(now.ds_Days, 16000);
  EXPECT_EQ(now.ds_Minute, 61);
  EXPECT_EQ(now.ds_Tick, 149);
  EXPECT_EQ(dos().IoErr(), 16000 * 86400 + 61 * 60 + 2);
}

// ---- Names and the current directory -----------------------------------------------------------

TEST_F(HostedDosTest, WithoutACurrentDirectoryNamesStartAtTheOwnVolume) {
  MakeFile("file");
  EXPECT_TRUE(dos().Lock("DH0:file", SHARED_LOCK));
  EXPECT_TRUE(dos().Lock(":file", SHARED_LOCK));
}

TEST_F(HostedDosTest, TheCurrentDirectoryIsSwapped) {
  MakeDirectory("dir");
  const LockHandle dir = MustLock("dir");
  const LockHandle root = MustLock("");
  EXPECT_EQ(dos().SetCurrentDir(dir), LockHandle{});
  MakeFile("inside");
  EXPECT_EQ(dos().SetCurrentDir(root), dir);
  EXPECT_TRUE(dos().Lock("dir/inside", SHARED_LOCK));
  EXPECT_EQ(dos().SetCurrentDir({}), root);
}

TEST_F(HostedDosTest, ACurrentDirectoryThatWasUnlockedIsInvalid) {
  MakeDirectory("dir");
  const LockHandle dir = MustLock("dir");
  dos().SetCurrentDir(dir);
  dos().UnLock(dir);
  EXPECT_EQ(Code(dos().Lock("x", SHARED_LOCK)), ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(dos().Lock(":", SHARED_LOCK)), ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(dos().GetDeviceProc("x", nullptr)), ERROR_INVALID_LOCK);
  EXPECT_TRUE(dos().Lock("DH0:dir", SHARED_LOCK));
}

TEST_F(HostedDosTest, ATrailingSlashNamesADirectoryButNoEntry) {
  MakeDirectory("dir");
  MakeFile("file");
  EXPECT_TRUE(dos().Lock("dir/", SHARED_LOCK));
  EXPECT_EQ(Code(dos().CreateDir("new/")), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().CreateDir("dir/")), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().Delete("dir/")), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().Rename("dir/", "x")), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().Rename("file", "x/")), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().MakeLink("dir/", "x", LINK_SOFT)), ERROR_OBJECT_EXISTS);
}

TEST_F(HostedDosTest, ADirectoryTreeGrowsFromAnywhere) {
  EXPECT_TRUE(dos().CreateDirTree("DH1:a/b/c"));
  EXPECT_EQ(dos().CountOpen().locks, 1U);  // the levels above are not held
  EXPECT_TRUE(dos().Lock("DH1:a/b/c", SHARED_LOCK));
  EXPECT_TRUE(dos().CreateDirTree("DH1:"));
  EXPECT_TRUE(dos().CreateDirTree(""));
  EXPECT_TRUE(dos().CreateDirTree("DH1:a/x/"));
  EXPECT_TRUE(dos().Lock("DH1:a/x", SHARED_LOCK));
  MakeFile("file");
  EXPECT_EQ(Code(dos().CreateDirTree("file")), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(Code(dos().CreateDirTree("NOSUCH:a/b")), ERROR_DEVICE_NOT_MOUNTED);
  dos().ReleaseEverything();
  EXPECT_TRUE(dos().Delete("DH1:a/b/c"));  // no lock was left behind
  EXPECT_TRUE(dos().Delete("DH1:a/b"));
}

}  // namespace
}  // namespace quorle
