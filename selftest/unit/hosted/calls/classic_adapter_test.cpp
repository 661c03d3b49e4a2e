#include "hosted/calls/classic_adapter.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "calls/classic_packets.h"
#include "calls/words.h"
#include "handlers/ram/ram_handler.h"
#include "hosted/calls/handler_port.h"
#include "hosted/calls/mount.h"
#include "hosted/calls/packet_adapter.h"
#include "platform/constants.h"
#include "selftest/unit/hosted/calls/recording_handler.h"

// Classic packets that functions answer: those of the in-memory filesystem.

namespace quorle {
namespace {

class ClassicAdapterTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string problem;
    port = MountHandler(*QuorleRamHandler(),
                        {.device_name = "DH0",
                         .type = PortType::kClassic,
                         .keys = {{"volume", "Work"}},
                         .watch = &watch},
                        clock, problem);
    ASSERT_NE(port, nullptr) << problem;
    root = port->Lock(res2, nullptr, "", SHARED_LOCK);
    ASSERT_TRUE(port->Open(res2, file, nullptr, "file", MODE_NEWFILE));
    ASSERT_EQ(port->Write(res2, file, "content", 7), 7);
  }
  void TearDown() override {
    EXPECT_TRUE(port->Close(res2, file));
    EXPECT_TRUE(port->UnLock(res2, root));
    for (const std::string& complaint : port->Unmount()) ADD_FAILURE() << complaint;
    EXPECT_TRUE(lines.empty());
  }

  /// Sends the packet; its first result.
  std::intptr_t Send(std::int32_t action, const calls::PacketWords& words) {
    ::DosPacket packet = calls::PacketOf(action, words.data());
    port->Send(packet);
    res2 = packet.dp_Res2;
    return packet.dp_Res1;
  }
  std::intptr_t Examine(std::int32_t action, const ::Lock* lock) {
    return Send(action, {calls::ToWord(lock), calls::ToWord(&block), 0, 0, 0, 0});
  }
  std::intptr_t Seek(std::int64_t by, std::int32_t mode) {
    return Send(QUORLE_ACTION_SEEK, {file.fh_Arg1, by, mode, calls::ToWord(&file), 0, 0});
  }
  std::intptr_t SetSize(std::int64_t size, std::int32_t mode) {
    return Send(QUORLE_ACTION_SET_FILE_SIZE,
                {file.fh_Arg1, size, mode, calls::ToWord(&file), 0, 0});
  }
  ::Lock* MustLock(const char* name) {
    ::Lock* const lock = port->Lock(res2, nullptr, name, SHARED_LOCK);
    EXPECT_NE(lock, nullptr) << name;
    return lock;
  }
  void MakeDirectory(const char* name) {
    ::Lock* const lock = port->CreateDir(res2, nullptr, name);
    EXPECT_NE(lock, nullptr) << name;
    port->UnLock(res2, lock);
  }
  /// A text with its length.
  static std::string Text(const std::uint8_t* field) {
    return {reinterpret_cast<const char*>(field) + 1, field[0]};
  }
  ::FileSystemVectors& table() {
    return reinterpret_cast<::FileSystemVectorPort*>(port->port())->FSV;
  }

  FixedClock clock;
  std::vector<std::string> lines;
  RunWatch watch{[this](const std::string& line) { lines.push_back(line); }};
  std::unique_ptr<HandlerPort> port;
  ::Lock* root = nullptr;
  ::FileHandle file{};
  ::FileInfoBlock block{};
  std::int32_t res2 = 0;
};

TEST_F(ClassicAdapterTest, ExamineObjectFillsTheBlock) {
  EXPECT_TRUE(port->SetProtection(res2, nullptr, "file", 0xABCD1234));
  EXPECT_TRUE(port->SetComment(res2, nullptr, "file", "comment"));
  EXPECT_TRUE(port->Close(res2, file));
  ::Lock* const lock = MustLock("file");
  block.fib_Reserved[31] = 77;
  EXPECT_EQ(Examine(QUORLE_ACTION_EXAMINE_OBJECT, lock), kDosTrue);
  EXPECT_EQ(block.fib_DirEntryType, ST_FILE);
  EXPECT_EQ(block.fib_EntryType, ST_FILE);
  EXPECT_EQ(Text(block.fib_FileName), "file");
  EXPECT_EQ(Text(block.fib_Comment), "comment");
  EXPECT_EQ(static_cast<std::uint32_t>(block.fib_Protection), 0xABCD1234U);
  EXPECT_EQ(block.fib_Size, 7);
  EXPECT_EQ(block.fib_NumBlocks, 1);
  EXPECT_EQ(block.fib_Date.ds_Days, clock.now.ds_Days);
  EXPECT_NE(block.fib_DiskKey, 0);
  EXPECT_EQ(block.fib_Reserved[31], 77);
  port->UnLock(res2, lock);

  EXPECT_EQ(Examine(QUORLE_ACTION_EXAMINE_OBJECT, root), kDosTrue);
  EXPECT_EQ(block.fib_DirEntryType, ST_USERDIR);
  EXPECT_EQ(Text(block.fib_FileName), "Work");
  EXPECT_EQ(Text(block.fib_Comment), "");
  EXPECT_EQ(block.fib_Size, 0);
  EXPECT_TRUE(port->Open(res2, file, nullptr, "file", MODE_OLDFILE));
}

TEST_F(ClassicAdapterTest, WhatIsTooLongIsCut) {
  const std::string name(200, 'n');
  ASSERT_TRUE(port->Rename(res2, nullptr, "file", nullptr, name.c_str()));
  ASSERT_TRUE(port->SetComment(res2, nullptr, name.c_str(), std::string(200, 'c').c_str()));
  ::FileHandle* const open = &file;
  EXPECT_EQ(Send(QUORLE_ACTION_EXAMINE_FH,
                 {file.fh_Arg1, calls::ToWord(&block), calls::ToWord(open), 0, 0, 0}),
            kDosTrue);
  EXPECT_EQ(Text(block.fib_FileName), std::string(107, 'n'));
  EXPECT_EQ(Text(block.fib_Comment), std::string(79, 'c'));
}

/// Gives a file of 2^40 bytes whose id has 64 bits and whose owners have 32.
::ExamineData* ExamineLarge(::FileSystemVectorPort* port, std::int32_t*, ::FileHandle* file) {
  const auto* const dos = static_cast<const ::HandlerServices*>(port->FSV.Reserved[2]);
  auto* const record =
      static_cast<::ExamineData*>(dos->AllocDosObject(dos, QUORLE_DOS_EXAMINEDATA, nullptr));
  record->Type = FSO_TYPE_FILE;
  record->FileSize = std::int64_t{1} << 40;
  record->ObjectID = std::uint64_t{1} << 40 | static_cast<std::uint64_t>(file->fh_Arg1);
  record->OwnerUID = 0x12345678;
  record->OwnerGID = 0x9ABCDEF0;
  record->Comment = nullptr;
  return record;
}

/// A position beyond 31 bits.
std::int64_t FarPosition(::FileSystemVectorPort*, std::int32_t*, ::FileHandle*) {
  return std::int64_t{1} << 40;
}

TEST_F(ClassicAdapterTest, NumbersThatAreTooLongAreCut) {
  // The services, which only the handler knows: found by a second handler beside it.
  RecordingHandler recorder;
  const auto other = recorder.Mount(PortType::kClassic);
  auto& vectors = RecordingHandler::TableOf(*other);
  vectors.Reserved[2] = const_cast<::HandlerServices*>(recorder.dos);
  vectors.FSExamineFile = ExamineLarge;
  vectors.FSGetFilePosition = FarPosition;
  vectors.FSGetFileSize = FarPosition;
  recorder.result = -1;
  const auto send = [&](std::int32_t action, const calls::PacketWords& words) {
    ::DosPacket packet = calls::PacketOf(action, words.data());
    other->Send(packet);
    return packet.dp_Res1;
  };
  ::FileHandle open{nullptr, 1, nullptr};
  const auto examine = [&] {
    return send(QUORLE_ACTION_EXAMINE_FH,
                {open.fh_Arg1, calls::ToWord(&block), calls::ToWord(&open), 0, 0, 0});
  };
  EXPECT_EQ(examine(), kDosTrue);
  EXPECT_EQ(block.fib_Size, 0x7FFFFFFF);
  EXPECT_EQ(block.fib_NumBlocks, 0x400000);
  EXPECT_EQ(block.fib_OwnerUID, 0x5678);
  EXPECT_EQ(block.fib_OwnerGID, 0xDEF0);
  EXPECT_EQ(Text(block.fib_Comment), "");
  const std::int32_t first = block.fib_DiskKey;
  EXPECT_LT(first, 0);
  open.fh_Arg1 = 2;
  EXPECT_EQ(examine(), kDosTrue);
  EXPECT_NE(block.fib_DiskKey, first);
  open.fh_Arg1 = 1;
  EXPECT_EQ(examine(), kDosTrue);
  EXPECT_EQ(block.fib_DiskKey, first) << "the id of an object stays";

  EXPECT_EQ(send(QUORLE_ACTION_SEEK, {1, 5, OFFSET_BEGINNING, calls::ToWord(&open), 0, 0}),
            0x7FFFFFFF);
  EXPECT_EQ(send(QUORLE_ACTION_SET_FILE_SIZE, {1, 5, OFFSET_BEGINNING, calls::ToWord(&open), 0, 0}),
            0x7FFFFFFF);
}

TEST_F(ClassicAdapterTest, SeekGivesTheOldPosition) {
  EXPECT_EQ(Seek(0, OFFSET_CURRENT), 7);
  EXPECT_EQ(Seek(2, OFFSET_BEGINNING), 7);
  EXPECT_EQ(Seek(-3, OFFSET_END), 2);
  EXPECT_EQ(Seek(1, OFFSET_CURRENT), 4);
  EXPECT_EQ(Seek(100, OFFSET_CURRENT), -1);
  EXPECT_EQ(res2, ERROR_SEEK_ERROR);
  EXPECT_EQ(Seek(0, 99), -1);
  EXPECT_EQ(Seek(0, OFFSET_CURRENT), 5);
}

TEST_F(ClassicAdapterTest, SetFileSizeGivesTheNewSize) {
  EXPECT_EQ(SetSize(3, OFFSET_END), 10);
  EXPECT_EQ(SetSize(2, OFFSET_BEGINNING), 2);
  EXPECT_EQ(SetSize(-3, OFFSET_BEGINNING), -1);
  EXPECT_NE(res2, 0);
}

TEST_F(ClassicAdapterTest, SetOwnerSetsBoth) {
  const PacketText name("file");
  const auto set = [&](std::int64_t ids) {
    return Send(QUORLE_ACTION_SET_OWNER, {0, 0, name.address(), ids, name.address(), 0});
  };
  EXPECT_EQ(set(0xFFFE1234), kDosTrue);
  ::ExamineData* const record = port->ExamineFile(res2, file);
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(record->OwnerUID, 0xFFFEU);
  EXPECT_EQ(record->OwnerGID, 0x1234U);
  port->FreeExamineData(record);
  EXPECT_TRUE(port->WriteProtect(res2, true, 0));
  EXPECT_EQ(set(0), kDosFalse);
  EXPECT_EQ(res2, ERROR_DISK_WRITE_PROTECTED);
  EXPECT_TRUE(port->WriteProtect(res2, false, 0));
}

TEST_F(ClassicAdapterTest, ExamineNextGoesOnWhereTheLockIs) {
  for (const char* const name : {"a", "b", "c"}) MakeDirectory(name);
  std::set<std::string> names;
  EXPECT_EQ(Examine(QUORLE_ACTION_EXAMINE_OBJECT, root), kDosTrue);
  while (Examine(QUORLE_ACTION_EXAMINE_NEXT, root) != kDosFalse) {
    EXPECT_TRUE(names.insert(Text(block.fib_FileName)).second);
  }
  EXPECT_EQ(res2, ERROR_NO_MORE_ENTRIES);
  EXPECT_EQ(names, (std::set<std::string>{"a", "b", "c", "file"}));
  EXPECT_EQ(Examine(QUORLE_ACTION_EXAMINE_NEXT, root), kDosFalse);
  EXPECT_EQ(res2, ERROR_NO_MORE_ENTRIES) << "what is over stays over";
  EXPECT_EQ(Examine(QUORLE_ACTION_EXAMINE_OBJECT, root), kDosTrue);
  EXPECT_EQ(Examine(QUORLE_ACTION_EXAMINE_NEXT, root), kDosTrue) << "it begins again";
}

TEST_F(ClassicAdapterTest, ThePlaceOfAScanGoesWithItsLock) {
  MakeDirectory("dir");
  ::Lock* lock = MustLock("dir");
  EXPECT_EQ(Examine(QUORLE_ACTION_EXAMINE_NEXT, lock), kDosFalse);
  EXPECT_EQ(res2, ERROR_NO_MORE_ENTRIES);
  EXPECT_TRUE(port->UnLock(res2, lock));
  EXPECT_TRUE(port->Close(res2, file));
  lock = MustLock("file");
  EXPECT_EQ(Examine(QUORLE_ACTION_EXAMINE_NEXT, lock), kDosFalse);
  EXPECT_EQ(res2, ERROR_OBJECT_WRONG_TYPE);
  EXPECT_TRUE(port->UnLock(res2, lock));

  lock = MustLock("file");
  EXPECT_EQ(Examine(QUORLE_ACTION_EXAMINE_OBJECT, lock), kDosTrue);
  EXPECT_TRUE(port->OpenFromLock(res2, file, lock));
}

TEST_F(ClassicAdapterTest, AMissingFunctionIsNoAnswer) {
  const ::FileSystemVectors whole = table();
  table().FSExamineLock = nullptr;
  table().FSExamineDir = nullptr;
  table().FSExamineFile = nullptr;
  table().FSGetFilePosition = nullptr;
  table().FSGetFileSize = nullptr;
  table().FSSetGroup = nullptr;
  table().FSLockRecord = nullptr;
  table().FSUnLockRecord = nullptr;
  for (const calls::ClassicPacket& packet : calls::kClassicPackets) {
    EXPECT_EQ(Send(packet.action, {}), 0) << packet.shape.name;
    EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN) << packet.shape.name;
  }
  table() = whole;
}

TEST_F(ClassicAdapterTest, RecordsAreLockedByTheFunctions) {
  RecordingHandler recorder;
  const auto other = recorder.Mount(PortType::kClassic);
  recorder.result = -1;
  ::FileHandle open{nullptr, 1, nullptr};
  EXPECT_TRUE(other->LockRecord(res2, open, 5, 9, REC_SHARED, 50));
  EXPECT_TRUE(other->UnLockRecord(res2, open, 5, 9));
  ASSERT_EQ(recorder.calls.size(), 2U);
  EXPECT_EQ(recorder.calls[0].function, "FSLockRecord");
  EXPECT_EQ(recorder.calls[0].arguments, Joined(&open, 5, 9, REC_SHARED, 50));
  EXPECT_EQ(recorder.calls[1].function, "FSUnLockRecord");
  EXPECT_EQ(recorder.calls[1].arguments, Joined(&open, 5, 9));
  recorder.result = 0;
  recorder.res2 = ERROR_LOCK_COLLISION;
  EXPECT_FALSE(other->LockRecord(res2, open, 5, 9, REC_SHARED, 50));
  EXPECT_EQ(res2, ERROR_LOCK_COLLISION);
  EXPECT_FALSE(other->UnLockRecord(res2, open, 5, 9));
}

TEST_F(ClassicAdapterTest, ARecordThatIsNoneIsReported) {
  RecordingHandler recorder;
  const auto other = recorder.Mount(PortType::kClassic, &watch);
  ::ExamineData own{};
  recorder.result = calls::ToWord(&own);
  ::Lock* const lock = recorder.locks[0];
  EXPECT_EQ(other->ExamineLock(res2, lock), nullptr);
  EXPECT_EQ(res2, ERROR_BAD_NUMBER);
  EXPECT_EQ(lines,
            std::vector<std::string>{
                "handler of REC: gave an examine record that is not from AllocDosObject() in "
                "FSExamineLock()"});
  lines.clear();
}

}  // namespace
}  // namespace quorle
