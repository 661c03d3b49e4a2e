#include "hosted/calls/classic_fallback.h"

#include <gtest/gtest.h>

#include "selftest/unit/hosted/calls/classic_fallback_fixture.h"

// What a handler is sent that answers newer packets with 0 and 209.

namespace quorle {
namespace {

constexpr std::int64_t kTooLong = std::int64_t{1} << 31;

void ExpectFile(const ::ExamineData* record) {
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->Type, std::uint32_t{FSO_TYPE_FILE});
  EXPECT_EQ(record->FileSize, 77);
  EXPECT_EQ(record->Date.ds_Days, 1);
  EXPECT_EQ(record->Date.ds_Minute, 2);
  EXPECT_EQ(record->Date.ds_Tick, 3);
  EXPECT_EQ(record->RefCount, 0U);
  EXPECT_EQ(record->ObjectID, 0xFFFFFFFBU);
  EXPECT_STREQ(record->Name, "file");
  EXPECT_STREQ(record->Comment, "comment");
  EXPECT_STREQ(record->Link, "");
  EXPECT_EQ(record->Protection, 0xABCD1234U);
  EXPECT_EQ(record->OwnerUID, 0xFFFEU);
  EXPECT_EQ(record->OwnerGID, 0xFFFDU);
}

// ---- Each line of the table ------------------------------------------------------------------------

TEST_F(ClassicFallbackTest, ALockIsExaminedByExamineObject) {
  Mount();
  ::Lock* const lock = MustLock();
  Fill(QUORLE_ACTION_EXAMINE_OBJECT, FillFile);
  ::ExamineData* const record = port->ExamineLock(res2, lock);
  ExpectFile(record);
  EXPECT_EQ(res2, 0);
  port->FreeExamineData(record);
  EXPECT_EQ(script.sent, Actions{QUORLE_ACTION_EXAMINE_OBJECT}) << "known since the mount";
  EXPECT_EQ(script.words[0][0], calls::ToWord(lock));
}

TEST_F(ClassicFallbackTest, TheRootWithoutALockIsLockedFirst) {
  Mount();
  ::ExamineData* const record = port->ExamineLock(res2, nullptr);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->Type, std::uint32_t{FSO_TYPE_DIRECTORY});
  EXPECT_EQ(record->FileSize, -1);
  EXPECT_EQ(record->ObjectID, 0U);
  port->FreeExamineData(record);
  EXPECT_EQ(script.sent, (Actions{QUORLE_ACTION_LOCATE_OBJECT, QUORLE_ACTION_EXAMINE_OBJECT,
                                  QUORLE_ACTION_FREE_LOCK}));
  EXPECT_EQ(script.words[0][2], SHARED_LOCK);
  EXPECT_EQ(script.words[1][0], script.words[2][0]);

  Give(QUORLE_ACTION_LOCATE_OBJECT, 0, ERROR_NO_DISK);
  EXPECT_EQ(port->ExamineLock(res2, nullptr), nullptr);
  EXPECT_EQ(res2, ERROR_NO_DISK);
}

TEST_F(ClassicFallbackTest, AnOpenFileIsExaminedByExamineFh) {
  Mount();
  Fill(QUORLE_ACTION_EXAMINE_FH, FillFile);
  for (const bool again : {false, true}) {
    ::ExamineData* const record = port->ExamineFile(res2, file);
    ExpectFile(record);
    port->FreeExamineData(record);
    EXPECT_EQ(script.sent, again
                               ? Actions{QUORLE_ACTION_EXAMINE_FH}
                               : (Actions{QUORLE_ACTION_EXAMINEDATA_FH, QUORLE_ACTION_EXAMINE_FH}));
    EXPECT_EQ(script.words.back()[0], 4711);
    EXPECT_EQ(script.words.back()[2], calls::ToWord(&file));
    Forget();
  }
  Give(QUORLE_ACTION_EXAMINE_FH, 0, ERROR_OBJECT_IN_USE);
  EXPECT_EQ(port->ExamineFile(res2, file), nullptr);
  EXPECT_EQ(res2, ERROR_OBJECT_IN_USE);
}

TEST_F(ClassicFallbackTest, AnObjectByNameIsLeftToDos) {
  Mount();
  for (const bool again : {false, true}) {
    EXPECT_EQ(port->ExamineObj(res2, nullptr, "x"), nullptr);
    EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
    EXPECT_EQ(script.sent, again ? Actions{} : Actions{QUORLE_ACTION_EXAMINEDATA_OBJ});
    Forget();
  }
}

TEST_F(ClassicFallbackTest, APositionIsChangedBySeek) {
  Mount();
  Give(QUORLE_ACTION_SEEK, 0);
  for (const bool again : {false, true}) {
    EXPECT_TRUE(port->ChangeFilePosition(res2, file, OFFSET_END, -9));
    EXPECT_EQ(script.sent,
              again ? Actions{QUORLE_ACTION_SEEK}
                    : (Actions{QUORLE_ACTION_CHANGE_FILE_POSITION64, QUORLE_ACTION_SEEK}));
    EXPECT_EQ(script.words.back(),
              (calls::PacketWords{4711, -9, OFFSET_END, calls::ToWord(&file), 0, 0}));
    Forget();
  }
  Give(QUORLE_ACTION_SEEK, -1, ERROR_SEEK_ERROR);
  EXPECT_FALSE(port->ChangeFilePosition(res2, file, OFFSET_END, 9));
  EXPECT_EQ(res2, ERROR_SEEK_ERROR);
  EXPECT_TRUE(lines.empty());
}

TEST_F(ClassicFallbackTest, APositionIsReadBySeek) {
  Mount();
  Give(QUORLE_ACTION_SEEK, 21);
  for (const bool again : {false, true}) {
    EXPECT_EQ(port->GetFilePosition(res2, file), 21);
    EXPECT_EQ(script.sent, again
                               ? Actions{QUORLE_ACTION_SEEK}
                               : (Actions{QUORLE_ACTION_GET_FILE_POSITION64, QUORLE_ACTION_SEEK}));
    EXPECT_EQ(script.words.back(),
              (calls::PacketWords{4711, 0, OFFSET_CURRENT, calls::ToWord(&file), 0, 0}));
    Forget();
  }
  Give(QUORLE_ACTION_SEEK, -1, ERROR_INVALID_LOCK);
  EXPECT_EQ(port->GetFilePosition(res2, file), -1);
  EXPECT_EQ(res2, ERROR_INVALID_LOCK);
}

TEST_F(ClassicFallbackTest, ASizeIsChangedBySetFileSize) {
  Mount();
  Give(QUORLE_ACTION_SET_FILE_SIZE, 0);
  for (const bool again : {false, true}) {
    EXPECT_TRUE(port->ChangeFileSize(res2, file, OFFSET_BEGINNING, 0));
    EXPECT_EQ(script.sent,
              again ? Actions{QUORLE_ACTION_SET_FILE_SIZE}
                    : (Actions{QUORLE_ACTION_CHANGE_FILE_SIZE64, QUORLE_ACTION_SET_FILE_SIZE}));
    EXPECT_EQ(script.words.back(),
              (calls::PacketWords{4711, 0, OFFSET_BEGINNING, calls::ToWord(&file), 0, 0}));
    Forget();
  }
  Give(QUORLE_ACTION_SET_FILE_SIZE, -1, ERROR_DISK_FULL);
  EXPECT_FALSE(port->ChangeFileSize(res2, file, OFFSET_BEGINNING, 9));
  EXPECT_EQ(res2, ERROR_DISK_FULL);
}

TEST_F(ClassicFallbackTest, ASizeIsReadByExamineFh) {
  Mount();
  Fill(QUORLE_ACTION_EXAMINE_FH, FillFile);
  for (const bool again : {false, true}) {
    EXPECT_EQ(port->GetFileSize(res2, file), 77);
    EXPECT_EQ(script.sent,
              again ? Actions{QUORLE_ACTION_EXAMINE_FH}
                    : (Actions{QUORLE_ACTION_GET_FILE_SIZE64, QUORLE_ACTION_EXAMINE_FH}));
    Forget();
  }
  Give(QUORLE_ACTION_EXAMINE_FH, 0, ERROR_OBJECT_IN_USE);
  EXPECT_EQ(port->GetFileSize(res2, file), -1);
  EXPECT_EQ(res2, ERROR_OBJECT_IN_USE);
}

TEST_F(ClassicFallbackTest, RecordsAreLockedByTheOlderPackets) {
  Mount();
  Give(QUORLE_ACTION_LOCK_RECORD, kDosTrue);
  Give(QUORLE_ACTION_FREE_RECORD, kDosTrue);
  for (const bool again : {false, true}) {
    EXPECT_TRUE(port->LockRecord(res2, file, 5, 9, REC_SHARED, 50));
    EXPECT_EQ(script.sent, again
                               ? Actions{QUORLE_ACTION_LOCK_RECORD}
                               : (Actions{QUORLE_ACTION_LOCK_RECORD64, QUORLE_ACTION_LOCK_RECORD}));
    EXPECT_EQ(script.words.back(),
              (calls::PacketWords{4711, 5, 9, REC_SHARED, 50, calls::ToWord(&file)}));
    Forget();
    EXPECT_TRUE(port->UnLockRecord(res2, file, 5, 9));
    EXPECT_EQ(script.sent, again
                               ? Actions{QUORLE_ACTION_FREE_RECORD}
                               : (Actions{QUORLE_ACTION_FREE_RECORD64, QUORLE_ACTION_FREE_RECORD}));
    EXPECT_EQ(script.words.back(), (calls::PacketWords{4711, 5, 9, calls::ToWord(&file), 0, 0}));
    Forget();
  }
  Give(QUORLE_ACTION_LOCK_RECORD, 0, ERROR_LOCK_COLLISION);
  EXPECT_FALSE(port->LockRecord(res2, file, 5, 9, REC_SHARED, 50));
  EXPECT_EQ(res2, ERROR_LOCK_COLLISION);
}

TEST_F(ClassicFallbackTest, AnOwnerIsSetWithTheGroupThatIsThere) {
  Mount();
  Fill(QUORLE_ACTION_EXAMINE_OBJECT, FillFile);
  std::string name;
  script.answers[QUORLE_ACTION_SET_OWNER] = [&name](::DosPacket& packet) {
    name = PlainText(packet.dp_Arg3).c_str();
    PacketScript::Answer(packet, kDosTrue);
  };
  ::Lock* const lock = MustLock();
  EXPECT_TRUE(port->SetOwner(res2, lock, "x", 0x1234));
  EXPECT_EQ(script.sent, (Actions{QUORLE_ACTION_SET_OWNER_INFO, QUORLE_ACTION_LOCATE_OBJECT,
                                  QUORLE_ACTION_EXAMINE_OBJECT, QUORLE_ACTION_FREE_LOCK,
                                  QUORLE_ACTION_SET_OWNER}));
  EXPECT_EQ(script.words.back()[0], 0);
  EXPECT_EQ(script.words.back()[1], calls::ToWord(lock));
  EXPECT_EQ(script.words.back()[3], 0x1234FFFD);
  EXPECT_EQ(name, "x");
  Forget();
  EXPECT_TRUE(port->SetGroup(res2, lock, "x", 0xFFFF));
  EXPECT_EQ(script.sent.front(), QUORLE_ACTION_LOCATE_OBJECT) << "remembered for both";
  // An argument has no more than 32 bits on some hosts: what counts is which are set.
  EXPECT_EQ(static_cast<std::uint32_t>(script.words.back()[3]), 0xFFFEFFFFU);
}

TEST_F(ClassicFallbackTest, AnOwnerIsNotSetWhereTheOtherHalfIsNotKnown) {
  Mount();
  Give(QUORLE_ACTION_LOCATE_OBJECT, 0, ERROR_IS_SOFT_LINK);
  EXPECT_FALSE(port->SetOwner(res2, nullptr, "x", 1));
  EXPECT_EQ(res2, ERROR_IS_SOFT_LINK) << "dos follows the link";
  script.answers.erase(QUORLE_ACTION_LOCATE_OBJECT);
  Give(QUORLE_ACTION_EXAMINE_OBJECT, 0, ERROR_OBJECT_IN_USE);
  EXPECT_FALSE(port->SetOwner(res2, nullptr, "x", 1));
  EXPECT_EQ(res2, ERROR_OBJECT_IN_USE);
  EXPECT_EQ(script.sent.back(), QUORLE_ACTION_FREE_LOCK);
}

TEST_F(ClassicFallbackTest, TheVolumesFactsAreAskedForWithALockOnTheRoot) {
  Mount();
  script.answers[QUORLE_ACTION_INFO] = [](::DosPacket& packet) {
    PointedTo<::InfoData>(packet.dp_Arg2)->id_NumBlocks = 9;
    PacketScript::Answer(packet, packet.dp_Arg1 == 0 ? 0 : kDosTrue);
  };
  ::InfoData info{};
  EXPECT_TRUE(port->VolumeInfoData(res2, info));
  EXPECT_EQ(info.id_NumBlocks, 9U);
  EXPECT_EQ(script.sent,
            (Actions{QUORLE_ACTION_LOCATE_OBJECT, QUORLE_ACTION_INFO, QUORLE_ACTION_FREE_LOCK}));
  Give(QUORLE_ACTION_LOCATE_OBJECT, 0, ERROR_NO_DISK);
  EXPECT_FALSE(port->VolumeInfoData(res2, info));
  EXPECT_EQ(res2, ERROR_NO_DISK);
}

TEST_F(ClassicFallbackTest, TheVolumesFactsOfAnotherHandlerAreAskedForWithout) {
  script.functions = true;
  Mount(PortType::kPacket);
  Give(QUORLE_ACTION_INFO, kDosTrue);
  ::InfoData info{};
  EXPECT_TRUE(port->VolumeInfoData(res2, info));
  EXPECT_EQ(script.sent, Actions{QUORLE_ACTION_INFO});
  EXPECT_EQ(script.words[0][0], 0);
}

TEST_F(ClassicFallbackTest, WhatHasNoOtherWayStaysUnknown) {
  Mount();
  ::FileHandle other{nullptr, 4712, nullptr};
  const ::TagItem tags[] = {{QUORLE_TAG_DONE, 0}};
  for (int turn = 0; turn < 2; ++turn) {
    EXPECT_FALSE(port->FileSystemAttr(res2, tags));
    EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
    EXPECT_FALSE(port->SameFile(res2, file, other));
    EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
    EXPECT_EQ(script.sent, (Actions{QUORLE_ACTION_FILESYSTEM_ATTR, QUORLE_ACTION_SAME_FH}));
    Forget();
  }
}

TEST_F(ClassicFallbackTest, AHandlerThatKnowsNeitherFailsWith209) {
  Mount();
  Give(QUORLE_ACTION_EXAMINE_OBJECT, 0, ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(port->ExamineLock(res2, nullptr), nullptr);
  EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(port->GetFilePosition(res2, file), -1);
  EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
  EXPECT_EQ(port->GetFileSize(res2, file), -1);
  EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
  EXPECT_FALSE(port->ChangeFilePosition(res2, file, OFFSET_CURRENT, 0));
  EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
  EXPECT_FALSE(port->ChangeFileSize(res2, file, OFFSET_CURRENT, 0));
  EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
  scan.Directory = MustLock();
  EXPECT_FALSE(port->ExamineDir(res2, scan));
  EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
}

TEST_F(ClassicFallbackTest, AVectorPortWithoutTheFunctionFallsBackToo) {
  script.functions = true;
  Mount(PortType::kVector);
  Give(QUORLE_ACTION_SEEK, 3);
  EXPECT_EQ(port->GetFilePosition(res2, file), 3);
  EXPECT_EQ(port->GetFilePosition(res2, file), 3);
  EXPECT_EQ(script.sent,
            (Actions{QUORLE_ACTION_GET_FILE_POSITION64, QUORLE_ACTION_SEEK, QUORLE_ACTION_SEEK}));
}

TEST_F(ClassicFallbackTest, AnyOtherFailureIsTakenAtItsWord) {
  Mount();
  for (const std::int32_t code : {std::int32_t{ERROR_OBJECT_IN_USE}, 0}) {
    script.answers[QUORLE_ACTION_GET_FILE_SIZE64] = [code](::DosPacket& packet) {
      packet.dp_Res64 = -1;
      packet.dp_Res2 = code;
    };
    EXPECT_EQ(port->GetFileSize(res2, file), -1);
    EXPECT_EQ(res2, code);
    EXPECT_EQ(script.sent, Actions{QUORLE_ACTION_GET_FILE_SIZE64});
    Forget();
  }
}

TEST_F(ClassicFallbackTest, OnAClassicPortNoNewerPacketIsSent) {
  Mount(PortType::kClassic);
  Give(QUORLE_ACTION_SEEK, 3);
  Fill(QUORLE_ACTION_EXAMINE_FH, FillFile);
  const ::TagItem tags[] = {{QUORLE_TAG_DONE, 0}};
  port->GetFilePosition(res2, file);
  port->GetFileSize(res2, file);
  port->FileSystemAttr(res2, tags);
  port->ExamineObj(res2, nullptr, "x");
  port->FreeExamineData(port->ExamineLock(res2, nullptr));
  for (const std::int32_t action : script.sent) EXPECT_FALSE(calls::IsNewerPacket(action));
  ::DosPacket packet{};
  packet.dp_Type = QUORLE_ACTION_EXAMINEDATA;
  port->Send(packet);
  EXPECT_EQ(packet.dp_Res1, 0);
  EXPECT_EQ(packet.dp_Res2, ERROR_ACTION_NOT_KNOWN);
  EXPECT_TRUE(port->IsFileSystem());
}

// ---- What is not sent ------------------------------------------------------------------------------

TEST_F(ClassicFallbackTest, NumbersOfMoreThan31BitsAreNotSent) {
  Mount();
  for (const std::int64_t number : {kTooLong, -kTooLong, INT64_MAX, INT64_MIN}) {
    EXPECT_FALSE(port->ChangeFilePosition(res2, file, OFFSET_BEGINNING, number));
    EXPECT_EQ(res2, ERROR_OBJECT_TOO_LARGE);
    EXPECT_FALSE(port->ChangeFileSize(res2, file, OFFSET_BEGINNING, number));
    EXPECT_EQ(res2, ERROR_OBJECT_TOO_LARGE);
    EXPECT_FALSE(port->LockRecord(res2, file, number, 1, REC_SHARED, 0));
    EXPECT_EQ(res2, ERROR_OBJECT_TOO_LARGE);
    EXPECT_FALSE(port->LockRecord(res2, file, 1, number, REC_SHARED, 0));
    EXPECT_EQ(res2, ERROR_OBJECT_TOO_LARGE);
    EXPECT_FALSE(port->UnLockRecord(res2, file, number, 1));
    EXPECT_EQ(res2, ERROR_OBJECT_TOO_LARGE);
    EXPECT_FALSE(port->UnLockRecord(res2, file, 1, number));
    EXPECT_EQ(res2, ERROR_OBJECT_TOO_LARGE);
  }
  for (const std::int32_t action : script.sent) EXPECT_TRUE(calls::IsNewerPacket(action));
  Give(QUORLE_ACTION_SEEK, 0);
  EXPECT_TRUE(port->ChangeFilePosition(res2, file, OFFSET_BEGINNING, kTooLong - 1));
  EXPECT_TRUE(port->ChangeFilePosition(res2, file, OFFSET_CURRENT, 1 - kTooLong));
}

TEST_F(ClassicFallbackTest, AnIdOfMoreThan16BitsIsNotSent) {
  Mount();
  EXPECT_FALSE(port->SetOwner(res2, nullptr, "x", 0x10000));
  EXPECT_EQ(res2, ERROR_BAD_NUMBER);
  EXPECT_FALSE(port->SetGroup(res2, nullptr, "x", 0xFFFFFFFF));
  EXPECT_EQ(res2, ERROR_BAD_NUMBER);
  EXPECT_EQ(script.sent, Actions{QUORLE_ACTION_SET_OWNER_INFO});
}

TEST_F(ClassicFallbackTest, ANameThatNoPacketHoldsIsNotSent) {
  Mount();
  EXPECT_FALSE(port->SetOwner(res2, nullptr, "x", 0x10000));
  Forget();
  const std::string name(256, 'n');
  EXPECT_FALSE(port->SetOwner(res2, nullptr, name.c_str(), 1));
  EXPECT_EQ(res2, ERROR_LINE_TOO_LONG);
  EXPECT_TRUE(script.sent.empty());
}

// ---- Answers that are none -------------------------------------------------------------------------

TEST_F(ClassicFallbackTest, ATextBeyondItsFieldIsNone) {
  Mount();
  ::Lock* const lock = MustLock();
  for (const int length : {108, 255}) {
    Fill(QUORLE_ACTION_EXAMINE_OBJECT, [length](::FileInfoBlock& block) {
      FillFile(block);
      block.fib_FileName[0] = static_cast<std::uint8_t>(length);
    });
    EXPECT_EQ(port->ExamineLock(res2, lock), nullptr);
    EXPECT_EQ(res2, ERROR_BAD_NUMBER);
    ExpectLine("gave a FileInfoBlock with a name of " + std::to_string(length) + " bytes",
               "ACTION_EXAMINE_OBJECT");
  }
  for (const int length : {80, 255}) {
    Fill(QUORLE_ACTION_EXAMINE_FH, [length](::FileInfoBlock& block) {
      FillFile(block);
      block.fib_Comment[0] = static_cast<std::uint8_t>(length);
    });
    EXPECT_EQ(port->ExamineFile(res2, file), nullptr);
    EXPECT_EQ(res2, ERROR_BAD_NUMBER);
    ExpectLine("gave a FileInfoBlock with a comment of " + std::to_string(length) + " bytes",
               "ACTION_EXAMINE_FH");
  }
}

TEST_F(ClassicFallbackTest, ATextThatFillsItsFieldIsOne) {
  Mount();
  const std::string name(107, 'n');
  const std::string comment(79, 'c');
  Fill(QUORLE_ACTION_EXAMINE_FH, [&](::FileInfoBlock& block) {
    PacketScript::SetText(block.fib_FileName, name);
    PacketScript::SetText(block.fib_Comment, comment);
  });
  ::ExamineData* const record = port->ExamineFile(res2, file);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->Name, name);
  EXPECT_EQ(record->Comment, comment);
  EXPECT_EQ(record->Type, std::uint32_t{FSO_TYPE_INVALID}) << "no type was given";
  port->FreeExamineData(record);
  EXPECT_TRUE(lines.empty());
}

TEST_F(ClassicFallbackTest, ASizeBelowZeroIsNone) {
  Mount();
  Fill(QUORLE_ACTION_EXAMINE_FH, [](::FileInfoBlock& block) {
    FillFile(block);
    block.fib_Size = -77;
  });
  EXPECT_EQ(port->ExamineFile(res2, file), nullptr);
  EXPECT_EQ(res2, ERROR_BAD_NUMBER);
  ExpectLine("gave a FileInfoBlock with a size of -77", "ACTION_EXAMINE_FH");
  EXPECT_EQ(port->GetFileSize(res2, file), -1);
  EXPECT_EQ(res2, ERROR_BAD_NUMBER);
}

TEST_F(ClassicFallbackTest, ANumberThatIsNoPositionIsNone) {
  Mount();
  for (const std::intptr_t number : {std::intptr_t{-2}, std::intptr_t{INT32_MIN}}) {
    Give(QUORLE_ACTION_SEEK, number);
    EXPECT_EQ(port->GetFilePosition(res2, file), -1);
    EXPECT_EQ(res2, ERROR_BAD_NUMBER);
    ExpectLine("gave a position of " + std::to_string(number), "ACTION_SEEK");
    EXPECT_FALSE(port->ChangeFilePosition(res2, file, OFFSET_CURRENT, 0));
    EXPECT_EQ(res2, ERROR_BAD_NUMBER);
    Give(QUORLE_ACTION_SET_FILE_SIZE, number);
    EXPECT_FALSE(port->ChangeFileSize(res2, file, OFFSET_CURRENT, 0));
    EXPECT_EQ(res2, ERROR_BAD_NUMBER);
    ExpectLine("gave a size of " + std::to_string(number), "ACTION_SET_FILE_SIZE");
  }
  if constexpr (sizeof(std::intptr_t) > 4) {
    Give(QUORLE_ACTION_SEEK, static_cast<std::intptr_t>(kTooLong));
    EXPECT_EQ(port->GetFilePosition(res2, file), -1);
    ExpectLine("gave a position of 2147483648", "ACTION_SEEK");
  }
}

TEST_F(ClassicFallbackTest, TypesOfEntriesAreThoseOfObjects) {
  const std::pair<std::int32_t, std::uint32_t> types[] = {
      {ST_ROOT, FSO_TYPE_DIRECTORY},
      {ST_USERDIR, FSO_TYPE_DIRECTORY},
      {ST_SOFTLINK, FSO_TYPE_SOFTLINK},
      {ST_LINKDIR, FSO_TYPE_DIRECTORY | FSOF_LINK},
      {99, FSO_TYPE_DIRECTORY},
      {ST_FILE, FSO_TYPE_FILE},
      {ST_LINKFILE, FSO_TYPE_FILE | FSOF_LINK},
      {ST_PIPEFILE, FSO_TYPE_FILE},
      {-99, FSO_TYPE_FILE},
      {0, FSO_TYPE_INVALID}};
  Mount();
  for (const auto& [entry, type] : types) {
    Fill(QUORLE_ACTION_EXAMINE_FH,
         [entry = entry](::FileInfoBlock& block) { block.fib_DirEntryType = entry; });
    ::ExamineData* const record = port->ExamineFile(res2, file);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->Type, type) << entry;
    EXPECT_EQ(record->FileSize, entry < 0 ? 0 : -1) << entry;
    port->FreeExamineData(record);
  }
}

}  // namespace
}  // namespace quorle
