#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "calls/call_shape.h"
#include "hosted/connect/connection.h"
#include "hosted/connect/packet_codec.h"
#include "hosted/connect/socket_program.h"

// docs/connect.md is all that the author of a client in another language has: what it lists is what the
// program does.

namespace quorle::connect {
namespace {

using Json = nlohmann::json;

std::vector<std::string> PageLines() {
  std::ifstream file(QUORLE_CONNECT_PAGE);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

std::string ResultName(char letter) {
  switch (letter) {
    case 'L':
    case 'O':
      return "lock";
    case 'E':
      return "record";
    case '-':
      return "count";
    default:
      return "truth";
  }
}

/// The row of the page for `packet`, up to what it means.
std::string RowOf(const ::DosPacket& packet) {
  const calls::CallShape shape = calls::ShapeOfPacket(packet);
  std::string arguments;
  for (const char letter : std::string_view(shape.arguments)) {
    arguments += (arguments.empty() ? "" : ", ") + std::string(KindName(letter));
  }
  // Nothing at the end is left out.
  for (const std::string nothing = ", none"; arguments.ends_with(nothing);) {
    arguments.resize(arguments.size() - nothing.size());
  }
  return "| " + std::to_string(packet.dp_Type) + " | " + shape.name + " | " + arguments + " | " +
         ResultName(shape.result) + " |";
}

/// One for each packet that the program sends, two where it stands for two things.
std::set<std::string> Rows() {
  constexpr std::int32_t kMostAction = 10'000;
  std::set<std::string> rows;
  for (std::int32_t action = 0; action < kMostAction; ++action) {
    if (calls::NameOfPacket(action).starts_with("packet ")) continue;
    for (const std::intptr_t which : {-1, 0, 1}) {
      ::DosPacket packet{};
      packet.dp_Type = action;
      packet.dp_Arg1 = packet.dp_Arg4 = which;
      rows.insert(RowOf(packet));
    }
  }
  return rows;
}

TEST(ConnectPageTest, EachPacketHasItsRowAndNoOther) {
  const std::set<std::string> rows = Rows();
  EXPECT_GT(rows.size(), 50U);
  std::set<std::string> shown;
  for (const std::string& line : PageLines()) {
    const std::size_t name = line.find(" | ACTION_");
    if (!line.starts_with("| ") || name == std::string::npos) continue;
    std::size_t end = 0;
    for (int column = 0; column <= 4; ++column) end = line.find('|', end) + 1;
    shown.insert(line.substr(0, end));
  }
  for (const std::string& row : rows) EXPECT_EQ(shown.count(row), 1U) << "is missing: " << row;
  for (const std::string& row : shown) EXPECT_EQ(rows.count(row), 1U) << "is not sent: " << row;
}

TEST(ConnectPageTest, TheLimitsAreOnThePage) {
  std::string page;
  for (const std::string& line : PageLines()) page += line + "\n";
  for (const std::size_t limit :
       {Connection::kMostBytes, Connection::kMostValues, Connection::kMostDepth,
        static_cast<std::size_t>(SocketProgram::kMostBeforeAnswer)}) {
    EXPECT_NE(page.find(" " + std::to_string(limit) + " "), std::string::npos) << limit;
  }
}

/// What a Connection writes for `message`, in hexadecimal digits, sixteen bytes a line.
std::vector<std::string> DumpOf(const Json& message) {
  std::array<int, 2> sockets{};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()), 0);
  {
    Connection connection(sockets[0]);
    connection.Send(message);
  }
  std::vector<std::string> lines;
  std::array<unsigned char, 16> bytes{};
  for (ssize_t count = 0; (count = read(sockets[1], bytes.data(), bytes.size())) > 0;) {
    std::string line = "   ";
    for (ssize_t i = 0; i < count; ++i) {
      std::array<char, 4> text{};
      std::snprintf(text.data(), text.size(), " %02x", bytes[static_cast<std::size_t>(i)]);
      line += text.data();
    }
    lines.push_back(line);
  }
  close(sockets[1]);
  return lines;
}

TEST(ConnectPageTest, TheFirstExchangeIsOnThePageByteByByte) {
  const std::vector<std::string> page = PageLines();
  const Json root = {
      {"type", "packet"},
      {"id", 3},
      {"action", 8},
      {"name", "ACTION_LOCATE_OBJECT"},
      {"arguments",
       Json::array({{"lock", 0}, {"text", ""}, {"number", -2}, {"none", nullptr}, {"again", 2}})}};
  for (const Json& message :
       {Json{{"type", "hello"}, {"id", 1}, {"protocol", kProtocolVersion}, {"tester", "quorle"}},
        Json{{"type", "hello"}, {"id", 1}, {"protocol", 1}, {"handler", "myfs 1.0"}}, root,
        Json{{"type", "answer"}, {"id", 3}, {"result", 1}, {"code", 0}}}) {
    const std::vector<std::string> dump = DumpOf(message);
    EXPECT_NE(std::search(page.begin(), page.end(), dump.begin(), dump.end()), page.end())
        << message << "\n"
        << [&] {
             std::string text;
             for (const std::string& line : dump) text += line + "\n";
             return text;
           }();
  }
}

}  // namespace
}  // namespace quorle::connect
