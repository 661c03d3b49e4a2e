#include "hosted/connect/connection.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <thread>

#include "hosted/calls/handler_program.h"

namespace quorle::connect {
namespace {

using Json = nlohmann::json;

class ConnectionTest : public testing::Test {
 protected:
  ConnectionTest() {
    std::array<int, 2> sockets{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()), 0);
    connection.emplace(sockets[0]);
    other = sockets[1];
  }
  ~ConnectionTest() override { HangUp(); }

  void Write(std::string_view bytes) const {
    EXPECT_EQ(write(other, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  void HangUp() {
    if (other >= 0) close(other);
    other = -1;
  }
  /// How the program ends of what was written; "" when a message came.
  std::string Problem() {
    try {
      connection->Receive();
      return {};
    } catch (const ProgramEnd& end) {
      return end.how();
    } catch (const StreamEnd& end) {
      return end.within_message ? "torn" : "over";
    }
  }

  std::optional<Connection> connection;
  int other = -1;
};

TEST_F(ConnectionTest, WhatIsSentIsReceived) {
  std::array<int, 2> sockets{};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()), 0);
  Connection one(sockets[0]);
  Connection two(sockets[1]);
  const Json small = {{"type", "answer"}, {"result", -1}, {"list", {1, 2.5, nullptr, true}}};
  const Json large = {{"bytes", Json::binary(Json::binary_t::container_type(3'000'000, 0xC1))}};
  std::thread sender([&] {
    one.Send(small);
    one.Send(large);
  });
  EXPECT_EQ(two.Receive(), small);
  EXPECT_EQ(two.Receive(), large);
  sender.join();
}

TEST_F(ConnectionTest, TheEndOfTheStreamIsToldFromATornMessage) {
  HangUp();
  EXPECT_EQ(Problem(), "over");
  EXPECT_THROW(connection->Send({{"type", "hello"}}), StreamEnd);
}

TEST_F(ConnectionTest, ATornHeadIsATornMessage) {
  Write(std::string_view("\0\0\0", 3));
  HangUp();
  EXPECT_EQ(Problem(), "torn");
}

TEST_F(ConnectionTest, ATornBodyIsATornMessage) {
  Write(std::string_view("\0\1\0\0\x80\x80", 6));
  HangUp();
  EXPECT_EQ(Problem(), "torn");
}

TEST_F(ConnectionTest, TheLongestMessageIsReadAndOneByteMoreIsNot) {
  Write(std::string_view("\x01\x10\0\x01", 4));
  EXPECT_EQ(Problem(), "announced a message of 17825793 bytes, of at most 17825792");
  Write(std::string_view("\x01\x10\0\0", 4));
  HangUp();
  EXPECT_EQ(Problem(), "torn");
}

TEST_F(ConnectionTest, WhatIsNoMessageIsNamed) {
  Write(std::string_view("\0\0\0\1\xC1", 5));
  EXPECT_EQ(Problem(), "sent a message of 1 bytes that is no MessagePack");
  Write(std::string_view("\0\0\0\2\x80\x80", 6));
  EXPECT_EQ(Problem(), "sent a message of 2 bytes that is no MessagePack") << "something is left";
  Write(std::string_view("\0\0\0\1\x90", 5));
  EXPECT_EQ(Problem(), "sent a message of 1 bytes that is no map");
  Write(std::string_view("\0\0\0\3\x81\x01\x01", 7));
  EXPECT_EQ(Problem(), "sent a message of 3 bytes that is no MessagePack")
      << "a key that is no text";
  Write(std::string_view("\0\0\0\5\xDF\xFF\xFF\xFF\xFF", 9));
  EXPECT_EQ(Problem(), "sent a message of 5 bytes that is no MessagePack")
      << "a length that is none";
}

TEST_F(ConnectionTest, ValuesAndDepthAreBounded) {
  const auto message = [](std::size_t depth, std::size_t values) {
    std::string inner = "\xDC";
    inner += static_cast<char>(values >> 8);
    inner += static_cast<char>(values & 0xFF);
    inner += std::string(values, '\xC0');
    std::string body = "\x81\xA1x";
    for (std::size_t i = 2; i < depth; ++i) body += '\x91';
    body += inner;
    std::string head(4, '\0');
    head[2] = static_cast<char>(body.size() >> 8);
    head[3] = static_cast<char>(body.size() & 0xFF);
    return head + body;
  };
  Write(message(Connection::kMostDepth, 900));
  EXPECT_EQ(Problem(), "");
  Write(message(Connection::kMostDepth + 1, 1));
  EXPECT_EQ(Problem(), "sent a message of 14 bytes that holds too many values");
  Write(message(2, Connection::kMostValues + 1));
  EXPECT_EQ(Problem(), "sent a message of 1007 bytes that holds too many values");
}

}  // namespace
}  // namespace quorle::connect
