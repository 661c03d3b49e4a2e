#include "selftest/contract/contract_test.h"

namespace quorle::selftest {
namespace {

TEST_P(ContractTest, AMissingNameIsNotFound) {
  EXPECT_EQ(LockCode("missing", SHARED_LOCK), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(LockCode("missing", EXCLUSIVE_LOCK), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(LockCode("missing/x", SHARED_LOCK), ERROR_OBJECT_NOT_FOUND);
}

TEST_P(ContractTest, NamesIgnoreCase) {
  MakeFile("File\xe4");
  EXPECT_EQ(LockCode("fILE\xc4", SHARED_LOCK), 0);
}

TEST_P(ContractTest, SharedLocksOnAFileGoTogetherExclusiveOnesDoNot) {
  MakeFile("file");
  const LockHandle shared = MustLock("file");
  EXPECT_EQ(LockCode("file", SHARED_LOCK), 0);
  EXPECT_EQ(LockCode("file", EXCLUSIVE_LOCK), ERROR_OBJECT_IN_USE);
  dos().UnLock(shared);
  const LockHandle exclusive = MustLock("file", EXCLUSIVE_LOCK);
  EXPECT_EQ(LockCode("file", SHARED_LOCK), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(LockCode("file", EXCLUSIVE_LOCK), ERROR_OBJECT_IN_USE);
  dos().UnLock(exclusive);
  EXPECT_EQ(LockCode("file", EXCLUSIVE_LOCK), 0);
}

TEST_P(ContractTest, DirectoryLocksAreAlwaysShared) {
  MakeDirectory("dir");
  const LockHandle first = MustLock("dir", EXCLUSIVE_LOCK);
  const LockHandle second = MustLock("dir", EXCLUSIVE_LOCK);
  EXPECT_EQ(LockCode("dir", SHARED_LOCK), 0);
  EXPECT_EQ(Code(dos().DupLock(first)), 0);
  EXPECT_EQ(LockCode(":", EXCLUSIVE_LOCK), 0);
  dos().UnLock(second);
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_LOCK, first, SHARED_LOCK)), 0);
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_LOCK, first, EXCLUSIVE_LOCK)), ERROR_OBJECT_WRONG_TYPE);
}

TEST_P(ContractTest, TheEmptyNameIsTheLockedObjectItself) {
  MakeFile("file");
  const LockHandle file = MustLock("file");
  dos().SetCurrentDir(file);
  const LockHandle same = MustLock("");
  const LockHandle directory = MustLock("/");
  EXPECT_EQ(dos().SameLock(file, same), LOCK_SAME);
  EXPECT_EQ(dos().SameLock(directory, root()), LOCK_SAME);
}

TEST_P(ContractTest, NothingIsUnderAFile) {
  MakeFile("file");
  const std::int32_t code = LockCode("file/x", SHARED_LOCK);
  EXPECT_TRUE(code == ERROR_OBJECT_WRONG_TYPE || code == ERROR_OBJECT_NOT_FOUND) << code;
}

TEST_P(ContractTest, ASharedLockHasADuplicateAnExclusiveOneHasNone) {
  MakeFile("file");
  const LockHandle shared = MustLock("file");
  const LockHandle copy = dos().DupLock(shared);
  ASSERT_TRUE(copy);
  EXPECT_EQ(dos().SameLock(shared, copy), LOCK_SAME);
  dos().UnLock(shared);
  EXPECT_EQ(LockCode("file", EXCLUSIVE_LOCK), ERROR_OBJECT_IN_USE);
  dos().UnLock(copy);
  const LockHandle exclusive = MustLock("file", EXCLUSIVE_LOCK);
  EXPECT_EQ(Code(dos().DupLock(exclusive)), ERROR_OBJECT_IN_USE);
}

TEST_P(ContractTest, AHandleGivesALockUnlessItIsExclusive) {
  const FileHandle exclusive = MustOpen("file", MODE_NEWFILE);
  EXPECT_EQ(Code(dos().DupLockFromFH(exclusive)), ERROR_OBJECT_IN_USE);
  dos().Close(exclusive);
  for (const std::int32_t mode : {MODE_OLDFILE, MODE_READWRITE}) {
    const FileHandle shared = MustOpen("file", mode);
    const LockHandle lock = dos().DupLockFromFH(shared);
    ASSERT_TRUE(lock);
    dos().Close(shared);
    EXPECT_EQ(LockCode("file", EXCLUSIVE_LOCK),
              ERROR_OBJECT_IN_USE);  // the lock outlives the handle
    dos().UnLock(lock);
    EXPECT_EQ(LockCode("file", EXCLUSIVE_LOCK), 0);
  }
}

TEST_P(ContractTest, ALockChangesItsModeWhenItIsAlone) {
  MakeFile("file");
  const LockHandle lock = MustLock("file");
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_LOCK, lock, SHARED_LOCK)), 0);
  const LockHandle second = MustLock("file");
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_LOCK, lock, EXCLUSIVE_LOCK)), ERROR_OBJECT_IN_USE);
  dos().UnLock(second);
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_LOCK, lock, EXCLUSIVE_LOCK)), 0);
  EXPECT_EQ(LockCode("file", SHARED_LOCK), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_LOCK, lock, EXCLUSIVE_LOCK)), 0);
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_LOCK, lock, SHARED_LOCK)), 0);
  EXPECT_EQ(LockCode("file", SHARED_LOCK), 0);
}

TEST_P(ContractTest, AHandleChangesItsModeWhenItIsAlone) {
  const FileHandle file = MustOpen("file", MODE_READWRITE);
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_FH, file, SHARED_LOCK)), 0);
  const FileHandle second = MustOpen("file");
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_FH, file, EXCLUSIVE_LOCK)), ERROR_OBJECT_IN_USE);
  dos().Close(second);
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_FH, file, EXCLUSIVE_LOCK)), 0);
  EXPECT_EQ(OpenCode("file", MODE_OLDFILE), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_FH, file, EXCLUSIVE_LOCK)), 0);
  EXPECT_EQ(Code(dos().ChangeMode(CHANGE_FH, file, SHARED_LOCK)), 0);
  EXPECT_EQ(OpenCode("file", MODE_OLDFILE), 0);
}

TEST_P(ContractTest, TheRootHasNoParentAndThatIsNoError) {
  dos().SetIoErr(ERROR_DISK_FULL);
  EXPECT_FALSE(dos().ParentDir(root()));
  EXPECT_EQ(dos().IoErr(), 0);
}

TEST_P(ContractTest, ParentsAreSharedLocksOnTheDirectoryAbove) {
  MakeDirectory("dir");
  MakeFile("dir/file");
  const LockHandle file = MustLock("dir/file", EXCLUSIVE_LOCK);
  const LockHandle dir = dos().ParentDir(file);
  ASSERT_TRUE(dir);
  const LockHandle wanted = MustLock("dir");
  EXPECT_EQ(dos().SameLock(dir, wanted), LOCK_SAME);
  EXPECT_TRUE(dos().DupLock(dir));
  const LockHandle top = dos().ParentDir(dir);
  ASSERT_TRUE(top);
  EXPECT_EQ(dos().SameLock(top, root()), LOCK_SAME);
}

TEST_P(ContractTest, AHandleOfEveryModeHasAParent) {
  MakeDirectory("dir");
  MakeFile("dir/file");
  const LockHandle dir = MustLock("dir");
  for (const std::int32_t mode : {MODE_OLDFILE, MODE_READWRITE, MODE_NEWFILE}) {
    const FileHandle file = MustOpen("dir/file", mode);
    const LockHandle parent = dos().ParentOfFH(file);
    ASSERT_TRUE(parent) << mode;
    EXPECT_EQ(dos().SameLock(parent, dir), LOCK_SAME);
    EXPECT_TRUE(dos().DupLock(parent));
    dos().Close(file);
  }
}

TEST_P(ContractTest, LocksAreComparedByObjectAndVolume) {
  MakeFile("a");
  MakeFile("b");
  const LockHandle a = MustLock("a");
  const LockHandle again = MustLock("A");
  const LockHandle b = MustLock("b");
  const LockHandle other = MustLock("OTHER:");
  EXPECT_EQ(dos().SameLock(a, again), LOCK_SAME);
  EXPECT_EQ(dos().SameLock(a, b), LOCK_SAME_VOLUME);
  EXPECT_EQ(dos().SameLock(a, root()), LOCK_SAME_VOLUME);
  EXPECT_EQ(dos().SameLock(a, other), LOCK_DIFFERENT);
}

TEST_P(ContractTest, AHandleTakesTheLockThatItIsOpenedFrom) {
  MakeFile("file", "content");
  const FileHandle shared = dos().OpenFromLock(MustLock("file"));
  ASSERT_TRUE(shared);
  EXPECT_EQ(OpenCode("file", MODE_OLDFILE), 0);
  EXPECT_EQ(LockCode("file", EXCLUSIVE_LOCK), ERROR_OBJECT_IN_USE);
  EXPECT_TRUE(dos().Close(shared));
  const FileHandle exclusive = dos().OpenFromLock(MustLock("file", EXCLUSIVE_LOCK));
  ASSERT_TRUE(exclusive);
  EXPECT_EQ(OpenCode("file", MODE_OLDFILE), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(dos().GetFilePosition(exclusive), 0);
  EXPECT_EQ(dos().GetFileSize(exclusive), 7);
  EXPECT_TRUE(dos().Close(exclusive));
  EXPECT_EQ(ContentOf("file"), "content");
  EXPECT_EQ(LockCode("file", EXCLUSIVE_LOCK), 0);
}

TEST_P(ContractTest, ADirectoryLockOpensNoFile) {
  MakeDirectory("dir");
  const LockHandle lock = MustLock("dir");
  EXPECT_EQ(Code(dos().OpenFromLock(lock)), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(dos().SameLock(lock, lock), LOCK_SAME);  // still the caller's
}

TEST_P(ContractTest, LocksAndHandlesExcludeEachOther) {
  MakeFile("file");
  const LockHandle shared = MustLock("file");
  EXPECT_EQ(OpenCode("file", MODE_OLDFILE), 0);
  EXPECT_EQ(OpenCode("file", MODE_NEWFILE), ERROR_OBJECT_IN_USE);
  dos().UnLock(shared);
  MustLock("file", EXCLUSIVE_LOCK);
  EXPECT_EQ(OpenCode("file", MODE_OLDFILE), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(OpenCode("file", MODE_READWRITE), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(OpenCode("file", MODE_NEWFILE), ERROR_OBJECT_IN_USE);
}

}  // namespace
}  // namespace quorle::selftest
