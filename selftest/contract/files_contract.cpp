#include <cstring>

#include "selftest/contract/contract_test.h"

namespace quorle::selftest {
namespace {

constexpr std::int32_t kModes[] = {MODE_OLDFILE, MODE_READWRITE, MODE_NEWFILE};

TEST_P(ContractTest, AnOldFileMustExistTheOtherModesMakeIt) {
  EXPECT_EQ(OpenCode("old", MODE_OLDFILE), ERROR_OBJECT_NOT_FOUND);
  EXPECT_FALSE(Exists("old"));
  EXPECT_EQ(OpenCode("made", MODE_READWRITE), 0);
  EXPECT_EQ(OpenCode("new", MODE_NEWFILE), 0);
  EXPECT_EQ(OpenCode("made", MODE_OLDFILE), 0);
  EXPECT_EQ(OpenCode("new", MODE_OLDFILE), 0);
}

TEST_P(ContractTest, OnlyANewFileIsEmptied) {
  MakeFile("file", "content");
  EXPECT_EQ(OpenCode("file", MODE_OLDFILE), 0);
  EXPECT_EQ(OpenCode("file", MODE_READWRITE), 0);
  EXPECT_EQ(ContentOf("file"), "content");
  EXPECT_EQ(OpenCode("file", MODE_NEWFILE), 0);
  EXPECT_EQ(ContentOf("file"), "");
}

TEST_P(ContractTest, ADirectoryOpensInNoMode) {
  MakeDirectory("dir");
  for (const std::int32_t mode : kModes) {
    EXPECT_EQ(OpenCode("dir", mode), ERROR_OBJECT_WRONG_TYPE) << mode;
    EXPECT_EQ(OpenCode("DH0:", mode), ERROR_OBJECT_WRONG_TYPE) << mode;
  }
}

TEST_P(ContractTest, OpenFilesAreSharedButANewOne) {
  MakeFile("file");
  for (const std::int32_t first : kModes) {
    for (const std::int32_t second : kModes) {
      const FileHandle file = MustOpen("file", first);
      const bool together = first != MODE_NEWFILE && second != MODE_NEWFILE;
      EXPECT_EQ(OpenCode("file", second), together ? 0 : ERROR_OBJECT_IN_USE)
          << first << " and " << second;
      dos().Close(file);
    }
  }
}

TEST_P(ContractTest, ProtectionBitsDoNotHinderOpening) {
  MakeFile("file");
  for (const std::uint32_t bit : {EXDF_NO_READ, EXDF_NO_WRITE, EXDF_NO_EXECUTE, EXDF_NO_DELETE}) {
    for (const std::int32_t mode : kModes) {
      Protect("file", bit);
      const bool refused = bit == EXDF_NO_DELETE && mode == MODE_NEWFILE;
      EXPECT_EQ(OpenCode("file", mode), refused ? ERROR_DELETE_PROTECTED : 0)
          << bit << " in " << mode;
    }
  }
}

TEST_P(ContractTest, ANewFileOverAnOldOneResetsItsAttributes) {
  MakeFile("file", "content");
  const std::uint64_t id = Look("file").id;
  Protect("file", EXDF_ARCHIVE | EXDF_NO_EXECUTE);
  EXPECT_TRUE(dos().SetComment("file", "a comment"));
  EXPECT_TRUE(dos().SetDate("file", {kLongAgo, 1, 2}));
  EXPECT_EQ(OpenCode("file", MODE_NEWFILE), 0);
  const ObjectFacts facts = Look("file");
  EXPECT_EQ(facts.size, 0);
  EXPECT_EQ(facts.protection, EXDF_DEFAULT);
  EXPECT_EQ(facts.comment, "");
  EXPECT_EQ(facts.date.ds_Days, kToday);
  EXPECT_EQ(facts.id, id);
}

TEST_P(ContractTest, ANewFileThroughALinkEmptiesTheOneFile) {
  MakeFile("file", "content");
  MakeHardLink("link", "file");
  Protect("file", EXDF_ARCHIVE | EXDF_NO_EXECUTE);
  EXPECT_EQ(OpenCode("link", MODE_NEWFILE), 0);
  EXPECT_EQ(ContentOf("file"), "");
  EXPECT_EQ(Look("file").protection, EXDF_DEFAULT);
  MakeFile("file", "again");
  EXPECT_EQ(ContentOf("link"), "again");
}

TEST_P(ContractTest, ANewFileDoesNotReplaceALinkedDirectory) {
  if (!GetParam().directory_links) GTEST_SKIP() << "a directory has one name here";
  MakeDirectory("dir");
  MakeHardLink("link", "dir");
  EXPECT_EQ(OpenCode("link", MODE_NEWFILE), ERROR_OBJECT_WRONG_TYPE);
  EXPECT_EQ(Look("link").type, FSO_TYPE_DIRECTORY);
}

TEST_P(ContractTest, TheEmptyNameOpensTheLockedFile) {
  MakeFile("file", "content");
  const LockHandle lock = MustLock("file");
  dos().SetCurrentDir(lock);
  EXPECT_EQ(OpenCode("", MODE_OLDFILE), 0);
  EXPECT_NE(OpenCode("", MODE_NEWFILE), 0);  // the lock is in the way
  dos().SetCurrentDir(root());
  EXPECT_EQ(ContentOf("file"), "content");
}

TEST_P(ContractTest, WriteProtectionKeepsNewObjectsOut) {
  MakeFile("file", "content");
  WriteProtect(true);
  EXPECT_EQ(OpenCode("file", MODE_NEWFILE), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(OpenCode("missing", MODE_NEWFILE), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(OpenCode("missing", MODE_READWRITE), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(OpenCode("missing", MODE_OLDFILE), ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(OpenCode("file", MODE_READWRITE), 0);
  EXPECT_EQ(ContentOf("file"), "content");
  const FileHandle file = MustOpen("file");
  EXPECT_EQ(CountCode(dos().Write(file, "x", 1)), ERROR_DISK_WRITE_PROTECTED);
  EXPECT_EQ(Code(dos().ChangeFileSize(file, 0, OFFSET_BEGINNING)), ERROR_DISK_WRITE_PROTECTED);
  dos().Close(file);
  WriteProtect(false);
  EXPECT_EQ(ContentOf("file"), "content");
}

TEST_P(ContractTest, AProtectedDiskIsNamedBeforeAProtectedFile) {
  MakeFile("file");
  Protect("file", EXDF_NO_DELETE);
  WriteProtect(true);
  EXPECT_EQ(OpenCode("file", MODE_NEWFILE), ERROR_DISK_WRITE_PROTECTED);
}

TEST_P(ContractTest, ANewFileHasPlainAttributes) {
  MakeFile("File");
  const ObjectFacts facts = Look("file");
  EXPECT_EQ(facts.type, FSO_TYPE_FILE);
  EXPECT_EQ(facts.name, "File");
  EXPECT_EQ(facts.size, 0);
  EXPECT_EQ(facts.protection, EXDF_DEFAULT);
  EXPECT_EQ(facts.comment, "");
  EXPECT_EQ(facts.owner, DOS_OWNER_NONE);
  EXPECT_EQ(facts.group, DOS_OWNER_NONE);
  EXPECT_EQ(facts.date.ds_Days, kToday);
}

TEST_P(ContractTest, WhatIsWrittenIsReadBack) {
  const FileHandle file = MustOpen("file", MODE_READWRITE);
  EXPECT_EQ(dos().GetFilePosition(file), 0);
  EXPECT_EQ(dos().Write(file, "some bytes\0more", 15), 15);
  EXPECT_EQ(dos().GetFilePosition(file), 15);
  EXPECT_EQ(dos().GetFileSize(file), 15);
  EXPECT_TRUE(dos().ChangeFilePosition(file, 0, OFFSET_BEGINNING));
  char buffer[32] = {};
  EXPECT_EQ(dos().Read(file, buffer, 10), 10);
  EXPECT_EQ(dos().Read(file, buffer + 10, 22), 5);
  EXPECT_EQ(dos().Read(file, buffer, 32), 0);
  EXPECT_EQ(dos().Read(file, buffer, 0), 0);
  EXPECT_EQ(std::memcmp(buffer, "some bytes\0more", 15), 0);
}

TEST_P(ContractTest, OverwritingKeepsTheRest) {
  MakeFile("file", "1234567890ABCDEFGH");
  const FileHandle file = MustOpen("file");
  EXPECT_EQ(dos().Write(file, "WXYZ", 4), 4);
  EXPECT_EQ(dos().GetFileSize(file), 18);
  EXPECT_TRUE(dos().ChangeFilePosition(file, -2, OFFSET_END));
  EXPECT_EQ(dos().Write(file, "....", 4), 4);
  dos().Close(file);
  EXPECT_EQ(ContentOf("file"), "WXYZ567890ABCDEF....");
}

TEST_P(ContractTest, AnOldFileIsOpenForBothWays) {
  MakeFile("file", "abc");
  const FileHandle file = MustOpen("file", MODE_OLDFILE);
  char buffer[2];
  EXPECT_EQ(dos().Read(file, buffer, 2), 2);
  EXPECT_EQ(dos().Write(file, "X", 1), 1);
  dos().Close(file);
  EXPECT_EQ(ContentOf("file"), "abX");
}

TEST_P(ContractTest, HandlesOfOneFileSeeOneContent) {
  const FileHandle first = MustOpen("file", MODE_READWRITE);
  const FileHandle second = MustOpen("file", MODE_READWRITE);
  EXPECT_EQ(dos().Write(first, "abc", 3), 3);
  char buffer[8];
  EXPECT_EQ(dos().Read(second, buffer, 8), 3);
  EXPECT_EQ(dos().GetFilePosition(first), 3);
  EXPECT_EQ(dos().GetFilePosition(second), 3);
  EXPECT_EQ(dos().GetFileSize(second), 3);
}

TEST_P(ContractTest, AProtectedFileIsNotRead) {
  MakeFile("file", "content");
  Protect("file", EXDF_NO_READ);
  const FileHandle file = MustOpen("file");
  EXPECT_TRUE(dos().ChangeFilePosition(file, 3, OFFSET_BEGINNING));
  char buffer[8] = "before";
  EXPECT_EQ(dos().Read(file, buffer, 8), -1);
  EXPECT_EQ(dos().IoErr(), ERROR_READ_PROTECTED);
  EXPECT_EQ(dos().GetFilePosition(file), 3);
  EXPECT_STREQ(buffer, "before");
}

TEST_P(ContractTest, AProtectedFileIsNotWritten) {
  MakeFile("file", "content");
  Protect("file", EXDF_NO_WRITE);
  const FileHandle file = MustOpen("file");
  EXPECT_EQ(dos().Write(file, "x", 1), -1);
  EXPECT_EQ(dos().IoErr(), ERROR_WRITE_PROTECTED);
  EXPECT_EQ(dos().GetFilePosition(file), 0);
  EXPECT_EQ(Code(dos().ChangeFileSize(file, 100, OFFSET_BEGINNING)), ERROR_WRITE_PROTECTED);
  EXPECT_EQ(dos().GetFileSize(file), 7);
  dos().Close(file);
  EXPECT_EQ(ContentOf("file"), "content");
}

struct Move {
  std::int64_t from;
  std::int64_t by;
  std::int32_t mode;
  std::int64_t to;  ///< -1: refused
};

TEST_P(ContractTest, ThePositionStaysInTheFile) {
  constexpr Move kMoves[] = {
      {5, 0, OFFSET_BEGINNING, 0},
      {5, 21, OFFSET_BEGINNING, 21},
      {5, 22, OFFSET_BEGINNING, -1},
      {5, -1, OFFSET_BEGINNING, -1},
      {5, 0, OFFSET_END, 21},
      {5, -21, OFFSET_END, 0},
      {5, -22, OFFSET_END, -1},
      {5, 1, OFFSET_END, -1},
      {21, -5, OFFSET_CURRENT, 16},
      {21, 1, OFFSET_CURRENT, -1},
      {0, -1, OFFSET_CURRENT, -1},
      {5, 16, OFFSET_CURRENT, 21},
      {5, -5, OFFSET_CURRENT, 0},
      {5, 0, OFFSET_CURRENT, 5},
      {5, 17, OFFSET_CURRENT, -1},
      {5, INT64_MAX, OFFSET_CURRENT, -1},
      {5, INT64_MIN, OFFSET_CURRENT, -1},
      {5, INT64_MAX, OFFSET_END, -1},
      {5, INT64_MIN, OFFSET_END, -1},
  };
  MakeFile("file", std::string(21, 'x'));
  const FileHandle file = MustOpen("file");
  for (const Move& move : kMoves) {
    ASSERT_TRUE(dos().ChangeFilePosition(file, move.from, OFFSET_BEGINNING));
    const std::int32_t code = Code(dos().ChangeFilePosition(file, move.by, move.mode));
    const bool is_sent = !IsClassic() || (move.by <= kClassicMost && move.by >= -kClassicMost);
    const std::int32_t refusal = is_sent ? ERROR_SEEK_ERROR : ERROR_OBJECT_TOO_LARGE;
    EXPECT_EQ(code, move.to < 0 ? refusal : 0) << move.by << " in " << move.mode;
    EXPECT_EQ(dos().GetFilePosition(file), move.to < 0 ? move.from : move.to)
        << move.by << " in " << move.mode;
  }
}

TEST_P(ContractTest, TheSizeCountsFromWhereTheModeSays) {
  const FileHandle file = MustOpen("file", MODE_READWRITE);
  EXPECT_EQ(dos().Write(file, "1234567", 7), 7);
  EXPECT_TRUE(dos().ChangeFileSize(file, 150, OFFSET_CURRENT));
  EXPECT_EQ(dos().GetFileSize(file), 157);
  EXPECT_TRUE(dos().ChangeFileSize(file, -150, OFFSET_END));
  EXPECT_EQ(dos().GetFileSize(file), 7);
  EXPECT_TRUE(dos().ChangeFileSize(file, 3, OFFSET_BEGINNING));
  EXPECT_EQ(dos().GetFileSize(file), 3);
  EXPECT_FALSE(dos().ChangeFileSize(file, -1, OFFSET_BEGINNING));
  EXPECT_FALSE(dos().ChangeFileSize(file, -4, OFFSET_END));
  EXPECT_FALSE(dos().ChangeFileSize(file, INT64_MIN, OFFSET_CURRENT));
  EXPECT_EQ(dos().GetFileSize(file), 3);
  EXPECT_TRUE(dos().ChangeFileSize(file, 0, OFFSET_BEGINNING));
  EXPECT_EQ(dos().GetFileSize(file), 0);
}

TEST_P(ContractTest, ASizeChangeMovesOnlyAPositionThatWouldLieOutside) {
  const FileHandle file = MustOpen("file", MODE_READWRITE);
  EXPECT_EQ(dos().Write(file, "1234567", 7), 7);
  EXPECT_TRUE(dos().ChangeFileSize(file, 14, OFFSET_BEGINNING));
  EXPECT_EQ(dos().GetFilePosition(file), 7);
  EXPECT_TRUE(dos().ChangeFileSize(file, 3, OFFSET_BEGINNING));
  EXPECT_EQ(dos().GetFilePosition(file), 3);
  EXPECT_TRUE(dos().ChangeFileSize(file, 0, OFFSET_BEGINNING));
  EXPECT_EQ(dos().GetFilePosition(file), 0);
}

TEST_P(ContractTest, ASizeChangeLeavesOtherHandlesInsideTheFile) {
  MakeFile("file", "1234567");
  const FileHandle file = MustOpen("file");
  const FileHandle other = MustOpen("file");
  EXPECT_TRUE(dos().ChangeFilePosition(other, 5, OFFSET_BEGINNING));
  EXPECT_EQ(Code(dos().ChangeFileSize(file, 4, OFFSET_BEGINNING)), ERROR_OBJECT_IN_USE);
  EXPECT_EQ(dos().GetFileSize(file), 7);
  EXPECT_EQ(Code(dos().ChangeFileSize(file, 5, OFFSET_BEGINNING)), 0);
  EXPECT_EQ(dos().GetFilePosition(other), 5);
}

TEST_P(ContractTest, AGrownFileKeepsItsContent) {
  MakeFile("file", "abc");
  const FileHandle file = MustOpen("file");
  EXPECT_TRUE(dos().ChangeFileSize(file, 10, OFFSET_BEGINNING));
  dos().Close(file);
  const std::string content = ContentOf("file");
  ASSERT_EQ(content.size(), 10U);
  EXPECT_EQ(content.substr(0, 3), "abc");
}

TEST_P(ContractTest, AFileMayBeLong) {
  std::string content;
  for (int i = 0; i < 40000; ++i) content += static_cast<char>('a' + i * 7 % 26);
  MakeFile("file", content);
  EXPECT_EQ(Look("file").size, 40000);
  EXPECT_EQ(ContentOf("file"), content);
}

}  // namespace
}  // namespace quorle::selftest
