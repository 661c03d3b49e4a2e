#include "hosted/calls/handler_services.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include "hosted/calls/packet_adapter.h"
#include "selftest/unit/hosted/calls/recording_handler.h"

namespace quorle {
namespace {

// Everything is asked through the table, as a handler does.
class HandlerServicesTest : public testing::Test {
 protected:
  void* Alloc(std::uint32_t type, const ::TagItem* tags = nullptr) {
    return dos.AllocDosObject(&dos, type, tags);
  }
  void Free(std::uint32_t type, void* object) { dos.FreeDosObject(&dos, type, object); }
  ::FileSystemVectorPort* NewPort(const ::FileSystemVectors& table) {
    const ::TagItem tags[] = {{QUORLE_TAG_IGNORE, 1},
                              {QUORLE_ADO_Vectors, reinterpret_cast<std::uintptr_t>(&table)},
                              {QUORLE_TAG_DONE, 0}};
    return static_cast<::FileSystemVectorPort*>(Alloc(QUORLE_DOS_FSVECTORPORT, tags));
  }

  RecordingHandler state;
  std::vector<std::string> asked;
  std::vector<std::string> reported;
  bool allowed = true;
  HostServices services{state.clock,
                        [this](const ::MsgPort&, const std::string& name) {
                          asked.push_back(name);
                          return allowed;
                        },
                        [this](const std::string& line) { reported.push_back(line); }};
  const ::HandlerServices& dos = services.table();
};

TEST_F(HandlerServicesTest, TheTableTellsItsSizeAndVersion) {
  EXPECT_EQ(dos.StructSize, sizeof(::HandlerServices));
  EXPECT_EQ(dos.Version, static_cast<std::uint32_t>(QUORLE_HANDLER_VERSION));
}

TEST_F(HandlerServicesTest, AReportGoesToTheHost) {
  dos.Report(&dos, "something to know");
  dos.Report(&dos, nullptr);
  EXPECT_EQ(reported, std::vector<std::string>{"something to know"});
  EXPECT_TRUE(services.complaints().empty()) << "the handler did nothing wrong";
}

TEST_F(HandlerServicesTest, ALockIsZeroFilled) {
  auto* const lock = static_cast<::Lock*>(Alloc(QUORLE_DOS_LOCK));
  ASSERT_NE(lock, nullptr);
  EXPECT_EQ(lock->fl_Access, 0);
  EXPECT_EQ(lock->fl_Port, nullptr);
  EXPECT_EQ(lock->fl_FSPrivate1, nullptr);
  EXPECT_EQ(lock->fl_FSPrivate2, nullptr);
  Free(QUORLE_DOS_LOCK, lock);
  EXPECT_EQ(services.outstanding(), 0U);
  EXPECT_TRUE(services.complaints().empty());
}

TEST_F(HandlerServicesTest, AnExamineRecordIsPreset) {
  auto* const data = static_cast<::ExamineData*>(Alloc(QUORLE_DOS_EXAMINEDATA));
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->StructSize, sizeof(::ExamineData));
  EXPECT_EQ(data->Type, static_cast<std::uint32_t>(FSO_TYPE_INVALID));
  EXPECT_EQ(data->FileSize, -1);
  EXPECT_EQ(data->ObjectID, 0U);
  EXPECT_STREQ(data->Name, "?");
  EXPECT_STREQ(data->Comment, "");
  EXPECT_STREQ(data->Link, "");
  EXPECT_EQ(data->NameSize, 256U);
  EXPECT_EQ(data->CommentSize, 256U);
  EXPECT_EQ(data->LinkSize, 256U);
  Free(QUORLE_DOS_EXAMINEDATA, data);
  EXPECT_EQ(services.outstanding(), 0U);
}

TEST_F(HandlerServicesTest, TheTextsOfAnExamineRecordHaveTheSizesAskedFor) {
  const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_LinkSize, 4001},
                            {QUORLE_ADO_ExamineData_NameSize, 5},
                            {QUORLE_ADO_ExamineData_CommentSize, 0},
                            {QUORLE_TAG_DONE, 0}};
  auto* const data = static_cast<::ExamineData*>(Alloc(QUORLE_DOS_EXAMINEDATA, tags));
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(data->NameSize, 5U);
  EXPECT_EQ(data->CommentSize, 1U);
  EXPECT_EQ(data->LinkSize, 4001U);
  // No text reaches into another one.
  std::memset(data->Name, 'n', 5);
  std::memset(data->Comment, 'c', 1);
  std::memset(data->Link, 'l', 4001);
  EXPECT_EQ(std::string(data->Name, 5), "nnnnn");
  EXPECT_EQ(data->Comment[0], 'c');
  Free(QUORLE_DOS_EXAMINEDATA, data);
}

TEST_F(HandlerServicesTest, ANameOfOneByteHoldsItsZero) {
  const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_NameSize, 1}, {QUORLE_TAG_DONE, 0}};
  auto* const data = static_cast<::ExamineData*>(Alloc(QUORLE_DOS_EXAMINEDATA, tags));
  ASSERT_NE(data, nullptr);
  EXPECT_STREQ(data->Name, "");
  Free(QUORLE_DOS_EXAMINEDATA, data);
}

TEST_F(HandlerServicesTest, AVectorPortHoldsACopyOfTheTable) {
  ::FileSystemVectors table = RecordingHandler::FullTable();
  table.FSPrivate = &state;
  auto* const port = NewPort(table);
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->MP.ln_Type, QUORLE_NT_FILESYSTEM);
  EXPECT_EQ(port->FSV.Version, 53);
  EXPECT_EQ(port->FSV.FSPrivate, &state);
  EXPECT_EQ(port->FSV.FSLock, table.FSLock);
  EXPECT_EQ(port->FSV.FSUnLockRecord, table.FSUnLockRecord);
  EXPECT_EQ(port->FSV.End_Marker, -1);
  EXPECT_NE(port->FSV.DOSEmulatePacket, nullptr);
  EXPECT_TRUE(services.OwnsPort(port));
  Free(QUORLE_DOS_FSVECTORPORT, port);
  EXPECT_FALSE(services.OwnsPort(port));
}

TEST_F(HandlerServicesTest, AShorterTableHasNoFunctionsBehindItsEnd) {
  ::FileSystemVectors table = RecordingHandler::FullTable();
  constexpr std::size_t kEnd = offsetof(::FileSystemVectors, FSAddNotify);
  const std::intptr_t marker = -1;
  std::memcpy(reinterpret_cast<char*>(&table) + kEnd, &marker, sizeof marker);
  table.StructSize = static_cast<std::int32_t>(kEnd + sizeof marker);
  auto* const port = NewPort(table);
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->FSV.FSRelabel, table.FSRelabel);
  EXPECT_EQ(port->FSV.FSAddNotify, nullptr);
  EXPECT_EQ(port->FSV.FSRemoveNotify, nullptr);
  EXPECT_EQ(port->FSV.FSUnLockRecord, nullptr);
  EXPECT_EQ(port->FSV.StructSize, static_cast<std::int32_t>(sizeof table));
  EXPECT_EQ(port->FSV.End_Marker, -1);
  Free(QUORLE_DOS_FSVECTORPORT, port);
}

TEST_F(HandlerServicesTest, ALongerTableIsCut) {
  struct Newer {
    ::FileSystemVectors table;
    std::intptr_t more[4];
  };
  Newer newer{RecordingHandler::FullTable(), {1, 2, 3, -1}};
  newer.table.StructSize = sizeof newer;
  newer.table.End_Marker = 12345;  // a function that we do not know
  auto* const port = NewPort(newer.table);
  ASSERT_NE(port, nullptr);
  EXPECT_EQ(port->FSV.FSUnLockRecord, newer.table.FSUnLockRecord);
  EXPECT_EQ(port->FSV.End_Marker, -1);
  Free(QUORLE_DOS_FSVECTORPORT, port);
}

TEST_F(HandlerServicesTest, AVectorPortNeedsATable) {
  EXPECT_EQ(Alloc(QUORLE_DOS_FSVECTORPORT), nullptr);
  ::FileSystemVectors table = RecordingHandler::FullTable();
  for (const std::int32_t size : {-1, 0, 8}) {
    table.StructSize = size;
    EXPECT_EQ(NewPort(table), nullptr) << size;
  }
}

TEST_F(HandlerServicesTest, ThePortsOwnFunctionAnswersPackets) {
  ::FileSystemVectors table = RecordingHandler::FullTable();
  table.FSPrivate = &state;
  auto* const port = NewPort(table);
  ASSERT_NE(port, nullptr);
  ::DosPacket packet{};
  packet.dp_Type = QUORLE_ACTION_FLUSH;
  state.result = 1;
  port->FSV.DOSEmulatePacket(port, &packet);
  EXPECT_EQ(packet.dp_Res1, -1);
  packet.dp_Type = 2050;
  port->FSV.DOSEmulatePacket(port, &packet);
  EXPECT_EQ(packet.dp_Res1, 0);
  EXPECT_EQ(packet.dp_Res2, ERROR_ACTION_NOT_KNOWN);
  Free(QUORLE_DOS_FSVECTORPORT, port);
}

TEST_F(HandlerServicesTest, OtherTypesAreNotMade) {
  for (const std::uint32_t type : {0U, 1U, 8U, 10U, 12U, 15U, 0xFFFFFFFFU}) {
    EXPECT_EQ(Alloc(type), nullptr);
  }
}

TEST_F(HandlerServicesTest, MemoryIsZeroFilled) {
  auto* const memory = static_cast<char*>(dos.AllocVec(&dos, 1000));
  ASSERT_NE(memory, nullptr);
  EXPECT_EQ(std::string(memory, 1000), std::string(1000, '\0'));
  EXPECT_EQ(services.outstanding(), 1U);
  dos.FreeVec(&dos, memory);
  EXPECT_EQ(services.outstanding(), 0U);
}

TEST_F(HandlerServicesTest, NoBytesAreStillAPieceOfMemory) {
  void* const memory = dos.AllocVec(&dos, 0);
  EXPECT_NE(memory, nullptr);
  dos.FreeVec(&dos, memory);
  EXPECT_TRUE(services.complaints().empty());
}

TEST_F(HandlerServicesTest, NothingCanBeFreed) {
  Free(QUORLE_DOS_LOCK, nullptr);
  dos.FreeVec(&dos, nullptr);
  EXPECT_TRUE(services.complaints().empty());
}

TEST_F(HandlerServicesTest, ASecondFreeIsToldAndIgnored) {
  void* const lock = Alloc(QUORLE_DOS_LOCK);
  Free(QUORLE_DOS_LOCK, lock);
  Free(QUORLE_DOS_LOCK, lock);
  EXPECT_EQ(services.complaints(),
            std::vector<std::string>{"freed twice or never allocated: a lock (1)"});
}

TEST_F(HandlerServicesTest, AForeignFreeIsToldAndIgnored) {
  ::Lock own{};
  Free(QUORLE_DOS_LOCK, &own);
  int word = 0;
  dos.FreeVec(&dos, &word);
  EXPECT_EQ(services.complaints(),
            (std::vector<std::string>{"freed twice or never allocated: a lock (1)",
                                      "freed twice or never allocated: a piece of memory (1)"}));
}

TEST_F(HandlerServicesTest, AFreeAsAnotherTypeIsToldAndIgnored) {
  void* const lock = Alloc(QUORLE_DOS_LOCK);
  Free(QUORLE_DOS_EXAMINEDATA, lock);
  dos.FreeVec(&dos, lock);
  EXPECT_EQ(services.outstanding(), 1U);
  EXPECT_EQ(services.complaints(),
            (std::vector<std::string>{"a lock was freed as a piece of memory (1)",
                                      "a lock was freed as an examine record (1)"}));
  Free(QUORLE_DOS_LOCK, lock);
  EXPECT_EQ(services.outstanding(), 0U);
}

TEST_F(HandlerServicesTest, WhatIsLeftIsToldAndFreed) {
  Alloc(QUORLE_DOS_LOCK);
  Alloc(QUORLE_DOS_LOCK);
  dos.AllocVec(&dos, 10);
  services.FreeEverything();
  EXPECT_EQ(services.outstanding(), 0U);
  EXPECT_EQ(
      services.complaints(),
      (std::vector<std::string>{"never freed: a lock (2)", "never freed: a piece of memory (1)"}));
}

TEST_F(HandlerServicesTest, WhatIsLeftOfSeveralMountsIsOneLine) {
  int word = 0;
  for (int mount = 0; mount < 3; ++mount) {
    Alloc(QUORLE_DOS_LOCK);
    dos.FreeVec(&dos, &word);
    services.FreeEverything();
    services.Complain("seen elsewhere");
  }
  EXPECT_EQ(services.complaints(),
            (std::vector<std::string>{"freed twice or never allocated: a piece of memory (3)",
                                      "never freed: a lock (3)", "seen elsewhere"}));
}

TEST_F(HandlerServicesTest, ComplaintsDoNotGrowForEver) {
  int word = 0;
  for (int i = 0; i < 200; ++i) dos.FreeVec(&dos, &word);
  EXPECT_EQ(services.complaints(),
            std::vector<std::string>{"freed twice or never allocated: a piece of memory (200)"});
}

TEST_F(HandlerServicesTest, ComplaintsNameTheFirstCallsAndChecks) {
  int word = 0;
  services.BeginCall("Mount()");
  Alloc(QUORLE_DOS_LOCK);
  const char* const checks[] = {"Lock.A", "Lock.B", "Lock.A", "Open.C", "Open.D", "Open.E"};
  for (const char* const check : checks) {
    services.SetCheck(check);
    services.BeginCall("FSLock()");
    Alloc(QUORLE_DOS_LOCK);
    services.BeginPacket(QUORLE_ACTION_PARENT);
    dos.FreeVec(&dos, &word);
  }
  services.SetCheck("");
  services.BeginCall("FSOpen()");
  Alloc(QUORLE_DOS_LOCK);
  services.FreeEverything();
  EXPECT_EQ(
      services.complaints(),
      (std::vector<std::string>{
          "freed twice or never allocated: a piece of memory (6), in ACTION_PARENT of Lock.A (2), "
          "ACTION_PARENT of Lock.B (1), ACTION_PARENT of Open.C (1), ACTION_PARENT of Open.D (1), "
          "ACTION_PARENT of Open.E (1)",
          "never freed: a lock (8), made in Mount() (1), FSLock() of Lock.A (2), FSLock() of Lock.B "
          "(1), FSLock() of Open.C (1), FSLock() of Open.D (1), 2 elsewhere"}));
}

// ---- Records -----------------------------------------------------------------------------------

class GivenRecordTest : public HandlerServicesTest {
 protected:
  ::ExamineData* NewRecord() {
    const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_NameSize, 5}, {QUORLE_TAG_DONE, 0}};
    return static_cast<::ExamineData*>(Alloc(QUORLE_DOS_EXAMINEDATA, tags));
  }
};

TEST_F(GivenRecordTest, IsOneAsItIsMade) {
  ::ExamineData* const data = NewRecord();
  std::strcpy(data->Name, "four");
  data->Comment = nullptr;
  EXPECT_EQ(services.Examine(data), Breach::kNone);
}

TEST_F(GivenRecordTest, HasTheSizesOfItsTexts) {
  ::ExamineData* const data = NewRecord();
  data->NameSize = data->CommentSize = data->LinkSize = 0xFFFFFFFF;
  EXPECT_EQ(services.Examine(data), Breach::kNone);
  EXPECT_EQ(data->NameSize, 5U);
  EXPECT_EQ(data->CommentSize, 256U);
  EXPECT_EQ(data->LinkSize, 256U);
}

TEST_F(GivenRecordTest, IsNoneWhenItIsNotFromThere) {
  ::ExamineData own{};
  EXPECT_EQ(services.Examine(&own), Breach::kForeignRecord);
  EXPECT_EQ(services.Examine(static_cast<::ExamineData*>(Alloc(QUORLE_DOS_LOCK))),
            Breach::kForeignRecord);
  EXPECT_EQ(services.Examine(reinterpret_cast<::ExamineData*>(8)), Breach::kForeignRecord);
  ::ExamineData* const freed = NewRecord();
  Free(QUORLE_DOS_EXAMINEDATA, freed);
  EXPECT_EQ(services.Examine(freed), Breach::kForeignRecord);
}

TEST_F(GivenRecordTest, IsNoneWithATextFromElsewhere) {
  char elsewhere[] = "text";
  for (char* ::ExamineData::*const text :
       {&::ExamineData::Name, &::ExamineData::Comment, &::ExamineData::Link}) {
    ::ExamineData* const data = NewRecord();
    data->*text = elsewhere;
    EXPECT_EQ(services.Examine(data), Breach::kForeignText);
    data->*text = reinterpret_cast<char*>(8);
    EXPECT_EQ(services.Examine(data), Breach::kForeignText);
  }
}

TEST_F(GivenRecordTest, IsNoneWithATextWithoutAnEnd) {
  ::ExamineData* const data = NewRecord();
  std::memset(data->Name, 'x', 5);
  EXPECT_EQ(services.Examine(data), Breach::kTextWithoutEnd);
}

TEST_F(GivenRecordTest, IsNoneWhenATextWentOverItsBuffer) {
  ::ExamineData* data = NewRecord();
  std::strcpy(data->Name, "fives");
  EXPECT_EQ(services.Examine(data), Breach::kBeyondBuffer);
  data = NewRecord();
  data->Name[-1] = '\0';
  EXPECT_EQ(services.Examine(data), Breach::kBeyondBuffer);
  data = NewRecord();
  data->Link[data->LinkSize] = '\0';
  EXPECT_EQ(services.Examine(data), Breach::kBeyondBuffer);
}

TEST_F(GivenRecordTest, IsNotMadeWithTextsOfAnySize) {
  const ::TagItem tags[] = {{QUORLE_ADO_ExamineData_LinkSize, 0xFFFFFFFF}, {QUORLE_TAG_DONE, 0}};
  EXPECT_EQ(Alloc(QUORLE_DOS_EXAMINEDATA, tags), nullptr);
}

TEST_F(HandlerServicesTest, ALockHasANumberOfItsOwn) {
  auto* const lock = static_cast<::Lock*>(Alloc(QUORLE_DOS_LOCK));
  const std::uint64_t serial = services.SerialOf(lock);
  EXPECT_NE(serial, 0U);
  Free(QUORLE_DOS_LOCK, lock);
  EXPECT_EQ(services.SerialOf(lock), 0U);
  ::Lock own{};
  EXPECT_EQ(services.SerialOf(&own), 0U);
  // Wherever the next one lies.
  EXPECT_GT(services.SerialOf(static_cast<::Lock*>(Alloc(QUORLE_DOS_LOCK))), serial);
}

TEST_F(HandlerServicesTest, TheDateIsTheClocks) {
  ::DateStamp now{};
  dos.DateStamp(&dos, &now);
  EXPECT_EQ(now.ds_Days, 17000);
  EXPECT_EQ(now.ds_Minute, 601);
  EXPECT_EQ(now.ds_Tick, 2999);
}

TEST_F(HandlerServicesTest, AVolumeIsNamedRenamedAndRemoved) {
  auto* const port = NewPort(RecordingHandler::FullTable());
  EXPECT_EQ(services.volume_name(), std::nullopt);
  EXPECT_NE(dos.SetVolumeName(&dos, port, "One"), 0);
  EXPECT_EQ(services.volume_name(), "One");
  EXPECT_NE(dos.SetVolumeName(&dos, port, "Two"), 0);
  EXPECT_EQ(services.volume_name(), "Two");
  EXPECT_EQ(asked, (std::vector<std::string>{"One", "Two"}));
  EXPECT_NE(dos.SetVolumeName(&dos, port, nullptr), 0);
  EXPECT_EQ(services.volume_name(), std::nullopt);
  EXPECT_EQ(asked.size(), 2U);
}

TEST_F(HandlerServicesTest, ATakenVolumeNameIsRefused) {
  auto* const port = NewPort(RecordingHandler::FullTable());
  EXPECT_NE(dos.SetVolumeName(&dos, port, "One"), 0);
  allowed = false;
  EXPECT_EQ(dos.SetVolumeName(&dos, port, "Two"), 0);
  EXPECT_EQ(services.volume_name(), "One");
}

TEST_F(HandlerServicesTest, AVolumeNameMustBeOne) {
  auto* const port = NewPort(RecordingHandler::FullTable());
  const std::string too_long(256, 'x');
  for (const char* const name : {"", "a:b", "a/b", "a\nb", "\x7F", too_long.c_str()}) {
    EXPECT_EQ(dos.SetVolumeName(&dos, port, name), 0) << name;
  }
  EXPECT_TRUE(asked.empty());
  EXPECT_NE(dos.SetVolumeName(&dos, port, too_long.c_str() + 1), 0);
}

TEST_F(HandlerServicesTest, OnlyTheOwnPortCanNameTheVolume) {
  ::FileSystemVectorPort foreign{};
  EXPECT_EQ(dos.SetVolumeName(&dos, &foreign, "One"), 0);
  EXPECT_EQ(dos.SetVolumeName(&dos, nullptr, "One"), 0);
  EXPECT_EQ(services.volume_name(), std::nullopt);
  EXPECT_EQ(services.complaints().size(), 1U);
}

}  // namespace
}  // namespace quorle
