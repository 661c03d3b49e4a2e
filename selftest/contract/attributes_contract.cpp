#include <set>

#include "selftest/contract/contract_test.h"

namespace quorle::selftest {
namespace {

constexpr DateStamp kOldDate{kLongAgo, 2, 2};

// ---- Examine -----------------------------------------------------------------------------------

TEST_P(ContractTest, AFileIsExaminedInEveryWayAlike) {
  MakeFile("file", "content");
  const ObjectFacts by_name = Look("file");
  const ObjectFacts itself = LookAtItself("file");
  const LockHandle lock = MustLock("file");
  const ObjectFacts by_lock = Keep(dos().ExamineObject(EX_LockInput, lock));
  dos().UnLock(lock);
  const FileHandle file = MustOpen("file", MODE_OLDFILE);
  const ObjectFacts by_handle = Keep(dos().ExamineObject(EX_FileHandleInput, file));
  for (const ObjectFacts& facts : {by_name, itself, by_lock, by_handle}) {
    ASSERT_TRUE(facts.found);
    EXPECT_EQ(facts.type, FSO_TYPE_FILE);
    EXPECT_EQ(facts.size, 7);
    EXPECT_EQ(facts.name, "file");
    EXPECT_EQ(facts.date.ds_Days, kToday);
    EXPECT_EQ(facts.id, by_name.id);
    EXPECT_EQ(facts.links, IsClassic() ? kClassicRefCount : 1U);
  }
}

TEST_P(ContractTest, TheRootIsADirectoryWithTheNameOfItsVolume) {
  const ObjectFacts facts = Keep(dos().ExamineObject(EX_LockInput, root()));
  ASSERT_TRUE(facts.found);
  EXPECT_EQ(facts.type, FSO_TYPE_DIRECTORY);
  EXPECT_EQ(facts.size, -1);
  EXPECT_EQ(facts.name, "Subject Disk");
  EXPECT_GE(facts.date.ds_Days, 1);
  EXPECT_NE(facts.id, 0U);
  EXPECT_EQ(facts.links == 0, IsClassic());
}

TEST_P(ContractTest, ASoftLinkIsExaminedItself) {
  MakeSoftLink("link", ":");
  const ObjectFacts facts = LookAtItself("link");
  ASSERT_TRUE(facts.found);
  EXPECT_EQ(facts.type, FSO_TYPE_SOFTLINK);
  EXPECT_EQ(facts.name, "link");
  EXPECT_EQ(facts.size, -1);
  EXPECT_NE(facts.id, 0U);
  EXPECT_EQ(facts.links == 0, IsClassic());
  EXPECT_GE(facts.date.ds_Days, 1);
  EXPECT_EQ(Look("link").type, FSO_TYPE_DIRECTORY);
}

TEST_P(ContractTest, MissingObjectsAreNotExamined) {
  EXPECT_EQ(Code(dos().ExamineObject(EX_StringNameInput, "missing")), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(Code(dos().ExamineObject(EX_ObjectNameInput, "missing")), ERROR_OBJECT_NOT_FOUND);
}

TEST_P(ContractTest, AnExclusiveObjectIsExaminedByItsOwnerAlone) {
  MakeFile("file");
  const LockHandle lock = MustLock("file", EXCLUSIVE_LOCK);
  EXPECT_EQ(Code(dos().ExamineObject(EX_StringNameInput, "file")), ERROR_OBJECT_IN_USE);
  EXPECT_TRUE(Keep(dos().ExamineObject(EX_LockInput, lock)).found);
  dos().UnLock(lock);
  const FileHandle file = MustOpen("file", MODE_NEWFILE);
  EXPECT_EQ(Code(dos().ExamineObject(EX_StringNameInput, "file")), ERROR_OBJECT_IN_USE);
  EXPECT_TRUE(Keep(dos().ExamineObject(EX_FileHandleInput, file)).found);
}

TEST_P(ContractTest, EveryObjectHasAnIdOfItsOwn) {
  MakeFile("file");
  MakeDirectory("dir");
  MakeFile("dir/file");
  MakeSoftLink("link", "file");
  std::set<std::uint64_t> ids;
  for (const char* const name : {":", "file", "dir", "dir/file", "link"}) {
    EXPECT_TRUE(ids.insert(LookAtItself(name).id).second) << name;
  }
  EXPECT_EQ(ids.count(0), 0U);
}

// ---- Comment, protection, owner, group, date ---------------------------------------------------

TEST_P(ContractTest, CommentsAreKept) {
  MakeFile("file");
  MakeDirectory("dir");
  for (const char* const name : {"file", "dir", "DH0:"}) {
    EXPECT_EQ(Code(dos().SetComment(name, "SetComment()")), 0) << name;
    EXPECT_EQ(Look(name).comment, "SetComment()") << name;
    EXPECT_EQ(Code(dos().SetComment(name, "")), 0) << name;
    EXPECT_EQ(Look(name).comment, "") << name;
  }
  EXPECT_EQ(Code(dos().SetComment("missing", "x")), ERROR_OBJECT_NOT_FOUND);
}

TEST_P(ContractTest, ACommentHasAtMost255Bytes) {
  MakeFile("file");
  const std::string longest(255, 'c');
  const std::string longer(256, 'c');
  const std::string kept = IsClassic() ? std::string(kClassicCommentLength, 'c') : longest;
  EXPECT_EQ(Code(dos().SetComment("file", longest.c_str())), 0);
  EXPECT_EQ(Look("file").comment, kept);
  EXPECT_EQ(Code(dos().SetComment("file", longer.c_str())), ERROR_COMMENT_TOO_BIG);
  EXPECT_EQ(Look("file").comment, kept);
}

TEST_P(ContractTest, AllProtectionBitsAreKept) {
  MakeFile("file");
  MakeDirectory("dir");
  for (const char* const name : {"file", "dir"}) {
    EXPECT_EQ(Code(dos().SetProtection(name, 0xABCD1234)), 0) << name;
    EXPECT_EQ(Look(name).protection, 0xABCD1234U) << name;
    EXPECT_EQ(Code(dos().SetProtection(name, 0)), 0) << name;
    EXPECT_EQ(Look(name).protection, 0U) << name;
  }
  EXPECT_EQ(Code(dos().SetProtection("DH0:", 0)), 0);
  EXPECT_EQ(Code(dos().SetProtection("missing", 0)), ERROR_OBJECT_NOT_FOUND);
}

TEST_P(ContractTest, OwnerAndGroupAreKept) {
  MakeFile("file");
  EXPECT_EQ(Code(dos().SetOwnerInfo("file", OI_OwnerUID, 0xDCBA)), 0);
  EXPECT_EQ(Code(dos().SetOwnerInfo("file", OI_OwnerGID, 0xABCD)), 0);
  EXPECT_EQ(Look("file").owner, 0xDCBAU);
  EXPECT_EQ(Look("file").group, 0xABCDU);
  const std::int32_t code = IsClassic() ? ERROR_BAD_NUMBER : 0;
  EXPECT_EQ(Code(dos().SetOwnerInfo("file", OI_OwnerUID, 0x4321DCBA)), code);
  EXPECT_EQ(Code(dos().SetOwnerInfo("file", OI_OwnerGID, 0x1234ABCD)), code);
  EXPECT_EQ(Look("file").owner, IsClassic() ? 0xDCBAU : 0x4321DCBAU);
  EXPECT_EQ(Look("file").group, IsClassic() ? 0xABCDU : 0x1234ABCDU);
  EXPECT_EQ(Code(dos().SetOwnerInfo("DH0:", OI_OwnerUID, 0)), 0);
  EXPECT_EQ(Code(dos().SetOwnerInfo("DH0:", OI_OwnerGID, 0)), 0);
  EXPECT_EQ(Code(dos().SetOwnerInfo("missing", OI_OwnerUID, 0)), ERROR_OBJECT_NOT_FOUND);
}

TEST_P(ContractTest, NewObjectsBelongToTheOwnerOfTheirDirectory) {
  MakeDirectory("dir");
  EXPECT_TRUE(dos().SetOwnerInfo("dir", OI_OwnerUID, 7));
  EXPECT_TRUE(dos().SetOwnerInfo("dir", OI_OwnerGID, 8));
  MakeFile("dir/file");
  EXPECT_EQ(Look("dir/file").owner, 7U);
  EXPECT_EQ(Look("dir/file").group, 8U);
}

TEST_P(ContractTest, DatesAreKept) {
  MakeFile("file");
  MakeDirectory("dir");
  for (const char* const name : {"file", "dir", "DH0:"}) {
    for (const std::int32_t days : {3654, 7307, 10959, 14612, 18264}) {
      EXPECT_EQ(Code(dos().SetDate(name, {days, 2, 2})), 0) << name;
      EXPECT_EQ(Look(name).date.ds_Days, days) << name;
    }
  }
  EXPECT_EQ(Code(dos().SetDate("missing", kOldDate)), ERROR_OBJECT_NOT_FOUND);
}

TEST_P(ContractTest, SharedLocksDoNotHinderAttributes) {
  MakeFile("file");
  MakeDirectory("dir");
  for (const char* const name : {"file", "dir"}) {
    const LockHandle lock = MustLock(name);
    EXPECT_EQ(Code(dos().SetComment(name, "c")), 0) << name;
    EXPECT_EQ(Code(dos().SetProtection(name, 0)), 0) << name;
    EXPECT_EQ(Code(dos().SetDate(name, kOldDate)), 0) << name;
    EXPECT_EQ(Code(dos().SetOwnerInfo(name, OI_OwnerUID, 0)), 0) << name;
    EXPECT_EQ(Code(dos().SetOwnerInfo(name, OI_OwnerGID, 0)), 0) << name;
    dos().UnLock(lock);
  }
}

TEST_P(ContractTest, TheEmptyNameNamesTheLockedFileForAttributes) {
  MakeFile("file");
  const LockHandle lock = MustLock("file");
  dos().SetCurrentDir(lock);
  EXPECT_EQ(Code(dos().SetComment("", "test")), 0);
  EXPECT_EQ(Code(dos().SetProtection("", 34)), 0);
  EXPECT_EQ(Code(dos().SetDate("", kOldDate)), 0);
  dos().SetCurrentDir(root());
  const ObjectFacts facts = Keep(dos().ExamineObject(EX_LockInput, lock));
  EXPECT_EQ(facts.comment, "test");
  EXPECT_EQ(facts.protection, 34U);
  EXPECT_EQ(facts.date.ds_Days, kLongAgo);
}

// ---- What a change leaves behind ---------------------------------------------------------------

/// Objects as a backup leaves them: an old date and the archive bit set.
class ChangeContract : public ContractTest {
 protected:
  void SetUp() override {
    ContractTest::SetUp();
    if (IsSkipped()) return;
    MakeDirectory("outer");
    MakeDirectory("outer/inner");
    MakeFile("outer/inner/file", "content");
    MarkSaved();
  }

  void MarkSaved() {
    for (const char* const name : {"outer/inner/file", "outer/inner", "outer"}) {
      EXPECT_TRUE(dos().SetDate(name, kOldDate)) << name;
      Protect(name, EXDF_ARCHIVE);
    }
  }

  bool IsMarked(const char* name) {
    const ObjectFacts facts = Look(name);
    return facts.date.ds_Days == kLongAgo && (facts.protection & EXDF_ARCHIVE) != 0;
  }

  /// Whether the date is new and the archive bit clear.
  bool IsChanged(const char* name) {
    const ObjectFacts facts = Look(name);
    return facts.date.ds_Days == kToday && (facts.protection & EXDF_ARCHIVE) == 0;
  }
};

TEST_P(ChangeContract, TheMarksAreThereToBeginWith) {
  EXPECT_TRUE(IsMarked("outer/inner/file"));
  EXPECT_TRUE(IsMarked("outer/inner"));
  EXPECT_TRUE(IsMarked("outer"));
}

TEST_P(ChangeContract, WritingChangesTheFileAndItsDirectory) {
  const FileHandle file = MustOpen("outer/inner/file");
  EXPECT_EQ(dos().Write(file, "x", 1), 1);
  dos().Close(file);
  EXPECT_TRUE(IsChanged("outer/inner/file"));
  EXPECT_TRUE(IsChanged("outer/inner"));
}

TEST_P(ChangeContract, ANewSizeDoes) {
  const FileHandle file = MustOpen("outer/inner/file");
  EXPECT_TRUE(dos().ChangeFileSize(file, 10, OFFSET_BEGINNING));
  dos().Close(file);
  EXPECT_TRUE(IsChanged("outer/inner/file"));
  EXPECT_TRUE(IsChanged("outer/inner"));
}

TEST_P(ChangeContract, ANewFileOverAnOldOneDoes) {
  EXPECT_EQ(OpenCode("outer/inner/file", MODE_NEWFILE), 0);
  EXPECT_TRUE(IsChanged("outer/inner/file"));
  EXPECT_TRUE(IsChanged("outer/inner"));
}

TEST_P(ChangeContract, ReadingChangesNothing) {
  EXPECT_EQ(ContentOf("outer/inner/file"), "content");
  EXPECT_EQ(OpenCode("outer/inner/file", MODE_READWRITE), 0);
  EXPECT_EQ(LockCode("outer/inner/file", EXCLUSIVE_LOCK), 0);
  EXPECT_TRUE(IsMarked("outer/inner/file"));
  EXPECT_TRUE(IsMarked("outer/inner"));
}

TEST_P(ChangeContract, ADeletedObjectChangesItsDirectory) {
  EXPECT_TRUE(dos().Delete("outer/inner/file"));
  EXPECT_TRUE(IsChanged("outer/inner"));
}

TEST_P(ChangeContract, ANewObjectChangesItsDirectory) {
  MakeFile("outer/inner/new");
  EXPECT_TRUE(IsChanged("outer/inner"));
  MarkSaved();
  MakeDirectory("outer/inner/dir");
  EXPECT_TRUE(IsChanged("outer/inner"));
  MarkSaved();
  MakeSoftLink("outer/inner/soft", "file");
  EXPECT_TRUE(IsChanged("outer/inner"));
  MarkSaved();
  MakeHardLink("outer/inner/hard", "outer/inner/file");
  EXPECT_TRUE(IsChanged("outer/inner"));
}

TEST_P(ChangeContract, AMovedObjectChangesBothDirectories) {
  EXPECT_TRUE(dos().Rename("outer/inner/file", "outer/file"));
  EXPECT_TRUE(IsChanged("outer/inner"));
  EXPECT_TRUE(IsChanged("outer"));
}

TEST_P(ChangeContract, AttributesOfAnObjectStayAsTheyWereSet) {
  EXPECT_TRUE(dos().SetComment("outer/inner/file", "c"));
  EXPECT_TRUE(dos().SetOwnerInfo("outer/inner/file", OI_OwnerUID, 1));
  EXPECT_TRUE(dos().SetOwnerInfo("outer/inner/file", OI_OwnerGID, 1));
  // A copy that sets them all keeps the archive bit and the date.
  EXPECT_TRUE(IsMarked("outer/inner/file"));
}

INSTANTIATE_TEST_SUITE_P(Handlers, ChangeContract, ::testing::ValuesIn(Subjects()), SubjectName);

}  // namespace
}  // namespace quorle::selftest
