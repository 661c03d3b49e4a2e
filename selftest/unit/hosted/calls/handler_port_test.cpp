#include "hosted/calls/handler_port.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "hosted/calls/packet_adapter.h"
#include "platform/constants.h"
#include "selftest/unit/hosted/calls/things.h"

namespace quorle {
namespace {

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

TEST_P(HandlerPortTest, ReadSoftLinkReportsABufferThatIsTooSmall) {
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

TEST_P(HandlerPortTest, ReportsItsOwnParts) {
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
