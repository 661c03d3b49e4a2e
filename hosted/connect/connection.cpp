#include "hosted/connect/connection.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <nlohmann/json.hpp>

#include "hosted/calls/handler_program.h"

namespace quorle::connect {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kHead = 4;
/// How much of a message is made room for before it has come.
constexpr std::size_t kPiece = std::size_t{64} << 10;

/// Looks at a message without making anything of it: whether it is well formed, and small enough in
/// number and depth to be made.
class Survey final : public nlohmann::json_sax<Json> {
 public:
  bool null() override { return Count(); }
  bool boolean(bool) override { return Count(); }
  bool number_integer(number_integer_t) override { return Count(); }
  bool number_unsigned(number_unsigned_t) override { return Count(); }
  bool number_float(number_float_t, const string_t&) override { return Count(); }
  bool string(string_t&) override { return Count(); }
  bool binary(binary_t&) override { return Count(); }
  bool start_object(std::size_t) override { return Enter(); }
  bool key(string_t&) override { return Count(); }
  bool end_object() override { return Leave(); }
  bool start_array(std::size_t) override { return Enter(); }
  bool end_array() override { return Leave(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override {
    return false;
  }

  bool is_too_much() const { return is_too_much_; }

 private:
  bool Count() {
    is_too_much_ = is_too_much_ || ++values_ > Connection::kMostValues;
    return !is_too_much_;
  }
  bool Enter() {
    is_too_much_ = is_too_much_ || ++depth_ > Connection::kMostDepth;
    return Count();
  }
  bool Leave() {
    --depth_;
    return true;
  }

  std::size_t values_ = 0;
  std::size_t depth_ = 0;
  bool is_too_much_ = false;
};

[[noreturn]] void RefuseMessage(std::size_t bytes, const char* why) {
  throw ProgramEnd("sent a message of " + std::to_string(bytes) + " bytes that " + why);
}

}  // namespace

Connection::~Connection() {
  close(descriptor_);
}

void Connection::Send(const Json& message) {
  std::vector<std::uint8_t> bytes(kHead);
  Json::to_msgpack(message, bytes);
  const std::size_t length = bytes.size() - kHead;
  for (std::size_t i = 0; i < kHead; ++i) {
    bytes[i] = static_cast<std::uint8_t>(length >> (8 * (kHead - 1 - i)));
  }
  std::span<const std::uint8_t> left(bytes);
  while (!left.empty()) {
    const ssize_t count = send(descriptor_, left.data(), left.size(), MSG_NOSIGNAL);
    if (count >= 0) {
      left = left.subspan(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      throw StreamEnd{false};
    }
  }
}

Json Connection::Receive() {
  std::array<std::uint8_t, kHead> head{};
  const std::size_t begun = Read(head);
  if (begun != kHead) throw StreamEnd{begun != 0};
  std::size_t length = 0;
  for (const std::uint8_t byte : head) length = length << 8 | byte;
  if (length > kMostBytes) {
    throw ProgramEnd("announced a message of " + std::to_string(length) + " bytes, of at most " +
                     std::to_string(kMostBytes));
  }
  // Only what has come takes memory.
  std::vector<std::uint8_t> bytes;
  while (bytes.size() < length) {
    const std::size_t piece = std::min(kPiece, length - bytes.size());
    bytes.resize(bytes.size() + piece);
    if (Read(std::span(bytes).last(piece)) != piece) throw StreamEnd{true};
  }
  Survey survey;
  const bool is_whole = Json::sax_parse(bytes, &survey, Json::input_format_t::msgpack);
  if (survey.is_too_much()) RefuseMessage(length, "holds too many values");
  Json message = is_whole ? Json::from_msgpack(bytes, true, false) : Json(Json::value_t::discarded);
  if (message.is_discarded()) RefuseMessage(length, "is no MessagePack");
  if (!message.is_object()) RefuseMessage(length, "is no map");
  return message;
}

std::size_t Connection::Read(std::span<std::uint8_t> place) {
  std::size_t there = 0;
  while (there < place.size()) {
    const ssize_t count = recv(descriptor_, place.data() + there, place.size() - there, 0);
    if (count > 0) {
      there += static_cast<std::size_t>(count);
    } else if (count == 0 || errno != EINTR) {
      break;
    }
  }
  return there;
}

}  // namespace quorle::connect
