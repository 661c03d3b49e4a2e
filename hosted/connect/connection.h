#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string>
#include <vector>

namespace quorle::connect {

/// The stream has come to its end: nobody is there any more.
struct StreamEnd {
  bool within_message;  ///< of which a part was there
};

/// A stream of messages: each a MessagePack map behind its length, four bytes, the highest first.
class Connection {
 public:
  /// `descriptor` is from now on this one's.
  explicit Connection(int descriptor) : descriptor_(descriptor) {}
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// Throws StreamEnd when nobody is there.
  void Send(const nlohmann::json& message);
  /// The next message: a map with texts as keys, no more than kMostValues and kMostDepth say. Throws
  /// StreamEnd, or ProgramEnd for what is no message.
  nlohmann::json Receive();

  /// The longest message, without its length: what is read or written at once, and room for the rest.
  static constexpr std::size_t kMostBytes = (std::size_t{16} << 20) + (std::size_t{1} << 20);
  /// How many values a message holds at most, those in maps and lists among them.
  static constexpr std::size_t kMostValues = 1000;
  /// How many maps and lists are in each other at most.
  static constexpr std::size_t kMostDepth = 8;

 private:
  /// Fills `place`; returns how much of it came before the end of the stream.
  std::size_t Read(std::span<std::uint8_t> place);

  int descriptor_;
};

}  // namespace quorle::connect
