#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "calls/call_shape.h"
#include "hosted/calls/handler_services.h"
#include "hosted/calls/packet_adapter.h"
#include "hosted/connect/far_end.h"
#include "hosted/connect/socket_program.h"
#include "selftest/support/test_clock.h"

// What comes from the other end of a socket: the first byte of the input says which packets are asked,
// the second whether the rest are the bytes of the stream as they are, messages with a byte 0x1E between
// them, or choices by which good answers are made wrong, value by value. Whatever it is, the packets are
// answered or the program ends with a reason.

namespace quorle {
namespace {

using Json = nlohmann::json;

void Require(bool condition) {
  if (!condition) std::abort();
}

std::string Framed(std::string_view body) {
  std::string frame;
  for (int shift = 24; shift >= 0; shift -= 8)
    frame += static_cast<char>(body.size() >> shift & 0xFFU);
  return frame.append(body);
}

std::string Message(const Json& message) {
  std::string body;
  Json::to_msgpack(message, nlohmann::detail::output_adapter<char>(body));
  return Framed(body);
}

/// Somebody who has written all that he ever will.
class Written final : public connect::FarEnd {
 public:
  explicit Written(std::string stream) : stream_(std::move(stream)) {}
  ~Written() override {
    if (theirs_ >= 0) close(theirs_);
  }

  int Open(std::string&) override {
    std::array<int, 2> sockets{};
    Require(socketpair(AF_UNIX, SOCK_STREAM, 0, sockets.data()) == 0);
    theirs_ = sockets[1];
    Require(send(theirs_, stream_.data(), stream_.size(), 0) ==
            static_cast<ssize_t>(stream_.size()));
    shutdown(theirs_, SHUT_WR);
    return sockets[0];
  }

 private:
  std::string stream_;
  int theirs_ = -1;
};

/// What the arguments of the packets lead to.
struct Things {
  ::Lock* lock = nullptr;
  ::FileHandle file{};
  ::FileHandle fresh{};
  std::array<char, 64> buffer{};
  ::DateStamp date{};
  ::InfoData info{};
  ::FileInfoBlock block{};
  std::uint32_t number = 0;
  std::array<char, 16> text{};
  std::array<::TagItem, 4> tags{};
  ::PRIVATE_ExamineDirContext scan{};
  PacketText name{"name"};
};

template <class Object>
std::intptr_t Word(Object* object) {
  return reinterpret_cast<std::intptr_t>(object);
}

/// The word of the argument that `letter` stands for.
std::intptr_t WordFor(char letter, Things& things) {
  switch (letter) {
    case 'L':
    case 'U':
      return Word(things.lock);
    case 'F':
    case 'X':
      return Word(&things.file);
    case 'N':
      return Word(&things.fresh);
    case 'C':
      return Word("string");
    case 'T':
    case '=':
      return things.name.address();
    case 'R':
    case 'W':
      return Word(things.buffer.data());
    case 'D':
      return Word(&things.date);
    case 'I':
      return Word(&things.info);
    case 'B':
      return Word(&things.block);
    case 'G':
      return Word(things.tags.data());
    case 'E':
      return Word(&things.scan);
    default:
      return 0;
  }
}

constexpr std::array<std::int32_t, 24> kActions = {QUORLE_ACTION_LOCATE_OBJECT,
                                                   QUORLE_ACTION_FREE_LOCK,
                                                   QUORLE_ACTION_PARENT,
                                                   QUORLE_ACTION_FINDINPUT,
                                                   QUORLE_ACTION_END,
                                                   QUORLE_ACTION_READ,
                                                   QUORLE_ACTION_WRITE,
                                                   QUORLE_ACTION_READ_SOFT_LINK,
                                                   QUORLE_ACTION_EXAMINEDATA,
                                                   QUORLE_ACTION_EXAMINEDATA_FH,
                                                   QUORLE_ACTION_EXAMINEDATA_DIR,
                                                   QUORLE_ACTION_EXAMINE_OBJECT,
                                                   QUORLE_ACTION_EXAMINE_NEXT,
                                                   QUORLE_ACTION_EXAMINE_FH,
                                                   QUORLE_ACTION_DISK_INFO,
                                                   QUORLE_ACTION_INFO,
                                                   QUORLE_ACTION_FILESYSTEM_ATTR,
                                                   QUORLE_ACTION_FH_FROM_LOCK,
                                                   QUORLE_ACTION_CHANGE_MODE,
                                                   QUORLE_ACTION_MAKE_LINK,
                                                   QUORLE_ACTION_GET_FILE_SIZE64,
                                                   QUORLE_ACTION_SEEK,
                                                   QUORLE_ACTION_RENAME_DISK,
                                                   4711};

::DosPacket PacketFor(std::int32_t action, Things& things) {
  ::DosPacket packet{};
  packet.dp_Type = action;
  const std::string_view letters = calls::ShapeOfPacket(packet).arguments;
  std::array<std::intptr_t, calls::kMostArguments> words{};
  for (std::size_t i = 0; i < letters.size(); ++i) words[i] = WordFor(letters[i], things);
  // The size of a buffer follows it.
  const std::size_t buffer = letters.find_first_of("RW");
  if (buffer != std::string_view::npos)
    words[buffer + 1] = static_cast<std::intptr_t>(things.buffer.size());
  packet.dp_Arg1 = words[0];
  packet.dp_Arg2 = words[1];
  packet.dp_Arg3 = words[2];
  packet.dp_Arg4 = words[3];
  packet.dp_Arg5 = words[4];
  packet.dp_Arg6 = words[5];
  return packet;
}

/// `rest` as the stream that follows the mount.
std::string Stream(std::string_view rest, bool framed) {
  if (!framed) return std::string(rest);
  std::string stream;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\x1E');  // no message of ours has it
    stream += Framed(rest.substr(0, end));
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  }
  return stream;
}

// ---- Good answers made wrong ---------------------------------------------------------------------

/// How many packets are asked after those that make a lock and a file.
constexpr std::size_t kAsked = 50;

/// The one that is asked as number `at`.
std::int32_t ActionAt(std::size_t first, std::size_t at) {
  return kActions[(first + at / 2) % kActions.size()];
}

/// Reads the input over and over.
class ByteChoices {
 public:
  explicit ByteChoices(std::string_view input) : input_(input) {}

  std::size_t Below(std::size_t bound) {
    // A short input does not lead to the same choice each time.
    const std::size_t round = at_ / (input_.size() + 1);
    const std::size_t byte =
        input_.empty() ? 0 : static_cast<unsigned char>(input_[at_ % input_.size()]);
    ++at_;
    return (byte + round * 7) % bound;
  }

 private:
  std::string_view input_;
  std::size_t at_ = 0;
};

Json Record() {
  return {{"name", "file"}, {"type", 1},       {"size", 5},   {"date", {1, 2, 3}},
          {"id", 7},        {"references", 1}, {"link", "l"}, {"protection", 0},
          {"owner", 1},     {"comment", "c"},  {"group", 2}};
}

/// An answer that has all that any packet asks for.
Json GoodAnswer(std::int32_t action, std::int64_t id) {
  ::DosPacket packet{};
  packet.dp_Type = action;
  const char letter = calls::ShapeOfPacket(packet).result;
  const bool gives_lock = letter == 'L' || letter == 'O';
  Json bytes = Json::binary(Json::binary_t::container_type{'a', 'b', 'c'});
  Json answer = {{"type", "answer"},
                 {"id", id},
                 {"code", 0},
                 {"mode", -2},
                 {"handle", id},
                 {"bytes", std::move(bytes)},
                 {"info", {{"blocks", 5}, {"dos_type", 0x444F5309}}},
                 {"block", {{"key", 5}, {"name", "file"}, {"date", {1, 2, 3}}, {"comment", "c"}}},
                 {"tags", {107, "1.0", nullptr}},
                 {"entry", Record()},
                 {"place", {1, 2}}};
  answer["result"] = gives_lock      ? Json(id)
                     : letter == 'E' ? Record()
                     : letter == '-' ? Json(3)
                                     : Json(-1);
  return answer;
}

Json AnyValue(ByteChoices& choices) {
  constexpr std::array<std::int64_t, 10> kNumbers = {
      0, 1, -1, 2, 255, 65536, 0x7FFFFFFF, -0x80000000LL, 0x7FFFFFFFFFFFFFFF, -0x7FFFFFFFFFFFFFFF};
  const std::size_t size = choices.Below(16) != 0 ? choices.Below(300) : choices.Below(4) * 20'000;
  switch (choices.Below(11)) {
    case 0:
      return nullptr;
    case 1:
      return choices.Below(2) == 0;
    case 2:
      return 0.5;
    case 3:
      return ~std::uint64_t{0} - choices.Below(2);
    case 4:
      return std::string(size, 't');
    case 5:
      return std::string(size, static_cast<char>(choices.Below(256)));
    case 6:
      return Json::binary(Json::binary_t::container_type(size, 0x80));
    case 7:
      return Json::binary(Json::binary_t::container_type(choices.Below(2) == 0 ? 36 : 260, 0xFF));
    case 8:
      return Json(choices.Below(2) == 0 ? std::size_t{3} : choices.Below(16) * 75,
                  kNumbers[choices.Below(10)]);
    case 9:
      return {{"name", "\xC3\xA4"}, {"bytes", AnyValue(choices)}};
    default:
      return kNumbers[choices.Below(10)];
  }
}

/// Changes one value in `message`, however deep.
void MakeWrong(Json& message, ByteChoices& choices) {
  Json* place = &message;
  do {
    auto member = place->begin();
    for (std::size_t left = choices.Below(place->size()); left > 0; --left) ++member;
    place = &*member;
  } while (place->is_structured() && !place->empty() && choices.Below(2) == 0);
  *place = AnyValue(choices);
}

/// The answers to all packets, of which some are wrong, and what else the far end may send.
std::string WrongAnswers(std::string_view input, std::size_t first) {
  ByteChoices choices(input);
  std::string stream;
  // The program hardly ever goes on behind the first.
  std::size_t wrong = 0;
  for (std::size_t i = 0; i < kAsked && wrong < 2; ++i) {
    constexpr std::int64_t kFirstId = 5;
    Json answer = GoodAnswer(ActionAt(first, i), kFirstId + static_cast<std::int64_t>(i));
    switch (choices.Below(20)) {
      case 0:
        stream += Message({{"type", "log"}, {"line", AnyValue(choices)}});
        break;
      case 1:
        stream += Message({{"type", "volume"}, {"name", AnyValue(choices)}});
        break;
      case 2:
      case 3: {
        const std::size_t at = choices.Below(answer.size());
        answer.erase(std::next(answer.begin(), static_cast<std::ptrdiff_t>(at)));
        ++wrong;
        break;
      }
      case 4:
      case 5:
      case 6:
      case 7:
      case 8:
      case 9:
      case 10:
        MakeWrong(answer, choices);
        ++wrong;
        break;
      default:
        break;
    }
    stream += Message(answer);
  }
  return stream;
}

void Ask(connect::SocketProgram& program, ::FileSystemVectorPort& port, HostServices& services,
         std::size_t first) {
  Things things;
  things.tags = {
      {{QUORLE_FSA_MaxFileNameLengthR, static_cast<std::uintptr_t>(Word(&things.number))},
       {QUORLE_FSA_VersionStringR, static_cast<std::uintptr_t>(Word(things.text.data()))},
       {QUORLE_FSA_VersionStringR_BufSize, things.text.size()},
       {QUORLE_TAG_DONE, 0}}};
  ::DosPacket locate = PacketFor(QUORLE_ACTION_LOCATE_OBJECT, things);
  program.Packet(port, locate);
  things.lock = PointedTo<::Lock>(locate.dp_Res1);
  things.scan.Directory = things.lock;
  ::DosPacket open = PacketFor(QUORLE_ACTION_FINDINPUT, things);
  open.dp_Arg1 = Word(&things.file);
  program.Packet(port, open);
  // One packet after the other, until that is over.
  for (std::size_t i = 0; i < kAsked; ++i) {
    if (things.lock != nullptr && !services.OwnsLock(things.lock)) things.lock = nullptr;
    ::DosPacket packet = PacketFor(ActionAt(first, i), things);
    program.Packet(port, packet);
  }
}

void Feed(std::string_view input) {
  const auto byte = [&input](std::size_t at) {
    return at < input.size() ? static_cast<unsigned char>(input[at]) : 0U;
  };
  static const std::string kStart =
      Message({{"type", "hello"}, {"id", 1}, {"protocol", 1}, {"handler", "fuzz"}}) +
      Message({{"type", "mounted"}, {"id", 2}, {"volume", "Fuzz"}}) +
      Message({{"type", "answer"}, {"id", 3}, {"result", 1}}) +
      Message({{"type", "answer"}, {"id", 4}, {"result", -1}, {"handle", 1}});
  std::string stream = kStart;
  const std::string_view rest = input.substr(input.size() < 2 ? input.size() : 2);
  stream += byte(1) % 4 > 1 ? WrongAnswers(rest, byte(0)) : Stream(rest, byte(1) % 4 == 1);
  // As much as a socket holds.
  if (stream.size() > 100'000) stream.resize(100'000);

  selftest::TestClock clock;
  HostServices services(clock, nullptr);
  connect::SocketProgram program(std::make_unique<Written>(std::move(stream)));
  ::HandlerMount mount{};
  mount.StructSize = sizeof mount;
  mount.DeviceName = "DH0";
  mount.Dos = &services.table();
  std::string problem;
  try {
    ::FileSystemVectorPort* const port = program.Mount(mount, services, problem);
    Require(port != nullptr);
    Ask(program, *port, services, byte(0));
  } catch (const ProgramEnd& end) {
    Require(!end.how().empty());
    for (const char c : end.how()) Require(c >= ' ' && c <= '~');
  }
  services.FreeEverything();
}

}  // namespace
}  // namespace quorle

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quorle::Feed(std::string_view(reinterpret_cast<const char*>(data), size));
  return 0;
}
