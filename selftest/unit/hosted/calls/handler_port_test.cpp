#include "hosted/calls/handler_port.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hosted/calls/packet_adapter.h"
#include "platform/constants.h"
#include "selftest/unit/hosted/calls/recording_handler.h"

namespace quorle {
namespace {

constexpr std::int64_t kWide = 0x123456789ABCDEF;
constexpr std::uint32_t kHighMask = 0xFFFFFF5A;
// The same in a word of a packet, which is as wide as a pointer.
constexpr auto kMaskWord = static_cast<std::intptr_t>(kHighMask);

// What the operations below are called with.
struct Things {
  RecordingHandler& handler;
  // Locks of the handler that was mounted last.
  ::Lock* a() const { return handler.locks[0]; }
  ::Lock* b() const { return handler.locks[1]; }
  ::Lock* given() const { return handler.locks[2]; }  // what a successful call returns
  ::FileHandle f{nullptr, 4711, nullptr};
  ::FileHandle g{nullptr, 4712, nullptr};
  char buffer[16] = {};
  ::InfoData info{};
  ::DateStamp date{1, 2, 3};
  ::TagItem tags[2] = {{QUORLE_FSA_DOSTypeR, 77}, {QUORLE_TAG_DONE, 0}};
  ::PRIVATE_ExamineDirContext context{};
  ::NotifyRequest* request = reinterpret_cast<::NotifyRequest*>(&info);
};

enum class Gives { kTruth, kLock, kRecord, kCount, kNumber };

struct Operation {
  const char* function;
  Gives gives;
  std::function<std::int64_t(HandlerPort&, std::int32_t&, Things&)> call;
  // The arguments that the function must see.
  std::function<std::string(Things&)> arguments;
  // The packet that must be sent, and what its words are (ShownPacket()).
  std::function<std::string(Things&)> packet;
  const char* shape = "#####";
};

void PrintTo(const Operation& operation, std::ostream* out) {
  *out << operation.function;
}

template <class Object>
std::intptr_t Number(Object* object) {
  return reinterpret_cast<std::intptr_t>(object);
}

std::int64_t FailureOf(Gives gives) {
  return gives == Gives::kCount || gives == Gives::kNumber ? -1 : 0;
}

// What a function returns for success, and what the operation must make of it.
std::int64_t ResultOf(Gives gives, Things& t) {
  switch (gives) {
    case Gives::kTruth:
      return 1;
    case Gives::kCount:
      return 12;
    case Gives::kNumber:
      return kWide;
    case Gives::kRecord:
      return Number(t.handler.record);
    default:
      return Number(t.given());
  }
}

const std::vector<Operation>& Operations() {
  static const std::vector<Operation> kOperations = {
      {"FSLock", Gives::kLock,
       [](auto& p, auto& e, auto& t) { return Number(p.Lock(e, t.a(), "foo", SHARED_LOCK)); },
       [](auto& t) { return Joined(t.a(), "foo", -2); },
       [](auto& t) { return Joined(8, t.a(), "foo", -2, 0, "foo", 0, 0); }, "#t##t"},
      {"FSUnLock", Gives::kTruth, [](auto& p, auto& e, auto& t) { return p.UnLock(e, t.a()); },
       [](auto& t) { return Joined(t.a()); },
       [](auto& t) { return Joined(15, t.a(), 0, 0, 0, 0, 0, 0); }},
      {"FSDupLock", Gives::kLock,
       [](auto& p, auto& e, auto& t) { return Number(p.DupLock(e, t.a())); },
       [](auto& t) { return Joined(t.a()); },
       [](auto& t) { return Joined(19, t.a(), 0, 0, 0, 0, 0, 0); }},
      {"FSCreateDir", Gives::kLock,
       [](auto& p, auto& e, auto& t) { return Number(p.CreateDir(e, t.a(), "dir")); },
       [](auto& t) { return Joined(t.a(), "dir"); },
       [](auto& t) { return Joined(22, t.a(), "dir", 0, 0, "dir", 0, 0); }, "#t##t"},
      {"FSParentDir", Gives::kLock,
       [](auto& p, auto& e, auto& t) { return Number(p.ParentDir(e, t.a())); },
       [](auto& t) { return Joined(t.a()); },
       [](auto& t) { return Joined(29, t.a(), 0, 0, 0, 0, 0, 0); }},
      {"FSDupLockFromFH", Gives::kLock,
       [](auto& p, auto& e, auto& t) { return Number(p.DupLockFromFH(e, t.f)); },
       [](auto& t) { return Joined(&t.f); },
       [](auto& t) { return Joined(1030, 4711, &t.f, 0, 0, 0, 0, 0); }},
      {"FSOpenFromLock", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.OpenFromLock(e, t.f, t.a()); },
       [](auto& t) { return Joined(&t.f, t.a()); },
       [](auto& t) { return Joined(1026, &t.f, t.a(), 0, 0, 0, 0, 0); }},
      {"FSParentOfFH", Gives::kLock,
       [](auto& p, auto& e, auto& t) { return Number(p.ParentOfFH(e, t.f)); },
       [](auto& t) { return Joined(&t.f); },
       [](auto& t) { return Joined(1031, 4711, &t.f, 0, 0, 0, 0, 0); }},
      {"FSOpen", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.Open(e, t.f, t.a(), "foo", MODE_NEWFILE); },
       [](auto& t) { return Joined(&t.f, t.a(), "foo", 1006); },
       [](auto& t) { return Joined(1006, &t.f, t.a(), "foo", 0, "foo", 0, 0); }, "##t#t"},
      {"FSClose", Gives::kTruth, [](auto& p, auto& e, auto& t) { return p.Close(e, t.f); },
       [](auto& t) { return Joined(&t.f); },
       [](auto& t) { return Joined(1007, 4711, &t.f, 0, 0, 0, 0, 0); }},
      {"FSDelete", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.Delete(e, t.a(), "foo"); },
       [](auto& t) { return Joined(t.a(), "foo"); },
       [](auto& t) { return Joined(16, t.a(), "foo", 0, 0, "foo", 0, 0); }, "#t##t"},
      {"FSRead", Gives::kCount,
       [](auto& p, auto& e, auto& t) { return p.Read(e, t.f, t.buffer, 16); },
       [](auto& t) { return Joined(&t.f, static_cast<void*>(t.buffer), 16); },
       [](auto& t) { return Joined(82, 4711, static_cast<void*>(t.buffer), 16, &t.f, 0, 0, 0); }},
      {"FSWrite", Gives::kCount,
       [](auto& p, auto& e, auto& t) { return p.Write(e, t.f, t.buffer, 12); },
       [](auto& t) { return Joined(&t.f, static_cast<void*>(t.buffer), 12); },
       [](auto& t) { return Joined(87, 4711, static_cast<void*>(t.buffer), 12, &t.f, 0, 0, 0); }},
      {"FSFlush", Gives::kTruth, [](auto& p, auto& e, auto&) { return p.Flush(e); },
       [](auto&) { return Joined(); }, [](auto&) { return Joined(27, 0, 0, 0, 0, 0, 0, 0); }},
      {"FSChangeFilePosition", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.ChangeFilePosition(e, t.f, OFFSET_END, kWide); },
       [](auto& t) { return Joined(&t.f, 1, kWide); },
       [](auto& t) { return Joined(8001, 4711, 0, 1, &t.f, 0, kWide, 0); }},
      {"FSChangeFileSize", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.ChangeFileSize(e, t.f, OFFSET_BEGINNING, -kWide); },
       [](auto& t) { return Joined(&t.f, -1, -kWide); },
       [](auto& t) { return Joined(8003, 4711, 0, -1, &t.f, 0, -kWide, 0); }},
      {"FSGetFilePosition", Gives::kNumber,
       [](auto& p, auto& e, auto& t) { return p.GetFilePosition(e, t.f); },
       [](auto& t) { return Joined(&t.f); },
       [](auto& t) { return Joined(8002, 4711, 0, &t.f, 0, 0, 0, 0); }},
      {"FSGetFileSize", Gives::kNumber,
       [](auto& p, auto& e, auto& t) { return p.GetFileSize(e, t.f); },
       [](auto& t) { return Joined(&t.f); },
       [](auto& t) { return Joined(8004, 4711, 0, &t.f, 0, 0, 0, 0); }},
      {"FSChangeLockMode", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.ChangeLockMode(e, t.a(), EXCLUSIVE_LOCK); },
       [](auto& t) { return Joined(t.a(), -1); },
       [](auto& t) { return Joined(1028, 0, t.a(), -1, 0, 0, 0, 0); }},
      {"FSChangeFileMode", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.ChangeFileMode(e, t.f, SHARED_LOCK); },
       [](auto& t) { return Joined(&t.f, -2); },
       [](auto& t) { return Joined(1028, 1, &t.f, -2, 0, 0, 0, 0); }},
      {"FSSetDate", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.SetDate(e, t.a(), "foo", t.date); },
       [](auto& t) { return Joined(t.a(), "foo", "1d2m3t"); },
       [](auto& t) { return Joined(34, 0, t.a(), "foo", "1d2m3t", "foo", 0, 0); }, "##tdt"},
      {"FSSetProtection", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.SetProtection(e, t.a(), "foo", kHighMask); },
       [](auto& t) { return Joined(t.a(), "foo", kHighMask); },
       [](auto& t) { return Joined(21, 0, t.a(), "foo", kMaskWord, "foo", 0, 0); }, "##t#t"},
      {"FSSetComment", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.SetComment(e, t.a(), "foo", "a comment"); },
       [](auto& t) { return Joined(t.a(), "foo", "a comment"); },
       [](auto& t) { return Joined(28, 0, t.a(), "foo", "a comment", "foo", 0, 0); }, "##ttt"},
      {"FSSetGroup", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.SetGroup(e, t.a(), "foo", kHighMask); },
       [](auto& t) { return Joined(t.a(), "foo", kHighMask); },
       [](auto& t) {
         return Joined(1037, t.a(), "foo", "{2147489859,4294967130}", 0, "foo", 0, 0);
       },
       "#tg#t"},
      {"FSSetOwner", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.SetOwner(e, t.a(), "foo", 65535); },
       [](auto& t) { return Joined(t.a(), "foo", 65535); },
       [](auto& t) { return Joined(1037, t.a(), "foo", "{2147489858,65535}", 0, "foo", 0, 0); },
       "#tg#t"},
      {"FSRename", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.Rename(e, t.a(), "from", t.b(), "to"); },
       [](auto& t) { return Joined(t.a(), "from", t.b(), "to"); },
       [](auto& t) { return Joined(17, t.a(), "from", t.b(), "to", 0, 0, 0); }, "#t#t#"},
      {"FSCreateSoftLink", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.CreateSoftLink(e, t.a(), "link", "dev:a/b"); },
       [](auto& t) { return Joined(t.a(), "link", "dev:a/b"); },
       [](auto& t) { return Joined(1021, t.a(), "link", "dev:a/b", -1, "link", 0, 0); }, "#tc#t"},
      {"FSCreateHardLink", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.CreateHardLink(e, t.a(), "link", t.b()); },
       [](auto& t) { return Joined(t.a(), "link", t.b()); },
       [](auto& t) { return Joined(1021, t.a(), "link", t.b(), 0, "link", 0, 0); }, "#t##t"},
      {"FSReadSoftLink", Gives::kCount,
       [](auto& p, auto& e, auto& t) { return p.ReadSoftLink(e, t.a(), "link", t.buffer, 16); },
       [](auto& t) { return Joined(t.a(), "link", static_cast<void*>(t.buffer), 16); },
       [](auto& t) {
         return Joined(1024, t.a(), "link", static_cast<void*>(t.buffer), 16, 0, 0, 0);
       },
       "#c###"},
      {"FSSameLock", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.SameLock(e, t.a(), t.b()); },
       [](auto& t) { return Joined(t.a(), t.b()); },
       [](auto& t) { return Joined(40, t.a(), t.b(), 0, 0, 0, 0, 0); }},
      {"FSSameFile", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.SameFile(e, t.f, t.g); },
       [](auto& t) { return Joined(&t.f, &t.g); },
       [](auto& t) { return Joined(53, &t.f, &t.g, 0, 0, 0, 0, 0); }},
      {"FSFileSystemAttr", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.FileSystemAttr(e, t.tags); },
       [](auto&) { return std::string("{2147492661,77}"); },
       [](auto&) { return Joined(3005, "{2147492661,77}", 0, 0, 0, 0, 0, 0); }, "g####"},
      {"FSVolumeInfoData", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.VolumeInfoData(e, t.info); },
       [](auto& t) { return Joined(&t.info); },
       [](auto& t) { return Joined(26, 0, &t.info, 0, 0, 0, 0, 0); }},
      {"FSDeviceInfoData", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.DeviceInfoData(e, t.info); },
       [](auto& t) { return Joined(&t.info); },
       [](auto& t) { return Joined(25, &t.info, 0, 0, 0, 0, 0, 0); }},
      {"FSExamineObj", Gives::kRecord,
       [](auto& p, auto& e, auto& t) { return Number(p.ExamineObj(e, t.a(), "foo")); },
       [](auto& t) { return Joined(t.a(), "foo"); },
       [](auto& t) { return Joined(3032, t.a(), "foo", 0, 0, "foo", 0, 0); }, "#t##t"},
      {"FSExamineLock", Gives::kRecord,
       [](auto& p, auto& e, auto& t) { return Number(p.ExamineLock(e, t.a())); },
       [](auto& t) { return Joined(t.a()); },
       [](auto& t) { return Joined(3030, t.a(), 0, 0, 0, 0, 0, 0); }},
      {"FSExamineFile", Gives::kRecord,
       [](auto& p, auto& e, auto& t) { return Number(p.ExamineFile(e, t.f)); },
       [](auto& t) { return Joined(&t.f); },
       [](auto& t) { return Joined(3031, &t.f, 0, 0, 0, 0, 0, 0); }},
      {"FSExamineDir", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.ExamineDir(e, t.context); },
       [](auto& t) { return Joined(&t.context); },
       [](auto& t) { return Joined(3040, &t.context, 0, 0, 0, 0, 0, 0); }},
      {"FSInhibit", Gives::kTruth, [](auto& p, auto& e, auto&) { return p.Inhibit(e, true); },
       [](auto&) { return Joined(-1); }, [](auto&) { return Joined(31, -1, 0, 0, 0, 0, 0, 0); }},
      {"FSWriteProtect", Gives::kTruth,
       [](auto& p, auto& e, auto&) { return p.WriteProtect(e, true, kHighMask); },
       [](auto&) { return Joined(-1, kHighMask); },
       [](auto&) { return Joined(1023, -1, kMaskWord, 0, 0, 0, 0, 0); }},
      {"FSFormat", Gives::kTruth,
       [](auto& p, auto& e, auto&) { return p.Format(e, "Empty", 0x444F5309); },
       [](auto&) { return Joined("Empty", 0x444F5309); },
       [](auto&) { return Joined(1020, "Empty", 0x444F5309, 0, 0, "Empty", 0, 0); }, "t###t"},
      {"FSSerialize", Gives::kTruth, [](auto& p, auto& e, auto&) { return p.Serialize(e); },
       [](auto&) { return Joined(); }, [](auto&) { return Joined(4200, 0, 0, 0, 0, 0, 0, 0); }},
      {"FSRelabel", Gives::kTruth, [](auto& p, auto& e, auto&) { return p.Relabel(e, "New"); },
       [](auto&) { return Joined("New"); },
       [](auto&) { return Joined(9, "New", 0, 0, 0, "New", 0, 0); }, "t###t"},
      {"FSAddNotify", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.AddNotify(e, t.request); },
       [](auto& t) { return Joined(t.request); },
       [](auto& t) { return Joined(4097, t.request, 0, 0, 0, 0, 0, 0); }},
      {"FSRemoveNotify", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.RemoveNotify(e, t.request); },
       [](auto& t) { return Joined(t.request); },
       [](auto& t) { return Joined(4098, t.request, 0, 0, 0, 0, 0, 0); }},
      {"FSLockRecord", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.LockRecord(e, t.f, kWide, 9, 3, 50); },
       [](auto& t) { return Joined(&t.f, kWide, 9, 3, 50); },
       [](auto& t) { return Joined(8010, &t.f, 0, 3, 50, 0, kWide, 9); }},
      {"FSUnLockRecord", Gives::kTruth,
       [](auto& p, auto& e, auto& t) { return p.UnLockRecord(e, t.f, kWide, 9); },
       [](auto& t) { return Joined(&t.f, kWide, 9); },
       [](auto& t) { return Joined(8011, &t.f, 0, 0, 0, 0, kWide, 9); }},
  };
  return kOperations;
}

class EveryOperation : public testing::TestWithParam<Operation> {
 protected:
  // Calls the operation with an error code in `res2` that must not survive.
  std::int64_t Call(HandlerPort& port) {
    res2 = 999;
    return GetParam().call(port, res2, things);
  }

  void ExpectFilled(const HandlerPort& port) {
    ::MsgPort* const wanted = GetParam().gives == Gives::kLock ? port.port() : nullptr;
    EXPECT_EQ(things.given()->fl_Port, wanted);
  }

  // The function sees its arguments, the caller its result.
  void ExpectAnsweredBy(PortType type) {
    const auto port = state.Mount(type);
    state.result = ResultOf(GetParam().gives, things);

    EXPECT_EQ(Call(*port), state.result);
    EXPECT_EQ(res2, 0);
    ASSERT_EQ(state.calls.size(), 1U);
    EXPECT_EQ(state.calls[0].function, GetParam().function);
    EXPECT_EQ(state.calls[0].arguments, GetParam().arguments(things));
    EXPECT_TRUE(state.res2_was_zero);
    EXPECT_TRUE(state.packets.empty());
    ExpectFilled(*port);
  }

  void ExpectRefusedBy(PortType type) {
    const auto port = state.Mount(type);
    state.result = FailureOf(GetParam().gives);
    state.res2 = ERROR_OBJECT_NOT_FOUND;

    EXPECT_EQ(Call(*port), FailureOf(GetParam().gives));
    EXPECT_EQ(res2, ERROR_OBJECT_NOT_FOUND);
  }

  // Without functions the handler's own packet function must see the packet.
  void ExpectPacket(PortType type) {
    const auto port = state.Mount(type);
    RecordingHandler::ClearTable(*port);
    const std::int64_t result = ResultOf(GetParam().gives, things);
    state.packet_res1 = static_cast<std::intptr_t>(result);
    state.packet_res64 = result;
    state.packet_shape = GetParam().shape;

    EXPECT_EQ(Call(*port), result);
    EXPECT_EQ(res2, 0);
    EXPECT_TRUE(state.calls.empty());
    EXPECT_EQ(state.packets, std::vector<std::string>{GetParam().packet(things)});
    ExpectFilled(*port);
  }

  void ExpectNotKnown(HandlerPort& port) {
    EXPECT_EQ(Call(port), FailureOf(GetParam().gives));
    EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
  }

  RecordingHandler state;
  Things things{state};
  std::int32_t res2 = 0;
};

TEST_P(EveryOperation, CallsTheFunctionOfAVectorPort) {
  ExpectAnsweredBy(PortType::kVector);
}

TEST_P(EveryOperation, ReachesTheSameFunctionThroughAPacketPort) {
  ExpectAnsweredBy(PortType::kPacket);
}

TEST_P(EveryOperation, PassesOnTheFailureOfAVectorPort) {
  ExpectRefusedBy(PortType::kVector);
}

TEST_P(EveryOperation, PassesOnTheFailureOfAPacketPort) {
  ExpectRefusedBy(PortType::kPacket);
}

TEST_P(EveryOperation, SendsThePacketForAMissingFunctionOfAVectorPort) {
  ExpectPacket(PortType::kVector);
}

TEST_P(EveryOperation, SendsThePacketForAMissingFunctionOfAPacketPort) {
  ExpectPacket(PortType::kPacket);
}

TEST_P(EveryOperation, PassesOnTheFailureOfThePacketFunction) {
  const auto port = state.Mount(PortType::kPacket);
  RecordingHandler::ClearTable(*port);
  state.packet_res1 = static_cast<std::intptr_t>(FailureOf(GetParam().gives));
  state.packet_res64 = FailureOf(GetParam().gives);
  state.packet_res2 = ERROR_OBJECT_IN_USE;

  EXPECT_EQ(Call(*port), FailureOf(GetParam().gives));
  EXPECT_EQ(res2, ERROR_OBJECT_IN_USE);
}

TEST_P(EveryOperation, IsNotKnownWithoutFunctions) {
  state.handler.Packet = nullptr;
  for (const PortType type : {PortType::kVector, PortType::kPacket}) {
    const auto port = state.Mount(type);
    RecordingHandler::ClearTable(*port);
    ExpectNotKnown(*port);
  }
}

TEST_P(EveryOperation, IsNotKnownWhenThePacketFunctionSaysSo) {
  const auto port = state.Mount(PortType::kVector);
  RecordingHandler::ClearTable(*port);
  state.packet_res2 = ERROR_ACTION_NOT_KNOWN;
  ExpectNotKnown(*port);
}

TEST_P(EveryOperation, IsNotKnownToADeviceWithoutAFilesystem) {
  HandlerPort port("NIL");
  ExpectNotKnown(port);
}

TEST_P(EveryOperation, IsNotKnownAfterTheUnmount) {
  const auto port = state.Mount(PortType::kVector);
  EXPECT_TRUE(port->Unmount().empty());
  ExpectNotKnown(*port);
  EXPECT_TRUE(state.calls.empty());
}

// A function that refuses with 0 and 209 is taken at its word, whatever its failure value is.
TEST_P(EveryOperation, TakesAStubAtItsWordOnBothPorts) {
  for (const PortType type : {PortType::kVector, PortType::kPacket}) {
    const auto port = state.Mount(type);
    state.result = 0;
    state.res2 = ERROR_ACTION_NOT_KNOWN;
    EXPECT_EQ(Call(*port), 0);
    EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
  }
}

INSTANTIATE_TEST_SUITE_P(HandlerPort, EveryOperation, testing::ValuesIn(Operations()),
                         [](const auto& each) { return std::string(each.param.function); });

class HandlerPortTest : public testing::TestWithParam<PortType> {
 protected:
  RecordingHandler state;
  Things things{state};
  std::int32_t res2 = 999;
};

TEST_P(HandlerPortTest, TheRootHasNoParentAndNoError) {
  const auto port = state.Mount(GetParam());
  EXPECT_EQ(port->ParentDir(res2, things.a()), nullptr);
  EXPECT_EQ(res2, 0);
}

TEST_P(HandlerPortTest, EveryTruthIsTheSame) {
  const auto port = state.Mount(GetParam());
  for (const std::int64_t truth : {-1, 1, 77, 0x10000}) {
    state.result = truth;
    EXPECT_TRUE(port->Delete(res2, nullptr, "x"));
    EXPECT_TRUE(port->ChangeFilePosition(res2, things.f, 0, 0));
  }
}

TEST_P(HandlerPortTest, ACodeOfASuccessIsPassedOn) {
  const auto port = state.Mount(GetParam());
  state.result = 1;
  state.res2 = 77;
  EXPECT_TRUE(port->Flush(res2));
  EXPECT_EQ(res2, 77);
}

TEST_P(HandlerPortTest, ReadSoftLinkTellsThatTheBufferIsTooSmall) {
  const auto port = state.Mount(GetParam());
  state.result = -2;
  state.res2 = ERROR_LINE_TOO_LONG;
  EXPECT_EQ(port->ReadSoftLink(res2, nullptr, "x", things.buffer, 1), -2);
  EXPECT_EQ(res2, ERROR_LINE_TOO_LONG);
}

TEST_P(HandlerPortTest, TheEndOfAFileIsZero) {
  const auto port = state.Mount(GetParam());
  EXPECT_EQ(port->Read(res2, things.f, things.buffer, 16), 0);
  EXPECT_EQ(res2, 0);
}

TEST_P(HandlerPortTest, AllOpenModesArrive) {
  const auto port = state.Mount(GetParam());
  for (const std::int32_t mode : {MODE_READWRITE, MODE_OLDFILE, MODE_NEWFILE}) {
    port->Open(res2, things.f, nullptr, "x", mode);
    EXPECT_EQ(state.calls.back().arguments, Joined(&things.f, 0, "x", mode));
  }
}

TEST_P(HandlerPortTest, OpeningFillsThePortOfTheHandle) {
  const auto port = state.Mount(GetParam());
  port->Open(res2, things.f, nullptr, "x", MODE_OLDFILE);
  EXPECT_EQ(things.f.fh_MsgPort, port->port());
  port->OpenFromLock(res2, things.g, things.a());
  EXPECT_EQ(things.g.fh_MsgPort, port->port());
}

TEST_P(HandlerPortTest, OffIsZero) {
  const auto port = state.Mount(GetParam());
  port->Inhibit(res2, false);
  EXPECT_EQ(state.calls.back().arguments, Joined(0));
  port->WriteProtect(res2, false, 5);
  EXPECT_EQ(state.calls.back().arguments, Joined(0, 5));
}

TEST_P(HandlerPortTest, TheLongestNameArrivesWhole) {
  const auto port = state.Mount(GetParam());
  const std::string name = std::string(254, 'x') + "\xE9";
  state.result = Number(things.given());
  EXPECT_EQ(port->Lock(res2, nullptr, name.c_str(), SHARED_LOCK), things.given());
  EXPECT_EQ(state.calls.back().arguments, Joined(0, name.c_str(), -2));
  port->Rename(res2, nullptr, name.c_str(), nullptr, name.c_str());
  EXPECT_EQ(state.calls.back().arguments, Joined(0, name.c_str(), 0, name.c_str()));
}

TEST_P(HandlerPortTest, TheEmptyNameArrives) {
  const auto port = state.Mount(GetParam());
  port->Delete(res2, things.a(), "");
  EXPECT_EQ(state.calls.back().arguments, Joined(things.a(), ""));
}

TEST_P(HandlerPortTest, ItsOwnPartsAreTold) {
  const auto port = state.Mount(GetParam());
  EXPECT_EQ(port->type(), GetParam());
  EXPECT_EQ(port->device_name(), "REC");
  EXPECT_EQ(port->volume_name(), std::nullopt);
}

TEST_P(HandlerPortTest, ARawPacketIsAnsweredByTheFunctionItStandsFor) {
  const auto port = state.Mount(GetParam());
  const PacketText name("dir");
  ::DosPacket packet{};
  packet.dp_Type = ACTION_CREATE_DIR;
  packet.dp_Arg1 = Number(things.a());
  packet.dp_Arg2 = name.address();
  packet.dp_Arg5 = name.address();
  state.result = Number(things.given());
  port->Send(packet);
  EXPECT_EQ(state.calls,
            (std::vector<RecordingHandler::Called>{{"FSCreateDir", Joined(things.a(), "dir")}}));
  EXPECT_EQ(packet.dp_Res1, Number(things.given()));
  EXPECT_EQ(packet.dp_Res2, 0);
  EXPECT_EQ(things.given()->fl_Port, port->port());
}

TEST_P(HandlerPortTest, AnUnknownRawPacketGoesToThePacketFunction) {
  const auto port = state.Mount(GetParam());
  ::DosPacket packet{};
  packet.dp_Type = 2050;
  packet.dp_Arg1 = 3;
  state.packet_res1 = 5;
  state.packet_res2 = 6;
  port->Send(packet);
  EXPECT_EQ(state.packets, std::vector<std::string>{Joined(2050, 3, 0, 0, 0, 0, 0, 0)});
  EXPECT_EQ(packet.dp_Res1, 5);
  EXPECT_EQ(packet.dp_Res2, 6);
}

TEST_P(HandlerPortTest, AnUnknownRawPacketIsNotKnownWithoutAPacketFunction) {
  state.handler.Packet = nullptr;
  const auto port = state.Mount(GetParam());
  ::DosPacket packet{};
  packet.dp_Type = 2050;
  packet.dp_Res1 = 1;
  packet.dp_Res64 = 1;
  port->Send(packet);
  EXPECT_EQ(packet.dp_Res1, 0);
  EXPECT_EQ(packet.dp_Res64, 0);
  EXPECT_EQ(packet.dp_Res2, ERROR_ACTION_NOT_KNOWN);
}

// A packet function that ends where an older handler's struct ends is not looked at.
TEST_P(HandlerPortTest, AnOlderHandlerHasNoPacketFunction) {
  state.handler.StructSize = offsetof(::Handler, Packet);
  const auto port = state.Mount(GetParam());
  ::DosPacket packet{};
  packet.dp_Type = 2050;
  port->Send(packet);
  EXPECT_TRUE(state.packets.empty());
  EXPECT_EQ(packet.dp_Res2, ERROR_ACTION_NOT_KNOWN);
}

TEST_P(HandlerPortTest, AfterTheUnmountItIsADeviceWithoutAFilesystem) {
  const auto port = state.Mount(GetParam());
  port->Unmount();
  EXPECT_EQ(port->type(), PortType::kNone);
  EXPECT_EQ(port->Record().node_type, NT_MSGPORT);
  EXPECT_FALSE(port->IsFileSystem());
  EXPECT_EQ(port->device_name(), "REC");
  EXPECT_TRUE(port->Unmount().empty());
}

INSTANTIATE_TEST_SUITE_P(BothPorts, HandlerPortTest,
                         testing::Values(PortType::kVector, PortType::kPacket),
                         [](const auto& each) {
                           return each.param == PortType::kVector ? "Vector" : "Packet";
                         });

// ---- Answers that are none -----------------------------------------------------------------------

class NoAnswerTest : public testing::TestWithParam<PortType> {
 protected:
  /// Over functions, or over a packet function alone.
  void Mount(bool functions) {
    port.reset();
    watch.emplace([this](const std::string& line) { lines.push_back(line); });
    watch->BeginTest(7, "Some()");
    watch->BeginCheck("Check");
    port = state.Mount(GetParam(), &*watch);
    if (!functions) RecordingHandler::ClearTable(*port);
    lines.clear();
  }
  void Answer(std::int64_t result) {
    state.result = result;
    state.packet_res1 = static_cast<std::intptr_t>(result);
  }
  void ExpectLine(const std::string& what, const char* call) {
    EXPECT_EQ(lines, std::vector<std::string>{"handler of REC: " + what + " in " + call +
                                              ", test 7 (Some.Check)"});
  }

  RecordingHandler state;
  Things things{state};
  std::vector<std::string> lines;
  std::optional<RunWatch> watch;
  std::unique_ptr<HandlerPort> port;
  std::int32_t res2 = 0;
};

TEST_P(NoAnswerTest, ACountAboveWhatWasAskedForIsNone) {
  for (const bool functions : {true, false}) {
    for (const std::int64_t count : {17, 600, 0x7FFFFFFF}) {
      Mount(functions);
      Answer(count);
      const std::string what = "gave a count of " + std::to_string(count) + " for 16 bytes";
      EXPECT_EQ(port->Read(res2, things.f, things.buffer, 16), -1);
      EXPECT_EQ(res2, ERROR_BAD_NUMBER);
      ExpectLine(what, functions ? "FSRead()" : "ACTION_READ");
      lines.clear();
      EXPECT_EQ(port->Write(res2, things.f, things.buffer, 16), -1);
      EXPECT_EQ(res2, ERROR_BAD_NUMBER);
      ExpectLine(what, functions ? "FSWrite()" : "ACTION_WRITE");
      lines.clear();
      EXPECT_EQ(port->ReadSoftLink(res2, nullptr, "x", things.buffer, 16), -1);
      EXPECT_EQ(res2, ERROR_BAD_NUMBER);
      ExpectLine(what, functions ? "FSReadSoftLink()" : "ACTION_READ_SOFT_LINK");
    }
  }
}

TEST_P(NoAnswerTest, ACountUpToWhatWasAskedForIsOne) {
  for (const std::int32_t count : {-1000, -2, -1, 0, 1, 16}) {
    Mount(true);
    Answer(count);
    EXPECT_EQ(port->Read(res2, things.f, things.buffer, 16), count);
    EXPECT_EQ(port->Write(res2, things.f, things.buffer, 16), count);
    EXPECT_EQ(port->ReadSoftLink(res2, nullptr, "x", things.buffer, 16), count);
    EXPECT_TRUE(lines.empty());
  }
}

TEST_P(NoAnswerTest, OfNothingThereIsNothingToRead) {
  for (const std::int32_t bytes : {0, -5}) {
    Mount(true);
    Answer(1);
    EXPECT_EQ(port->Read(res2, things.f, things.buffer, bytes), -1);
    EXPECT_EQ(lines.size(), 1U);
  }
}

TEST_P(NoAnswerTest, ALockFromElsewhereIsNone) {
  ::Lock own{};
  for (const bool functions : {true, false}) {
    for (const std::intptr_t lock : {Number(&own), std::intptr_t{8}}) {
      Mount(functions);
      Answer(lock);
      EXPECT_EQ(port->Lock(res2, nullptr, "x", SHARED_LOCK), nullptr);
      EXPECT_EQ(res2, ERROR_INVALID_LOCK);
      ExpectLine("gave a lock that is not from AllocDosObject()",
                 functions ? "FSLock()" : "ACTION_LOCATE_OBJECT");
      lines.clear();
      ::DosPacket packet{};
      packet.dp_Type = QUORLE_ACTION_PARENT;
      port->Send(packet);
      EXPECT_EQ(packet.dp_Res1, 0);
      EXPECT_EQ(packet.dp_Res2, ERROR_INVALID_LOCK);
      ExpectLine("gave a lock that is not from AllocDosObject()", "ACTION_PARENT");
    }
  }
}

TEST_P(NoAnswerTest, ALockThatTheHandlerFreedIsNotUsed) {
  Mount(true);
  const ::HandlerServices* const dos = state.dos;
  dos->FreeDosObject(dos, QUORLE_DOS_LOCK, things.a());
  EXPECT_EQ(port->DupLock(res2, things.a()), nullptr);
  EXPECT_EQ(res2, ERROR_INVALID_LOCK);
  EXPECT_TRUE(state.calls.empty());
  ExpectLine("was to use a lock that it has freed", "FSDupLock()");
}

TEST_P(NoAnswerTest, ARecordFromElsewhereIsNone) {
  ::ExamineData own{};
  for (const bool functions : {true, false}) {
    Mount(functions);
    Answer(Number(&own));
    EXPECT_EQ(port->ExamineLock(res2, nullptr), nullptr);
    EXPECT_EQ(res2, ERROR_BAD_NUMBER);
    ExpectLine("gave an examine record that is not from AllocDosObject()",
               functions ? "FSExamineLock()" : "ACTION_EXAMINEDATA");
  }
}

TEST_P(NoAnswerTest, TheSameLineIsReportedOnce) {
  Mount(true);
  Answer(17);
  for (int i = 0; i < 3; ++i) port->Read(res2, things.f, things.buffer, 16);
  EXPECT_EQ(lines.size(), 1U);
  watch->BeginCheck("Other");
  port->Read(res2, things.f, things.buffer, 16);
  EXPECT_EQ(lines.size(), 2U);
}

TEST_P(NoAnswerTest, TheLinesHaveAnEnd) {
  Mount(true);
  for (int count = 17; count < 1000; ++count) {
    Answer(count);
    EXPECT_EQ(port->Read(res2, things.f, things.buffer, 16), -1);
  }
  ASSERT_EQ(lines.size(), RunWatch::kMostCalls + 1);
  EXPECT_EQ(lines.back(), "handler of REC: no more of that is listed");
}

INSTANTIATE_TEST_SUITE_P(BothPorts, NoAnswerTest,
                         testing::Values(PortType::kVector, PortType::kPacket),
                         [](const auto& each) {
                           return each.param == PortType::kVector ? "Vector" : "Packet";
                         });

/// Fills the buffer of the version text and says that it answered.
std::int32_t FillVersion(::FileSystemVectorPort*, std::int32_t*, const ::TagItem* tags) {
  std::memset(PointedTo<char>(static_cast<std::intptr_t>(tags[0].ti_Data)), 'v', tags[1].ti_Data);
  return -1;
}

TEST_P(NoAnswerTest, AVersionTextWithoutAnEndIsNone) {
  Mount(true);
  RecordingHandler::TableOf(*port).FSFileSystemAttr = FillVersion;
  char text[16] = {};
  const ::TagItem tags[] = {{QUORLE_FSA_VersionStringR, reinterpret_cast<std::uintptr_t>(text)},
                            {QUORLE_FSA_VersionStringR_BufSize, sizeof text},
                            {QUORLE_TAG_DONE, 0}};
  EXPECT_FALSE(port->FileSystemAttr(res2, tags));
  EXPECT_EQ(res2, ERROR_BAD_NUMBER);
  EXPECT_STREQ(text, "");
  ExpectLine("gave a text without an end", "FSFileSystemAttr()");
}

class PacketPortTest : public HandlerPortTest {};

TEST_P(PacketPortTest, ALongNameIsRefusedBeforeAnythingIsSent) {
  const auto port = state.Mount(PortType::kPacket);
  const std::string text(256, 'x');
  const char* const name = text.c_str();
  const std::function<bool()> calls[] = {
      [&] { return port->Lock(res2, nullptr, name, SHARED_LOCK) != nullptr; },
      [&] { return port->CreateDir(res2, nullptr, name) != nullptr; },
      [&] { return port->Open(res2, things.f, nullptr, name, MODE_NEWFILE); },
      [&] { return port->Delete(res2, nullptr, name); },
      [&] { return port->SetDate(res2, nullptr, name, things.date); },
      [&] { return port->SetProtection(res2, nullptr, name, 0); },
      [&] { return port->SetComment(res2, nullptr, name, ""); },
      [&] { return port->SetGroup(res2, nullptr, name, 0); },
      [&] { return port->SetOwner(res2, nullptr, name, 0); },
      [&] { return port->Rename(res2, nullptr, name, nullptr, "x"); },
      [&] { return port->Rename(res2, nullptr, "x", nullptr, name); },
      [&] { return port->CreateSoftLink(res2, nullptr, name, "x"); },
      [&] { return port->CreateHardLink(res2, nullptr, name, things.a()); },
      [&] { return port->ExamineObj(res2, nullptr, name) != nullptr; },
      [&] { return port->Format(res2, name, 0); },
      [&] { return port->Relabel(res2, name); },
  };
  for (const auto& call : calls) {
    res2 = 0;
    EXPECT_FALSE(call());
    EXPECT_EQ(res2, ERROR_LINE_TOO_LONG);
  }
  EXPECT_TRUE(state.calls.empty());
  EXPECT_TRUE(state.packets.empty());
}

TEST_P(PacketPortTest, ALongCommentIsTooBig) {
  const auto port = state.Mount(PortType::kPacket);
  const std::string comment(256, 'x');
  EXPECT_FALSE(port->SetComment(res2, nullptr, "x", comment.c_str()));
  EXPECT_EQ(res2, ERROR_COMMENT_TOO_BIG);
  EXPECT_TRUE(state.calls.empty());
}

// The text of a soft link is not bounded by a length byte.
TEST_P(PacketPortTest, ALongLinkTargetArrivesWhole) {
  const auto port = state.Mount(PortType::kPacket);
  const std::string target(1000, 'x');
  port->CreateSoftLink(res2, nullptr, "link", target.c_str());
  EXPECT_EQ(state.calls.back().arguments, Joined(0, "link", target.c_str()));
}

TEST_P(PacketPortTest, ANumberThatIsNoOpenModeSendsNothing) {
  const auto port = state.Mount(PortType::kPacket);
  for (const std::int32_t mode : {0, 16, 1003, 1007}) {
    EXPECT_FALSE(port->Open(res2, things.f, nullptr, "x", mode));
    EXPECT_EQ(res2, ERROR_BAD_NUMBER);
  }
  EXPECT_TRUE(state.calls.empty());
  EXPECT_TRUE(state.packets.empty());
}

INSTANTIATE_TEST_SUITE_P(Packet, PacketPortTest, testing::Values(PortType::kPacket));

TEST(PortRecordTest, AVectorPortShowsItsTable) {
  RecordingHandler state;
  const auto port = state.Mount(PortType::kVector);
  EXPECT_EQ(port->port()->ln_Type, 28);
  EXPECT_EQ(port->Record().node_type, 28);
  EXPECT_EQ(port->Record().version, 53U);
  EXPECT_TRUE(port->Record().word78);
  RecordingHandler::TableOf(*port).FSCreateDir = nullptr;
  EXPECT_FALSE(port->Record().word78);
  RecordingHandler::TableOf(*port).Version = 0;
  EXPECT_EQ(port->Record().version, 0U);
}

TEST(PortRecordTest, APacketPortShowsNothingOfItsTable) {
  RecordingHandler state;
  const auto port = state.Mount(PortType::kPacket);
  EXPECT_EQ(port->port()->ln_Type, 4);
  EXPECT_EQ(port->Record().node_type, 4);
  EXPECT_EQ(port->Record().version, 0U);
  EXPECT_FALSE(port->Record().word78);
}

TEST(PortRecordTest, ADeviceWithoutAFilesystemIsAPacketPort) {
  HandlerPort port("NIL");
  EXPECT_EQ(port.Record().node_type, 4);
  EXPECT_EQ(port.Record().version, 0U);
  EXPECT_FALSE(port.Record().word78);
  EXPECT_EQ(port.device_name(), "NIL");
  EXPECT_EQ(port.volume_name(), std::nullopt);
}

TEST(IsFileSystemTest, AVectorPortIsOneUnasked) {
  RecordingHandler state;
  const auto port = state.Mount(PortType::kVector);
  EXPECT_TRUE(port->IsFileSystem());
  EXPECT_TRUE(state.calls.empty());
  EXPECT_TRUE(state.packets.empty());
}

TEST(IsFileSystemTest, APacketPortIsAsked) {
  RecordingHandler state;
  const auto port = state.Mount(PortType::kPacket);
  state.packet_res1 = -1;
  EXPECT_TRUE(port->IsFileSystem());
  EXPECT_EQ(state.packets, std::vector<std::string>{Joined(1027, 0, 0, 0, 0, 0, 0, 0)});
  state.packet_res1 = 0;
  EXPECT_FALSE(port->IsFileSystem());
  EXPECT_TRUE(state.calls.empty());
}

TEST(IsFileSystemTest, APacketPortThatDoesNotKnowHasItsRootLocked) {
  RecordingHandler state;
  Things things{state};
  const auto port = state.Mount(PortType::kPacket);
  state.packet_res2 = ERROR_ACTION_NOT_KNOWN;
  state.result = Number(things.given());
  EXPECT_TRUE(port->IsFileSystem());
  EXPECT_EQ(state.calls, (std::vector<RecordingHandler::Called>{
                             {"FSLock", Joined(0, "", -2)}, {"FSUnLock", Joined(things.given())}}));
  state.calls.clear();
  state.result = 0;
  EXPECT_FALSE(port->IsFileSystem());
  EXPECT_EQ(state.calls.size(), 1U);
}

TEST(IsFileSystemTest, ADeviceWithoutAFilesystemIsNone) {
  HandlerPort port("NIL");
  EXPECT_FALSE(port.IsFileSystem());
}

}  // namespace
}  // namespace quorle
