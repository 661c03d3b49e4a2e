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

// ---- Links -------------------------------------------------------------------------------------

TEST_F(HostedDosTest, ALinksTargetAndKindBelongTogether) {
  MakeFile("file");
  const LockHandle lock = MustLock("file");
  EXPECT_EQ(Code(dos().MakeLink("x", lock, LINK_SOFT)), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(Code(dos().MakeLink("x", lock, 2)), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(Code(dos().MakeLink("x", "file", LINK_HARD)), ERROR_OBJECT_WRONG_TYPE);
  const char* const nothing = nullptr;
  EXPECT_EQ(Code(dos().MakeLink("x", nothing, LINK_SOFT)), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().Lock("x", SHARED_LOCK)), ERROR_OBJECT_NOT_FOUND);
}

TEST_F(HostedDosTest, ALinkReplacesNothingThatIsInUse) {
  MakeFile("file");
  const LockHandle lock = MustLock("file", EXCLUSIVE_LOCK);
  EXPECT_EQ(Code(dos().MakeLink("file", "x", LINK_SOFT)), ERROR_OBJECT_EXISTS);
  EXPECT_EQ(Code(dos().MakeLink("file", lock, LINK_HARD)), ERROR_OBJECT_EXISTS);
}

TEST_F(HostedDosTest, ASoftLinkIsReadThroughPortOrLock) {
  MakeDirectory("dir");
  EXPECT_TRUE(dos().MakeLink("dir/link", "target", LINK_SOFT));
  const PortHandle port = PortOf("DH0:");
  const LockHandle dir = MustLock("dir");
  const LockHandle other = MustLock("DH1:");
  char buffer[16];
  EXPECT_EQ(dos().ReadSoftLink(port, dir, "link", buffer, 16), 6);
  EXPECT_EQ(dos().ReadSoftLink({}, dir, "link", buffer, 16), 6);
  EXPECT_EQ(dos().ReadSoftLink(port, {}, "dir/link", buffer, 16), 6);
  EXPECT_EQ(dos().ReadSoftLink(port, dir, "/dir/link", buffer, 16), 6);
  EXPECT_STREQ(buffer, "target");
  const auto code = [&](PortHandle p, LockHandle l, const char* name) {
    EXPECT_EQ(dos().ReadSoftLink(p, l, name, buffer, 16), -1);
    return dos().IoErr();
  };
  EXPECT_EQ(code(port, other, "link"), ERROR_INVALID_LOCK);
  EXPECT_EQ(code({}, {}, "link"), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(code(port, dir, nullptr), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(code(PortHandle{99999}, dir, "link"), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(code(port, LockHandle{99999}, "link"), ERROR_INVALID_LOCK);
}

// ---- Examining ---------------------------------------------------------------------------------

TEST_F(HostedDosTest, RecordsOutliveTheirObject) {
  MakeFile("file");
  EXPECT_TRUE(dos().SetComment("file", "a comment"));
  const ExamineData* const record = dos().ExamineObject(EX_StringNameInput, "file");
  ASSERT_NE(record, nullptr);
  EXPECT_TRUE(dos().Delete("file"));
  EXPECT_STREQ(record->Name, "file");
  EXPECT_STREQ(record->Comment, "a comment");
  EXPECT_STREQ(record->Link, "");
  dos().FreeDosObject(DOS_EXAMINEDATA, record);
  EXPECT_EQ(dos().CountOpen().examine_records, 0U);
  dos().FreeDosObject(DOS_EXAMINEDATA, record);  // of nothing any more
}

TEST_F(HostedDosTest, OnlyItsOwnTagFitsAnInput) {
  MakeFile("file");
  EXPECT_EQ(Code(dos().ExamineObject(EX_LockInput, "file")), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().ExamineObject(EX_StringNameInput, MustLock("file"))),
            ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().ExamineObject(EX_LockInput, dos().Open("file", MODE_OLDFILE))),
            ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().SetOwnerInfo("file", OI_StringNameInput, 1)), ERROR_REQUIRED_ARG_MISSING);
}

TEST_F(HostedDosTest, WithoutItsFunctionAnObjectIsExaminedAllTheSame) {
  MakeFile("file");
  MakeDirectory("dir");
  EXPECT_TRUE(dos().MakeLink("link", "file", LINK_SOFT));
  EXPECT_TRUE(dos().MakeLink("dir/link", "nowhere", LINK_SOFT));
  RecordingHandler::TableOf(*machine_->list().Find("DH0").port).FSExamineObj = nullptr;
  const auto type = [&](const char* name) -> std::int64_t {
    const ExamineData* const record = dos().ExamineObject(EX_ObjectNameInput, name);
    if (record == nullptr) return -dos().IoErr();
    const std::int64_t result = record->Type & FSO_TYPE_MASK;
    dos().FreeDosObject(DOS_EXAMINEDATA, record);
    return result;
  };
  EXPECT_EQ(type("file"), FSO_TYPE_FILE);
  EXPECT_EQ(type("dir"), FSO_TYPE_DIRECTORY);
  EXPECT_EQ(type(":"), FSO_TYPE_DIRECTORY);
  EXPECT_EQ(type("LINK"), FSO_TYPE_SOFTLINK);
  EXPECT_EQ(type("dir/link"), FSO_TYPE_SOFTLINK);
  EXPECT_EQ(type("missing"), -ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(dos().CountOpen(), OpenObjects{});
  EXPECT_TRUE(machine_->ShutDown().empty());
}

TEST_F(HostedDosTest, AFilesystemThatCannotExamineSaysSo) {
  EXPECT_EQ(Code(dos().ExamineObject(EX_StringNameInput, "TREE:dir")), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(Code(dos().ExamineObject(EX_ObjectNameInput, "TREE:dir")), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(LiveLocks(*machine_->list().Find("TREE").port), 0U);
}

// ---- Volumes and handlers ----------------------------------------------------------------------

TEST_F(HostedDosTest, ADeviceIsFoundByEveryName) {
  const LockHandle lock = MustLock("DH1:");
  ASSERT_TRUE(machine_->list().AddAssign("Libs", *machine_->list().Find("DH1").port, nullptr));
  const PortHandle port = dos().FileLockOf(lock).fl_Port;
  EXPECT_EQ(PortOf("DH1:"), port);
  EXPECT_EQ(PortOf("other disk:some/path"), port);
  EXPECT_EQ(PortOf("LIBS:"), port);
  EXPECT_NE(PortOf("DH0:"), port);
  // Nowhere yet: a word without a device does not mean the first volume.
  EXPECT_EQ(Code(dos().GetDeviceProc("name", nullptr)), ERROR_DEVICE_NOT_MOUNTED);
  dos().SetCurrentDir(lock);
  EXPECT_EQ(PortOf("name"), port);
  EXPECT_EQ(PortOf(":"), port);
  EXPECT_EQ(PortOf(""), port);
  EXPECT_EQ(dos().CountOpen().device_procs, 0U);
}

TEST_F(HostedDosTest, ThereIsNoSecondMemberOfAnAssign) {
  const DevProc* const first = dos().GetDeviceProc("DH0:", nullptr);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(Code(dos().GetDeviceProc("DH0:", first)), ERROR_NO_MORE_ENTRIES);
}

TEST_F(HostedDosTest, NilIsADeviceWithoutAFilesystem) {
  const PortHandle nil = PortOf("NIL:");
  ASSERT_TRUE(nil);
  EXPECT_FALSE(dos().IsFileSystem(nil));
  char name[8];
  EXPECT_TRUE(dos().DevNameFromPort(nil, name, 8, true));
  EXPECT_STREQ(name, "NIL:");
  EXPECT_EQ(Code(dos().VolNameFromPort(nil, name, 8, true)), ERROR_NO_DISK);
  InfoData info;
  EXPECT_EQ(Code(dos().GetDiskInfo(nil, info)), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(Code(dos().Lock("NIL:", SHARED_LOCK)), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(Code(dos().Open("NIL:", MODE_OLDFILE)), ERROR_ACTION_NOT_KNOWN);
}

TEST_F(HostedDosTest, NoPortIsNil) {
  char name[8];
  EXPECT_TRUE(dos().DevNameFromPort({}, name, 8, true));
  EXPECT_STREQ(name, "NIL:");
  EXPECT_TRUE(dos().VolNameFromPort({}, name, 8, false));
  EXPECT_STREQ(name, "NIL");
  EXPECT_FALSE(dos().IsFileSystem({}));
  InfoData info;
  std::uint32_t type = 0;
  EXPECT_EQ(Code(dos().GetDiskInfo(PortHandle{}, info)), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().FileSystemAttr({}, name, 8, type)), ERROR_REQUIRED_ARG_MISSING);
}

TEST_F(HostedDosTest, AForeignPortIsNotMounted) {
  const PortHandle foreign{MustLock("DH0:").value};
  char name[8] = "before";
  InfoData info;
  EXPECT_EQ(Code(dos().DevNameFromPort(foreign, name, 8, true)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_STREQ(name, "");
  EXPECT_EQ(Code(dos().VolNameFromPort(foreign, name, 8, true)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(dos().GetDiskInfo(foreign, info)), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(dos().PortRecordOf(foreign).node_type, 0);
}

TEST_F(HostedDosTest, NamesOfAPortNeedTheirRoom) {
  const PortHandle port = PortOf("DH0:");
  char name[8];
  for (const bool colon : {false, true}) {
    const std::string device = colon ? "DH0:" : "DH0";
    const std::string volume = colon ? "Work:" : "Work";
    const auto device_size = static_cast<std::uint32_t>(device.size());
    const auto volume_size = static_cast<std::uint32_t>(volume.size());
    EXPECT_TRUE(dos().DevNameFromPort(port, name, device_size + 1, colon));
    EXPECT_EQ(name, device);
    EXPECT_EQ(Code(dos().DevNameFromPort(port, name, device_size, colon)), ERROR_LINE_TOO_LONG);
    EXPECT_STREQ(name, "");
    EXPECT_TRUE(dos().VolNameFromPort(port, name, volume_size + 1, colon));
    EXPECT_EQ(name, volume);
    EXPECT_EQ(Code(dos().VolNameFromPort(port, name, volume_size, colon)), ERROR_LINE_TOO_LONG);
    EXPECT_STREQ(name, "");
  }
  name[0] = '?';
  EXPECT_EQ(Code(dos().DevNameFromPort(port, name, 0, false)), ERROR_LINE_TOO_LONG);
  EXPECT_EQ(name[0], '?');
}

std::int32_t OnlyTheType(::FileSystemVectorPort*, std::int32_t* res2, const ::TagItem* tags) {
  for (; tags->ti_Tag != QUORLE_TAG_DONE; ++tags) {
    if (tags->ti_Tag != QUORLE_FSA_DOSTypeR) {
      *res2 = ERROR_NOT_IMPLEMENTED;
      return 0;
    }
    *reinterpret_cast<std::uint32_t*>(tags->ti_Data) = 0x12345678;
  }
  return 1;
}

TEST_F(HostedDosTest, AnUnknownQuestionLeavesTheOtherAnswered) {
  const PortHandle port = PortOf("DH0:");
  ::FileSystemVectors& table = RecordingHandler::TableOf(*machine_->list().Find("DH0").port);
  table.FSFileSystemAttr = OnlyTheType;
  char version[16] = "";
  std::uint32_t type = 0;
  EXPECT_EQ(Code(dos().FileSystemAttr(port, version, 16, type)), ERROR_NOT_IMPLEMENTED);
  EXPECT_STREQ(version, "");
  EXPECT_EQ(type, 0x12345678U);
  table.FSFileSystemAttr = nullptr;
  type = 0;
  EXPECT_EQ(Code(dos().FileSystemAttr(port, version, 16, type)), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(type, 0U);
}

TEST_F(HostedDosTest, AVolumeIsChangedByItsDeviceWithColonOnly) {
  EXPECT_EQ(Code(dos().Relabel("DH0", "x")), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().Relabel("", "x")), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().Relabel(nullptr, "x")), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().Relabel("DH0:", nullptr)), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().Relabel("NOSUCH:", "x")), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(Code(dos().WriteProtectVolume("DH0", true, 0, 0)), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().WriteProtectVolume("DH0:", true, 0, 1)), ERROR_BAD_NUMBER);
  EXPECT_TRUE(dos().Lock("Work:", SHARED_LOCK));
}

TEST_F(HostedDosTest, OnlyPacketsThatGiveALockAreSent) {
  alignas(4) std::uint8_t name[16];
  ASSERT_TRUE(dos().CopyStringSTRToBSTR("dir", name, 16));
  const PortHandle port = PortOf("DH0:");
  const LockHandle root = MustLock("DH0:");
  EXPECT_EQ(Code(dos().DoPkt(port, QUORLE_ACTION_DELETE_OBJECT, root, name, 0, 0, name)),
            ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(Code(dos().DoPkt(port, ACTION_CREATE_DIR, root, nullptr, 0, 0, nullptr)),
            ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(Code(dos().DoPkt(port, ACTION_CREATE_DIR, LockHandle{999}, name, 0, 0, name)),
            ERROR_INVALID_LOCK);
  EXPECT_EQ(Code(dos().DoPkt({}, ACTION_CREATE_DIR, root, name, 0, 0, name)),
            ERROR_REQUIRED_ARG_MISSING);
  const LockHandle dir = dos().DoPkt(port, ACTION_CREATE_DIR, {}, name, 0, 0, name);
  ASSERT_TRUE(dir);
  const LockHandle parent = dos().DoPkt(port, QUORLE_ACTION_PARENT, dir, nullptr, 0, 0, nullptr);
  EXPECT_EQ(dos().SameLock(parent, root), LOCK_SAME);
}

TEST_F(HostedDosTest, APacketsSecondResultIsAlwaysTheCode) {
  alignas(4) std::uint8_t name[16];
  ASSERT_TRUE(dos().CopyStringSTRToBSTR("dir", name, 16));
  const PortHandle port = PortOf("DH0:");
  dos().SetIoErr(kUntouched);
  EXPECT_TRUE(dos().DoPkt(port, ACTION_CREATE_DIR, {}, name, 0, 0, name));
  EXPECT_EQ(dos().IoErr(), 0);
  EXPECT_FALSE(dos().DoPkt(port, ACTION_CREATE_DIR, {}, name, 0, 0, name));
  EXPECT_EQ(dos().IoErr(), ERROR_OBJECT_EXISTS);
}

TEST_F(HostedDosTest, APacketTextIsCutToFit) {
  std::uint8_t buffer[300];
  EXPECT_TRUE(dos().CopyStringSTRToBSTR("abc", buffer, 5));
  EXPECT_EQ(std::memcmp(buffer, "\3abc", 5), 0);
  EXPECT_FALSE(dos().CopyStringSTRToBSTR("abcd", buffer, 5));
  EXPECT_EQ(std::memcmp(buffer, "\3abc", 5), 0);
  EXPECT_TRUE(dos().CopyStringSTRToBSTR("", buffer, 2));
  EXPECT_EQ(buffer[0], 0);
  EXPECT_FALSE(dos().CopyStringSTRToBSTR("a", buffer, 1));
  EXPECT_EQ(buffer[0], 0);
  EXPECT_FALSE(dos().CopyStringSTRToBSTR("a", buffer, 0));
  const std::string long_text(256, 'x');
  EXPECT_FALSE(dos().CopyStringSTRToBSTR(long_text.c_str(), buffer, sizeof buffer));
  EXPECT_EQ(buffer[0], 255);
  EXPECT_TRUE(dos().CopyStringSTRToBSTR(long_text.c_str() + 1, buffer, sizeof buffer));
  EXPECT_EQ(buffer[0], 255);
}

// ---- The process -------------------------------------------------------------------------------

TEST_F(HostedDosTest, TheCommandLineFillsTheWords) {
  Build({.arguments = "DH0: NI TN=5"});
  ArgumentWord words[3] = {};
  const RdArgsHandle args = dos().ReadArgs("DEVICE/A,NI/S,TN/K/N", words, {});
  ASSERT_TRUE(args);
  EXPECT_STREQ(words[0].text, "DH0:");
  EXPECT_NE(words[1].flag, 0);
  ASSERT_NE(words[2].number, nullptr);
  EXPECT_EQ(*words[2].number, 5);
  dos().FreeArgs(args);
  EXPECT_EQ(dos().CountOpen().argument_results, 0U);
}

TEST_F(HostedDosTest, ACommandLineThatDoesNotFitIsRefused) {
  Build({.arguments = ""});
  ArgumentWord words[1] = {};
  EXPECT_EQ(Code(dos().ReadArgs("DEVICE/A", words, {})), ERROR_REQUIRED_ARG_MISSING);
  Build({.arguments = "a b"});
  EXPECT_EQ(Code(dos().ReadArgs("DEVICE/A", words, {})), ERROR_TOO_MANY_ARGS);
  EXPECT_EQ(Code(dos().ReadArgs(nullptr, words, {})), ERROR_REQUIRED_ARG_MISSING);
}

TEST_F(HostedDosTest, AQuestionMarkAsksOnTheConsole) {
  Build({.arguments = "?"});
  input_.lines = {"DH0:"};
  ArgumentWord words[1] = {};
  ASSERT_TRUE(dos().ReadArgs("DEVICE/A", words, {}));
  EXPECT_STREQ(words[0].text, "DH0:");
  EXPECT_EQ(output_.text, "DEVICE/A: ");
}

TEST_F(HostedDosTest, TheBreakSignalIsTakenOnce) {
  EXPECT_EQ(dos().CheckSignal(SIGBREAKF_CTRL_C), 0U);
  breaks_.pressed = true;
  EXPECT_EQ(dos().CheckSignal(0x2000), 0U);
  EXPECT_EQ(dos().CheckSignal(0xF000), SIGBREAKF_CTRL_C);
  EXPECT_EQ(dos().CheckSignal(SIGBREAKF_CTRL_C), 0U);
}

TEST_F(HostedDosTest, TheWindowIsSwapped) {
  EXPECT_EQ(dos().SetProcWindow(kNoRequesters), nullptr);
  EXPECT_EQ(dos().SetProcWindow(nullptr), kNoRequesters);
}

TEST_F(HostedDosTest, ARequesterGoesToStandardError) {
  EXPECT_EQ(dos().TimedDosRequesterTags(20, "This program is for CLI only.", "OK", 3), 0);
  EXPECT_EQ(errors_.text, "This program is for CLI only.\n");
  EXPECT_EQ(output_.text, "");
}

TEST_F(HostedDosTest, DatesBecomeText) {
  char text[LEN_DATSTRING];
  DateTime date{{14612, 2, 2}, FORMAT_ISO, 0, nullptr, text, nullptr};
  EXPECT_TRUE(dos().DateToStr(date));
  EXPECT_STREQ(text, "2018-01-03");
  date.dat_Stamp.ds_Days = -1;
  EXPECT_FALSE(dos().DateToStr(date));
}

// ---- With a handler with fixed answers -----------------------------------------------

class ClockThatCounts final : public Clock {
 public:
  quorle::DateStamp Now() override { return {}; }
  void Sleep(std::uint32_t ticks) override { slept += ticks; }
  std::uint32_t slept = 0;
};

class RecordedDosTest : public ::testing::Test {
 protected:
  RecordedDosTest() : port_(handler_.Mount(PortType::kVector)) {
    EXPECT_TRUE(list_.AddDevice(*port_));
    handler_.calls.clear();
  }

  HostedDosParts Parts() {
    return {.list = list_,
            .numbers = numbers_,
            .console = console_,
            .input = input_,
            .clock = clock_,
            .breaks = breaks_};
  }

  /// The names of the functions that were called, in order.
  std::string Functions() {
    std::string names;
    for (const RecordingHandler::Called& call : handler_.calls) names += call.function + " ";
    handler_.calls.clear();
    return names;
  }

  RecordingHandler handler_;
  std::unique_ptr<HandlerPort> port_;
  DosList list_;
  HandleNumbers numbers_;
  MemorySink output_;
  MemorySink errors_;
  Console console_{output_, errors_, false};
  FixedInput input_;
  FixedBreak breaks_;
  ClockThatCounts clock_;
};

TEST_F(RecordedDosTest, ANewDirectorysExclusiveLockBecomesShared) {
  HostedDos dos(Parts(), {});
  ::Lock& lock = *handler_.locks[0];
  handler_.result = reinterpret_cast<std::intptr_t>(&lock);
  lock.fl_Access = EXCLUSIVE_LOCK;
  EXPECT_TRUE(dos.CreateDir("dir"));
  EXPECT_EQ(Functions(), "FSCreateDir FSChangeLockMode ");
  lock.fl_Access = SHARED_LOCK;
  EXPECT_TRUE(dos.CreateDir("dir"));
  EXPECT_EQ(Functions(), "FSCreateDir ");
}

TEST_F(RecordedDosTest, OneComponentIsOneCall) {
  HostedDos dos(Parts(), {});
  handler_.res2 = ERROR_OBJECT_NOT_FOUND;
  EXPECT_FALSE(dos.Lock("x", SHARED_LOCK));
  EXPECT_EQ(Functions(), "FSLock ");
  EXPECT_FALSE(dos.Delete("x"));
  EXPECT_EQ(Functions(), "FSDelete ");
  EXPECT_FALSE(dos.SetProtection("x", 0));
  EXPECT_EQ(Functions(), "FSSetProtection ");
  EXPECT_FALSE(dos.Open("x", MODE_OLDFILE));
  EXPECT_EQ(Functions(), "FSOpen ");
  EXPECT_EQ(dos.ReadSoftLink({}, {}, "x", nullptr, 0), -1);
  EXPECT_EQ(Functions(), "");
}

TEST_F(RecordedDosTest, TheHandlersCodeIsPassedOnUnchanged) {
  HostedDos dos(Parts(), {});
  for (const std::int32_t code : {0, 1, 209, 99999, -1}) {
    handler_.res2 = code;
    EXPECT_FALSE(dos.Lock("x", SHARED_LOCK));
    EXPECT_EQ(dos.IoErr(), code);
  }
}

TEST_F(RecordedDosTest, DeleteAndRenameLeaveASoftLinkToTheHandler) {
  HostedDos dos(Parts(), {});
  handler_.res2 = ERROR_IS_SOFT_LINK;
  EXPECT_FALSE(dos.Delete("x"));
  EXPECT_EQ(dos.IoErr(), ERROR_IS_SOFT_LINK);
  EXPECT_FALSE(dos.Rename("x", "y"));
  EXPECT_EQ(dos.IoErr(), ERROR_IS_SOFT_LINK);
  EXPECT_EQ(Functions(), "FSDelete FSRename ");
}

TEST_F(RecordedDosTest, NoLinkArisesWhereSomethingCannotBeLocked) {
  HostedDos dos(Parts(), {});
  for (const std::int32_t code : {ERROR_OBJECT_IN_USE, ERROR_IS_SOFT_LINK}) {
    handler_.res2 = code;
    EXPECT_FALSE(dos.MakeLink("x", "target", LINK_SOFT));
    EXPECT_EQ(dos.IoErr(), ERROR_OBJECT_EXISTS);
    EXPECT_EQ(Functions(), "FSLock ");
  }
  // Any other refusal leaves the name to the handler.
  for (const std::int32_t code : {ERROR_OBJECT_NOT_FOUND, ERROR_ACTION_NOT_KNOWN}) {
    handler_.res2 = code;
    EXPECT_FALSE(dos.MakeLink("x", "target", LINK_SOFT));
    EXPECT_EQ(dos.IoErr(), code);
    EXPECT_EQ(Functions(), "FSLock FSCreateSoftLink ");
  }
}

TEST_F(RecordedDosTest, AnObjectExaminedItselfIsNeverFollowed) {
  HostedDos dos(Parts(), {});
  handler_.res2 = ERROR_IS_SOFT_LINK;
  EXPECT_EQ(dos.ExamineObject(EX_ObjectNameInput, "x"), nullptr);
  EXPECT_EQ(dos.IoErr(), ERROR_IS_SOFT_LINK);
  EXPECT_EQ(Functions(), "FSExamineObj ");
}

TEST_F(RecordedDosTest, AComparisonThatFailsLeavesItsCode) {
  HostedDos dos(Parts(), {});
  handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[0]);
  const LockHandle a = dos.Lock("a", SHARED_LOCK);
  handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[1]);
  const LockHandle b = dos.Lock("b", SHARED_LOCK);
  handler_.result = 0;
  handler_.res2 = ERROR_ACTION_NOT_KNOWN;
  EXPECT_EQ(dos.SameLock(a, b), LOCK_SAME_VOLUME);
  EXPECT_EQ(dos.IoErr(), ERROR_ACTION_NOT_KNOWN);
  dos.SetIoErr(kUntouched);
  handler_.res2 = 0;
  EXPECT_EQ(dos.SameLock(a, b), LOCK_SAME_VOLUME);
  EXPECT_EQ(dos.IoErr(), kUntouched);
}

TEST_F(RecordedDosTest, WithoutAHandlerThatComparesALockIsStillTheSameAsItself) {
  HostedDos dos(Parts(), {});
  handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[0]);
  const LockHandle a = dos.Lock("a", SHARED_LOCK);
  handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[1]);
  const LockHandle b = dos.Lock("a", SHARED_LOCK);
  handler_.result = 0;
  handler_.res2 = ERROR_ACTION_NOT_KNOWN;
  dos.SetIoErr(kUntouched);
  EXPECT_EQ(dos.SameLock(a, a), LOCK_SAME);
  EXPECT_EQ(dos.IoErr(), kUntouched);
  // Two locks on one object: nobody knows but the handler.
  EXPECT_EQ(dos.SameLock(a, b), LOCK_SAME_VOLUME);
  EXPECT_EQ(dos.IoErr(), ERROR_ACTION_NOT_KNOWN);
  // It was asked, and its no counts, whatever it looks like.
  handler_.res2 = 0;
  EXPECT_EQ(dos.SameLock(a, a), LOCK_SAME_VOLUME);
  handler_.res2 = ERROR_DEVICE_NOT_MOUNTED;
  EXPECT_EQ(dos.SameLock(a, a), LOCK_SAME_VOLUME);
  EXPECT_EQ(dos.IoErr(), ERROR_DEVICE_NOT_MOUNTED);
}

TEST_F(RecordedDosTest, AFileThatDoesNotCloseIsGoneAllTheSame) {
  HostedDos dos(Parts(), {});
  handler_.result = 1;
  const FileHandle file = dos.Open("x", MODE_OLDFILE);
  ASSERT_TRUE(file);
  handler_.result = 0;
  handler_.res2 = ERROR_DISK_FULL;
  EXPECT_FALSE(dos.Close(file));
  EXPECT_EQ(dos.IoErr(), ERROR_DISK_FULL);
  EXPECT_EQ(dos.CountOpen().files, 0U);
}

TEST_F(RecordedDosTest, ALockThatDoesNotUnlockIsGoneAllTheSame) {
  HostedDos dos(Parts(), {});
  handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[0]);
  const LockHandle handle = dos.Lock("x", SHARED_LOCK);
  ASSERT_TRUE(handle);
  handler_.result = 0;
  handler_.res2 = ERROR_INVALID_LOCK;
  dos.UnLock(handle);
  EXPECT_EQ(dos.IoErr(), ERROR_INVALID_LOCK);
  EXPECT_EQ(dos.CountOpen().locks, 0U);
}

TEST_F(RecordedDosTest, WhatIsLeftOpenIsClosedAtTheEnd) {
  {
    HostedDos dos(Parts(), {});
    handler_.result = reinterpret_cast<std::intptr_t>(handler_.locks[0]);
    EXPECT_TRUE(dos.Lock("x", SHARED_LOCK));
    handler_.result = 1;
    EXPECT_TRUE(dos.Open("x", MODE_OLDFILE));
    handler_.calls.clear();
  }
  EXPECT_EQ(Functions(), "FSClose FSUnLock ");
}

TEST_F(RecordedDosTest, DelaysMayBeSwitchedOff) {
  HostedDos dos(Parts(), {});
  dos.Delay(25);
  EXPECT_EQ(clock_.slept, 25U);
  HostedDos hurried(Parts(), {.arguments = "", .delays = false});
  hurried.Delay(25);
  EXPECT_EQ(clock_.slept, 25U);
}

}  // namespace
}  // namespace quorle
