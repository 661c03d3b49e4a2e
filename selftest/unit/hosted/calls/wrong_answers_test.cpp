#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "hosted/calls/handler_port.h"
#include "hosted/calls/packet_adapter.h"
#include "platform/constants.h"
#include "selftest/unit/hosted/calls/things.h"

// Answers of a handler that are none.

namespace quorle {
namespace {

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

}  // namespace
}  // namespace quorle
