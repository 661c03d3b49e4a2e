#include <string>
#include <string_view>

#include "selftest/contract/contract_test.h"

namespace quorle::selftest {
namespace {

// ---- Directories -------------------------------------------------------------------------------

TEST_P(ContractTest, ANewDirectoryComesWithASharedLock) {
  const LockHandle lock = dos().CreateDir("Dir");
  ASSERT_TRUE(lock);
  EXPECT_TRUE(dos().DupLock(lock));
  const ObjectFacts facts = Look("dir");
  EXPECT_EQ(facts.type, FSO_TYPE_DIRECTORY);
  EXPECT_EQ(facts.name, "Dir");
  EXPECT_EQ(facts.size, -1);
  EXPECT_EQ(facts.protection, EXDF_DEFAULT);
  EXPECT_EQ(facts.comment, "");
  EXPECT_EQ(facts.owner, DOS_OWNER_NONE);
  EXPECT_EQ(facts.group, DOS_OWNER_NONE);
  EXPECT_EQ(facts.date.ds_Days, kToday);
}

TEST_P(ContractTest, ADirectoryTakesNoNameThatIsThere) {
  MakeDirectory("dir");
  MakeFile("file");
  MakeSoftLink("soft", "nowhere");
  MakeHardLink("hard", "file");
  for (const char* const name : {"dir", "DIR", "file", "hard"}) {
    EXPECT_EQ(Code(dos().CreateDir(name)), ERROR_OBJECT_EXISTS) << name;
  }
  EXPECT_EQ(Code(dos().CreateDir("missing/dir")), ERROR_OBJECT_NOT_FOUND);
}

TEST_P(ContractTest, TheCreatePacketGivesASharedLock) {
  alignas(4) std::uint8_t name[256];
  ASSERT_TRUE(dos().CopyStringSTRToBSTR("dir", name, sizeof name));
  dos().SetIoErr(ERROR_DISK_FULL);
  const LockHandle lock = dos().DoPkt(port(), ACTION_CREATE_DIR, root(), name, 0, 0, name);
  ASSERT_TRUE(lock);
  EXPECT_EQ(dos().IoErr(), 0);  // the second result, whatever the first is
  EXPECT_EQ(dos().FileLockOf(lock).fl_Port, port());
  EXPECT_TRUE(dos().DupLock(lock));
  EXPECT_EQ(Code(dos().DoPkt(port(), ACTION_CREATE_DIR, root(), name, 0, 0, name)),
            ERROR_OBJECT_EXISTS);
  MakeFile("file");
  ASSERT_TRUE(dos().CopyStringSTRToBSTR("file", name, sizeof name));
  EXPECT_EQ(Code(dos().DoPkt(port(), ACTION_CREATE_DIR, root(), name, 0, 0, name)),
            ERROR_OBJECT_EXISTS);
}

TEST_P(ContractTest, NoObjectHasAColonInItsName) {
  MakeFile("file");
  EXPECT_EQ(Code(dos().CreateDir(":a:b")), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(OpenCode(":a:b", MODE_NEWFILE), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().MakeLink(":a:b", "x", LINK_SOFT)), ERROR_INVALID_COMPONENT_NAME);
  EXPECT_EQ(Code(dos().Rename("file", ":a:b")), ERROR_INVALID_COMPONENT_NAME);
}

TEST_P(ContractTest, ANameHasAtMost255Bytes) {
  const std::string longest(255, 'n');
  const std::string longer(256, 'n');
  EXPECT_EQ(OpenCode(longest.c_str(), MODE_NEWFILE), 0);
  EXPECT_EQ(Look(longest.c_str()).name,
            IsClassic() ? std::string(kClassicNameLength, 'n') : longest);
  EXPECT_EQ(OpenCode(longer.c_str(), MODE_NEWFILE), ERROR_INVALID_COMPONENT_NAME);
}

TEST_P(ContractTest, ATreeOfDirectoriesGrowsLevelByLevel) {
  const LockHandle lock = dos().CreateDirTree("a/b/c");
  ASSERT_TRUE(lock);
  EXPECT_EQ(dos().SameLock(lock, MustLock("a/b/c")), LOCK_SAME);
  EXPECT_TRUE(dos().CreateDirTree("a/b/c"));
  EXPECT_TRUE(dos().CreateDirTree("a/x"));
  MakeFile("a/file");
  EXPECT_FALSE(dos().CreateDirTree("a/file/c"));
}

// ---- Delete ------------------------------------------------------------------------------------

TEST_P(ContractTest, DeletedIsGone) {
  MakeFile("file", "content");
  MakeDirectory("dir");
  EXPECT_EQ(Code(dos().Delete("FILE")), 0);
  EXPECT_EQ(Code(dos().Delete("dir")), 0);
  EXPECT_FALSE(Exists("file"));
  EXPECT_FALSE(Exists("dir"));
  EXPECT_EQ(Code(dos().Delete("file")), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(Code(dos().Delete("missing/file")), ERROR_OBJECT_NOT_FOUND);
}

TEST_P(ContractTest, WhatIsInUseStays) {
  MakeFile("file");
  for (const std::int32_t mode : {MODE_OLDFILE, MODE_READWRITE, MODE_NEWFILE}) {
    const FileHandle file = MustOpen("file", mode);
    EXPECT_EQ(Code(dos().Delete("file")), ERROR_OBJECT_IN_USE) << mode;
    dos().Close(file);
  }
  for (const std::int32_t mode : {SHARED_LOCK, EXCLUSIVE_LOCK}) {
    const LockHandle lock = MustLock("file", mode);
    EXPECT_EQ(Code(dos().Delete("file")), ERROR_OBJECT_IN_USE) << mode;
    dos().UnLock(lock);
  }
  MakeDirectory("dir");
  const LockHandle lock = MustLock("dir");
  EXPECT_EQ(Code(dos().Delete("dir")), ERROR_OBJECT_IN_USE);
  dos().UnLock(lock);
  EXPECT_EQ(Code(dos().Delete("file")), 0);
  EXPECT_EQ(Code(dos().Delete("dir")), 0);
}

TEST_P(ContractTest, WhatIsProtectedStays) {
  MakeFile("file");
  MakeDirectory("dir");
  for (const char* const name : {"file", "dir"}) {
    Protect(name, EXDF_NO_DELETE);
    EXPECT_EQ(Code(dos().Delete(name)), ERROR_DELETE_PROTECTED) << name;
    Protect(name, 0);
    EXPECT_EQ(Code(dos().Delete(name)), 0) << name;
  }
}

TEST_P(ContractTest, AWriteProtectedFileStays) {
  MakeFile("file");
  Protect("file", EXDF_NO_WRITE);
  EXPECT_EQ(Code(dos().Delete("file")), ERROR_WRITE_PROTECTED);
}

TEST_P(ContractTest, ADirectoryMustBeEmpty) {
  MakeDirectory("dir");
  MakeFile("dir/testfile");
  EXPECT_EQ(Code(dos().Delete("dir")), ERROR_DIRECTORY_NOT_EMPTY);
  EXPECT_EQ(Code(dos().Delete("dir/testfile")), 0);
  EXPECT_EQ(Code(dos().Delete("dir")), 0);
}

TEST_P(ContractTest, TheRootStays) {
  EXPECT_NE(Code(dos().Rename("DH0:", "dir")), 0);  // with which code is not said
  EXPECT_EQ(Code(dos().Delete(":")), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(Code(dos().Delete("DH0:")), ERROR_OBJECT_IN_USE);
}

// ---- Rename ------------------------------------------------------------------------------------

TEST_P(ContractTest, RenamedObjectsKeepWhatTheyHold) {
  MakeFile("file", "content");
  Protect("file", 0x22);
  EXPECT_TRUE(dos().SetComment("file", "a comment"));
  const std::uint64_t id = Look("file").id;
  EXPECT_EQ(Code(dos().Rename("file", "Other")), 0);
  EXPECT_FALSE(Exists("file"));
  const ObjectFacts facts = Look("other");
  EXPECT_EQ(facts.name, "Other");
  EXPECT_EQ(facts.id, id);
  EXPECT_EQ(facts.comment, "a comment");
  EXPECT_EQ(facts.protection & 0x22, 0x22U);
  EXPECT_EQ(ContentOf("other"), "content");
  MakeDirectory("dir");
  EXPECT_EQ(Code(dos().Rename("dir", "folder")), 0);
  EXPECT_EQ(LockCode("folder", SHARED_LOCK), 0);
  EXPECT_EQ(LockCode("dir", SHARED_LOCK), ERROR_OBJECT_NOT_FOUND);
}

TEST_P(ContractTest, ObjectsMoveBetweenDirectories) {
  MakeDirectory("a");
  MakeDirectory("b");
  MakeFile("a/file", "content");
  EXPECT_EQ(Code(dos().Rename("a/file", "b/moved")), 0);
  EXPECT_FALSE(Exists("a/file"));
  EXPECT_EQ(ContentOf("b/moved"), "content");
  EXPECT_EQ(Code(dos().Rename("b", "a/inside")), 0);
  EXPECT_EQ(ContentOf("a/inside/moved"), "content");
}

TEST_P(ContractTest, ANameMayBecomeItselfInAnyCase) {
  MakeFile("file");
  MakeDirectory("dir");
  EXPECT_EQ(Code(dos().Rename("file", "file")), 0);
  EXPECT_EQ(Code(dos().Rename("file", "FiLe")), 0);
  EXPECT_EQ(Look("file").name, "FiLe");
  EXPECT_EQ(Code(dos().Rename("dir", "DIR")), 0);
  EXPECT_EQ(Look("dir").name, "DIR");
}

TEST_P(ContractTest, RenameReplacesNothing) {
  MakeDirectory("a");
  MakeDirectory("b");
  MakeFile("a/one", "1");
  MakeFile("a/two", "2");
  MakeFile("b/one", "3");
  EXPECT_EQ(Code(dos().Rename("a/one", "b/ONE")), ERROR_OBJECT_EXISTS);
  EXPECT_EQ(Code(dos().Rename("a/one", "a/two")), ERROR_OBJECT_EXISTS);
  EXPECT_EQ(Code(dos().Rename("a/one", "b")), ERROR_OBJECT_EXISTS);
  EXPECT_EQ(Code(dos().Rename("a", "b")), ERROR_OBJECT_EXISTS);
  EXPECT_EQ(ContentOf("a/one"), "1");
  EXPECT_EQ(ContentOf("a/two"), "2");
  EXPECT_EQ(ContentOf("b/one"), "3");
}

TEST_P(ContractTest, ADirectoryNeverBecomesItsOwnChild) {
  MakeDirectory("dir");
  MakeDirectory("dir/child");
  EXPECT_EQ(Code(dos().Rename("dir", "dir/x")), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(Code(dos().Rename("dir", "dir/child/x")), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(LockCode("dir/child", SHARED_LOCK), 0);
}

TEST_P(ContractTest, RenameStaysOnItsVolume) {
  MakeFile("file");
  EXPECT_EQ(Code(dos().Rename("file", "OTHER:file")), ERROR_RENAME_ACROSS_DEVICES);
  EXPECT_TRUE(Exists("file"));
}

TEST_P(ContractTest, RenameNeedsItsSourceAndItsDirectory) {
  MakeFile("file");
  EXPECT_EQ(Code(dos().Rename("missing", "x")), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(Code(dos().Rename("file", "missing/x")), ERROR_OBJECT_NOT_FOUND);
}

TEST_P(ContractTest, SoftLinksAreRenamedThemselves) {
  MakeFile("file", "content");
  MakeSoftLink("link", "file");
  EXPECT_EQ(Code(dos().Rename("link", "moved")), 0);
  EXPECT_FALSE(Exists("link"));
  EXPECT_TRUE(Exists("file"));
  EXPECT_EQ(LookAtItself("moved").type, FSO_TYPE_SOFTLINK);
  EXPECT_EQ(ContentOf("moved"), "content");
  MakeSoftLink("dangling", "nowhere");
  EXPECT_EQ(Code(dos().Rename("dangling", "still")), 0);
}

// ---- Hard links --------------------------------------------------------------------------------

TEST_P(ContractTest, AHardLinkIsTheFileUnderAnotherName) {
  MakeFile("file", "content");
  EXPECT_EQ(Look("file").links, IsClassic() ? kClassicRefCount : 1U);
  MakeHardLink("link", "file");
  EXPECT_EQ(ContentOf("link"), "content");
  EXPECT_EQ(Look("link").name, "link");
  EXPECT_EQ(Look("link").type, FSO_TYPE_FILE);
  EXPECT_EQ(dos().SameLock(MustLock("file"), MustLock("link")), LOCK_SAME);
}

TEST_P(ContractTest, AHardLinkOutlivesTheFirstName) {
  MakeFile("file", "content");
  MakeHardLink("link", "file");
  EXPECT_EQ(Code(dos().Delete("file")), 0);
  EXPECT_EQ(ContentOf("link"), "content");
  EXPECT_EQ(Code(dos().Delete("link")), 0);
  EXPECT_FALSE(Exists("link"));
}

TEST_P(ContractTest, ADirectoryLinkMakesNoLoop) {
  MakeDirectory("dir");
  MakeDirectory("dir/inner");
  const LockHandle dir = MustLock("dir");
  if (GetParam().directory_links) {
    MakeHardLink("link", "dir");
    EXPECT_EQ(LockCode("link/inner", SHARED_LOCK), 0);
    EXPECT_EQ(Code(dos().Delete("link")), 0);
    EXPECT_EQ(LockCode("dir/inner", SHARED_LOCK), 0);
  } else {
    EXPECT_EQ(Code(dos().MakeLink("link", dir, LINK_HARD)), ERROR_ACTION_NOT_KNOWN);
    EXPECT_FALSE(Exists("link"));
  }
  EXPECT_EQ(Code(dos().MakeLink("loop", root(), LINK_HARD)), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(Code(dos().MakeLink("dir/inner/loop", dir, LINK_HARD)), ERROR_OBJECT_WRONG_TYPE);
}

TEST_P(ContractTest, AHardLinkStaysOnItsVolume) {
  const LockHandle other = MustLock("OTHER:");
  EXPECT_EQ(Code(dos().MakeLink("link", other, LINK_HARD)), ERROR_INVALID_LOCK);
  EXPECT_FALSE(Exists("link"));
}

TEST_P(ContractTest, LinksReplaceNothing) {
  MakeFile("file", "content");
  MakeDirectory("dir");
  MakeSoftLink("soft", "nowhere");
  const LockHandle lock = MustLock("file");
  for (const char* const name : {"file", "dir", "soft"}) {
    EXPECT_EQ(Code(dos().MakeLink(name, lock, LINK_HARD)), ERROR_OBJECT_EXISTS) << name;
    EXPECT_EQ(Code(dos().MakeLink(name, "x", LINK_SOFT)), ERROR_OBJECT_EXISTS) << name;
  }
  EXPECT_EQ(ContentOf("file"), "content");
}

// ---- Soft links --------------------------------------------------------------------------------

TEST_P(ContractTest, ASoftLinkHoldsItsTargetUnchanged) {
  for (const char* const target : {"x", "DH0:some/where", "/up//and/down", ":"}) {
    MakeSoftLink("link", target);
    char buffer[64] = {};
    EXPECT_EQ(dos().ReadSoftLink(port(), root(), "link", buffer, sizeof buffer),
              static_cast<std::int32_t>(std::string_view(target).size()));
    EXPECT_STREQ(buffer, target);
    EXPECT_EQ(Code(dos().Delete("link")), 0);
  }
}

TEST_P(ContractTest, ASoftLinkNeedsRoomForItsTarget) {
  MakeSoftLink("link", "FILE01");
  char buffer[16] = {};
  EXPECT_EQ(dos().ReadSoftLink(port(), root(), "link", buffer, 7), 6);
  for (const std::int32_t size : {6, 4, 1, 0}) {
    EXPECT_EQ(dos().ReadSoftLink(port(), root(), "link", buffer, size), -2) << size;
    EXPECT_EQ(dos().IoErr(), ERROR_LINE_TOO_LONG) << size;
  }
}

TEST_P(ContractTest, OnlySoftLinksAreRead) {
  MakeFile("file");
  MakeDirectory("dir");
  MakeHardLink("hard", "file");
  char buffer[16];
  for (const char* const name : {"file", "dir", "hard", ""}) {
    EXPECT_EQ(dos().ReadSoftLink(port(), root(), name, buffer, 16), -1) << name;
    EXPECT_EQ(dos().IoErr(), ERROR_OBJECT_WRONG_TYPE) << name;
  }
  EXPECT_EQ(dos().ReadSoftLink(port(), root(), "missing", buffer, 16), -1);
  EXPECT_EQ(dos().IoErr(), ERROR_OBJECT_NOT_FOUND);
}

TEST_P(ContractTest, SoftLinksAreFollowedByNearlyAllCalls) {
  MakeDirectory("dir");
  MakeFile("dir/file", "content");
  MakeSoftLink("to_dir", "dir");
  MakeSoftLink("to_file", "DH0:to_dir/file");
  EXPECT_EQ(ContentOf("to_file"), "content");
  EXPECT_EQ(ContentOf("to_dir/file"), "content");
  EXPECT_EQ(dos().SameLock(MustLock("to_file"), MustLock("dir/file")), LOCK_SAME);
  EXPECT_EQ(Code(dos().SetComment("to_file", "through the link")), 0);
  EXPECT_EQ(Look("dir/file").comment, "through the link");
  EXPECT_EQ(Look("to_file").type, FSO_TYPE_FILE);
  EXPECT_EQ(LookAtItself("to_file").type, FSO_TYPE_SOFTLINK);
  EXPECT_EQ(OpenCode("to_dir", MODE_OLDFILE), ERROR_OBJECT_WRONG_TYPE);
}

TEST_P(ContractTest, DeleteTakesTheLinkNotItsTarget) {
  MakeFile("file");
  MakeSoftLink("link", "file");
  EXPECT_EQ(Code(dos().Delete("link")), 0);
  EXPECT_TRUE(Exists("file"));
  EXPECT_FALSE(Exists("link"));
}

TEST_P(ContractTest, SoftLinksMayLeadNowhere) {
  MakeSoftLink("dangling", "nowhere");
  MakeSoftLink("self", "self");
  MakeSoftLink("unknown", "NOSUCH:x");
  MakeSoftLink("to_other", "OTHER:");
  EXPECT_EQ(LockCode("dangling", SHARED_LOCK), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(OpenCode("dangling", MODE_OLDFILE), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(LockCode("self", SHARED_LOCK), ERROR_TOO_MANY_LEVELS);
  EXPECT_EQ(LockCode("unknown", SHARED_LOCK), ERROR_DEVICE_NOT_MOUNTED);
  EXPECT_EQ(dos().SameLock(MustLock("to_other"), root()), LOCK_DIFFERENT);
  EXPECT_EQ(OpenCode("dangling", MODE_NEWFILE), 0);
  EXPECT_EQ(Look("nowhere").type, FSO_TYPE_FILE);
}

// ---- A protected volume ------------------------------------------------------------------------

TEST_P(ContractTest, NothingChangesOnAProtectedVolume) {
  MakeFile("file");
  MakeDirectory("dir");
  const LockHandle lock = MustLock("file");
  WriteProtect(true);
  EXPECT_EQ(Code(dos().CreateDir("new")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().Delete("file")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().Delete("dir")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().Rename("file", "new")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().MakeLink("new", lock, LINK_HARD)), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().MakeLink("new", "file", LINK_SOFT)), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().SetComment("file", "x")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().SetProtection("file", 1)), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().SetDate("file", {kLongAgo, 0, 0})), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().SetOwnerInfo("file", OI_OwnerUID, 1)), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().SetOwnerInfo("file", OI_OwnerGID, 1)), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().Relabel("DH0:", "new")), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(LockCode("dir", SHARED_LOCK), 0);
  WriteProtect(false);
  EXPECT_FALSE(Exists("new"));
  EXPECT_TRUE(Exists("file"));
  EXPECT_TRUE(Exists("dir"));
}

}  // namespace
}  // namespace quorle::selftest
