#include <gtest/gtest.h>

#include <string>

#include "hosted/dos/hosted_dos.h"
#include "selftest/unit/hosted/machine_fixture.h"

namespace quorle {
namespace {

class DosObjectsTest : public MachineTest {};

// ---- Links -------------------------------------------------------------------------------------

TEST_F(DosObjectsTest, ALinksTargetAndKindBelongTogether) {
  MakeFile("file");
  const LockHandle lock = MustLock("file");
  EXPECT_EQ(Code(dos().MakeLink("x", lock, LINK_SOFT)), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(Code(dos().MakeLink("x", lock, 2)), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(Code(dos().MakeLink("x", "file", LINK_HARD)), ERROR_OBJECT_WRONG_TYPE);
  const char* const nothing = nullptr;
  EXPECT_EQ(Code(dos().MakeLink("x", nothing, LINK_SOFT)), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().Lock("x", SHARED_LOCK)), ERROR_OBJECT_NOT_FOUND);
}

TEST_F(DosObjectsTest, ALinkReplacesNothingThatIsInUse) {
  MakeFile("file");
  const LockHandle lock = MustLock("file", EXCLUSIVE_LOCK);
  EXPECT_EQ(Code(dos().MakeLink("file", "x", LINK_SOFT)), ERROR_OBJECT_EXISTS);
  EXPECT_EQ(Code(dos().MakeLink("file", lock, LINK_HARD)), ERROR_OBJECT_EXISTS);
}

TEST_F(DosObjectsTest, ASoftLinkIsReadThroughPortOrLock) {
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

TEST_F(DosObjectsTest, RecordsOutliveTheirObject) {
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

TEST_F(DosObjectsTest, OnlyItsOwnTagFitsAnInput) {
  MakeFile("file");
  EXPECT_EQ(Code(dos().ExamineObject(EX_LockInput, "file")), ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().ExamineObject(EX_StringNameInput, MustLock("file"))),
            ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().ExamineObject(EX_LockInput, dos().Open("file", MODE_OLDFILE))),
            ERROR_REQUIRED_ARG_MISSING);
  EXPECT_EQ(Code(dos().SetOwnerInfo("file", OI_StringNameInput, 1)), ERROR_REQUIRED_ARG_MISSING);
}

TEST_F(DosObjectsTest, WithoutItsFunctionAnObjectIsExaminedAllTheSame) {
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

TEST_F(DosObjectsTest, AFilesystemThatCannotExamineSaysSo) {
  EXPECT_EQ(Code(dos().ExamineObject(EX_StringNameInput, "TREE:dir")), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(Code(dos().ExamineObject(EX_ObjectNameInput, "TREE:dir")), ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(LiveLocks(*machine_->list().Find("TREE").port), 0U);
}

}  // namespace
}  // namespace quorle
