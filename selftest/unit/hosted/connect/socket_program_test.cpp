#include "hosted/connect/socket_program.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "hosted/calls/handler_program.h"
#include "hosted/calls/handler_services.h"
#include "hosted/connect/connection.h"
#include "selftest/support/test_clock.h"

namespace quorle::connect {
namespace {

using Json = nlohmann::json;

/// A far end that has sent everything before it is asked, and keeps what it is asked.
class ScriptedFarEnd final : public FarEnd {
 public:
  ScriptedFarEnd(std::vector<Json> script, std::vector<Json>& asked)
      : script_(std::move(script)), asked_(asked) {}

  int Open(std::string&) override {
    std::array<int, 2> sockets{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()), 0);
    theirs_ = std::make_unique<Connection>(sockets[1]);
    for (const Json& message : script_) theirs_->Send(message);
    shutdown(sockets[1], SHUT_WR);
    return sockets[0];
  }
  std::optional<std::string> Finish() override {
    try {
      while (true) asked_.push_back(theirs_->Receive());
    } catch (const StreamEnd&) {
      return std::nullopt;
    }
  }
  std::optional<std::string> HowItEnded() override { return "exited with status 7"; }

 private:
  std::vector<Json> script_;
  std::vector<Json>& asked_;
  std::unique_ptr<Connection> theirs_;
};

class SocketProgramTest : public testing::Test {
 protected:
  ~SocketProgramTest() override { services.FreeEverything(); }

  /// Mounts a far end that sends `script` after what it takes to be mounted.
  void Mount(std::vector<Json> script) {
    std::vector<Json> whole = {{{"type", "hello"}, {"id", 1}, {"protocol", 1}, {"handler", "h"}},
                               {{"type", "mounted"}, {"id", 2}, {"volume", "Work"}}};
    whole.insert(whole.end(), script.begin(), script.end());
    program = std::make_unique<SocketProgram>(std::make_unique<ScriptedFarEnd>(whole, asked));
    mount.DeviceName = "DH0";
    mount.Dos = &services.table();
    mount.Keys = keys.data();
    mount.KeyCount = static_cast<std::uint32_t>(keys.size());
    std::string problem;
    port = program->Mount(mount, services, problem);
    ASSERT_NE(port, nullptr) << problem;
  }
  /// The packet with its answer.
  ::DosPacket Ask(std::int32_t action, const void* argument = nullptr) {
    ::DosPacket packet{};
    packet.dp_Type = action;
    packet.dp_Arg1 = reinterpret_cast<std::intptr_t>(argument);
    EXPECT_TRUE(program->Packet(*port, packet));
    return packet;
  }
  /// How the far end ended instead of an answer; "" when it answered.
  std::string EndOf(std::int32_t action, const void* argument = nullptr) {
    try {
      Ask(action, argument);
      return {};
    } catch (const ProgramEnd& end) {
      return end.how();
    }
  }

  selftest::TestClock clock;
  std::vector<std::string> named;
  std::vector<std::string> reported;
  HostServices services{clock,
                        [this](const ::MsgPort&, const std::string& name) {
                          named.push_back(name);
                          return name != "Taken";
                        },
                        [this](const std::string& line) { reported.push_back(line); }};
  std::vector<::MountKey> keys = {{"volume", "Work"}, {"colour", "r\xF6t"}};
  ::HandlerMount mount{};
  std::vector<Json> asked;
  std::unique_ptr<SocketProgram> program;
  ::FileSystemVectorPort* port = nullptr;
};

TEST_F(SocketProgramTest, AWholeLifeIsAskedInOrder) {
  Mount({{{"type", "answer"}, {"id", 3}, {"result", true}}, {{"type", "unmounted"}, {"id", 4}}});
  EXPECT_EQ(services.volume_name(), "Work");
  EXPECT_EQ(Ask(QUORLE_ACTION_FLUSH).dp_Res1, -1);
  program->Unmount(*port);
  ASSERT_EQ(asked.size(), 4U);
  EXPECT_EQ(asked[0], Json({{"type", "hello"}, {"id", 1}, {"protocol", 1}, {"tester", "quorle"}}));
  EXPECT_EQ(asked[1], Json({{"type", "mount"},
                            {"id", 2},
                            {"device", "DH0"},
                            {"keys", {{"volume", "Work"}, {"colour", "r\u00f6t"}}}}));
  EXPECT_EQ(asked[2]["name"], "ACTION_FLUSH");
  EXPECT_EQ(asked[2]["action"], 27);
  EXPECT_EQ(asked[2]["id"], 3);
  EXPECT_EQ(asked[3], Json({{"type", "unmount"}, {"id", 4}}));
  EXPECT_TRUE(services.complaints().empty());
}

TEST_F(SocketProgramTest, LinesAndVolumesComeBeforeTheAnswer) {
  Mount({{{"type", "log"}, {"line", "two\nlines \u00e4"}},
         {{"type", "volume"}, {"name", "New"}},
         {{"type", "volume"}, {"name", "Taken"}},
         {{"type", "answer"}, {"id", 3}, {"result", -1}},
         {{"type", "volume"}, {"name", nullptr}},
         {{"type", "answer"}, {"id", 4}, {"result", -1}},
         {{"type", "unmounted"}, {"id", 5}}});
  Ask(QUORLE_ACTION_FLUSH);
  EXPECT_EQ(reported, std::vector<std::string>{"two lines \xE4"});
  EXPECT_EQ(services.volume_name(), "New");
  Ask(QUORLE_ACTION_FLUSH);
  EXPECT_FALSE(services.volume_name());
  EXPECT_EQ(named, (std::vector<std::string>{"Work", "New", "Taken"}));
  program->Unmount(*port);
  ASSERT_EQ(asked.size(), 8U);
  EXPECT_EQ(asked[3], Json({{"type", "volume"}, {"set", true}}));
  EXPECT_EQ(asked[4], Json({{"type", "volume"}, {"set", false}}));
  EXPECT_EQ(asked[6], Json({{"type", "volume"}, {"set", true}}));
}

TEST_F(SocketProgramTest, ARequestIsNotifiedAsLongAsItLasts) {
  std::vector<const ::NotifyRequest*> notified;
  services.SetNotifyListener(
      [&notified](::NotifyRequest& request) { notified.push_back(&request); });
  ::NotifyRequest refused{};
  ::NotifyRequest request{};
  request.nr_FullName = "DH0:f";
  request.nr_Flags = NRF_SEND_SIGNAL;
  services.BeginRequest(request);
  Mount({{{"type", "answer"}, {"id", 3}, {"result", 0}, {"code", 209}},
         {{"type", "answer"}, {"id", 4}, {"result", -1}},
         {{"type", "notify"}, {"request", 2}},
         {{"type", "notify"}, {"request", 2}},
         {{"type", "answer"}, {"id", 5}, {"result", -1}},
         {{"type", "answer"}, {"id", 6}, {"result", 0}},
         {{"type", "notify"}, {"request", 2}}});
  EXPECT_EQ(Ask(QUORLE_ACTION_ADD_NOTIFY, &refused).dp_Res2, 209);
  EXPECT_EQ(Ask(QUORLE_ACTION_ADD_NOTIFY, &request).dp_Res1, -1);
  Ask(QUORLE_ACTION_FLUSH);
  EXPECT_EQ(notified, (std::vector<const ::NotifyRequest*>{&request, &request}));
  EXPECT_EQ(Ask(QUORLE_ACTION_REMOVE_NOTIFY, &request).dp_Res1, 0);
  EXPECT_EQ(EndOf(QUORLE_ACTION_FLUSH), "sent a notification for request 2, which nobody made");
}

TEST_F(SocketProgramTest, TheEndOfTheStreamIsTheEndOfTheFarEnd) {
  Mount({});
  EXPECT_EQ(EndOf(QUORLE_ACTION_FLUSH), "exited with status 7");
}

TEST_F(SocketProgramTest, AnswersInAnotherOrderAreNone) {
  Mount({{{"type", "answer"}, {"id", 4}, {"result", -1}}});
  EXPECT_EQ(EndOf(QUORLE_ACTION_FLUSH), "answered request 4, where 3 was asked");
}

}  // namespace
}  // namespace quorle::connect
