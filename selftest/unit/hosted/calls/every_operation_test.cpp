#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "calls/vector_table.h"
#include "hosted/calls/handler_port.h"
#include "platform/constants.h"
#include "selftest/unit/hosted/calls/things.h"

namespace quorle {
namespace {

constexpr std::int64_t kWide = 0x123456789ABCDEF;
constexpr std::uint32_t kHighMask = 0xFFFFFF5A;
// The same in a word of a packet, which is as wide as a pointer.
constexpr auto kMaskWord = static_cast<std::intptr_t>(kHighMask);

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

  void ExpectNotKnown(HandlerPort& port, std::int32_t code = ERROR_ACTION_NOT_KNOWN) {
    EXPECT_EQ(Call(port), FailureOf(GetParam().gives));
    EXPECT_EQ(res2, code);
  }

  // What does not fit a classic packet is not sent: numbers of more than 31 bits, ids of more than 16.
  std::int32_t CodeOfTheClassicWay() const {
    const std::string_view function = GetParam().function;
    if (function == "FSSetGroup") return ERROR_BAD_NUMBER;
    const bool wide = function == "FSChangeFilePosition" || function == "FSChangeFileSize" ||
                      function == "FSLockRecord" || function == "FSUnLockRecord";
    return wide ? ERROR_OBJECT_TOO_LARGE : ERROR_ACTION_NOT_KNOWN;
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
  ExpectNotKnown(*port, CodeOfTheClassicWay());
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

TEST(VectorTableTest, IsExpectedHereRowForRow) {
  std::vector<std::string> expected;
  for (const Operation& operation : Operations()) expected.push_back(operation.function);
  std::vector<std::string> listed;
  calls::ForEachVector([&listed](const calls::VectorForm& vector) {
    const std::string name = vector.name;
    listed.push_back(name.substr(0, name.find('(')));
  });
  EXPECT_EQ(listed, expected);
}

}  // namespace
}  // namespace quorle
