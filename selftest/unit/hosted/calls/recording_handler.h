#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "hosted/calls/clock.h"
#include "hosted/calls/handler_port.h"
#include "hosted/calls/handler_services.h"
#include "hosted/calls/mount.h"
#include "quorle/handler.h"

namespace quorle {

/// One argument as text: names as they are, pointers and numbers as numbers, dates and tags by what
/// they hold.
std::string Shown(const char* text);
std::string Shown(const ::DateStamp* date);
std::string Shown(const ::TagItem* tags);
template <class Number>
std::string Shown(Number number) requires std::is_integral_v<Number> || std::is_enum_v<Number> {
  return std::to_string(static_cast<long long>(number));
}
template <class Object>
std::string Shown(Object* object) {
  return Shown(reinterpret_cast<std::intptr_t>(object));
}

/// All arguments of one call, in order.
template <class... Arguments>
std::string Joined(Arguments... arguments) {
  std::string result;
  ((result += (result.empty() ? "" : "|") + Shown(arguments)), ...);
  return result;
}

/// A packet: its number, dp_Arg1 to dp_Arg5, dp_Arg2_64 and dp_Arg5_64. `shape` has a character for
/// each of the five words: '#' a number, 't' a length-prefixed text, 'c' a plain text, 'd' a date,
/// 'g' tags.
std::string ShownPacket(const ::DosPacket& packet, const char* shape);

/// A clock that stands still.
class FixedClock final : public Clock {
 public:
  quorle::DateStamp Now() override { return now; }
  void Sleep(std::uint32_t) override {}
  quorle::DateStamp now{17000, 601, 2999};
};

/// A handler that does nothing but remember its calls and answer with what is set below.
/// Not like a handler: its state is attached after the mount, and it mounts without any key.
class RecordingHandler {
 public:
  struct Called {
    std::string function;   ///< "FSLock" ...
    std::string arguments;  ///< Joined() without the port and res2
    bool operator==(const Called&) const = default;
  };

  /// Fills `handler` with a Mount() whose table has every function.
  RecordingHandler();

  /// Mounts it. Never null: a failure fails the test.
  std::unique_ptr<HandlerPort> Mount(PortType type, RunWatch* watch = nullptr);
  /// The table of a port that Mount() gave.
  static ::FileSystemVectors& TableOf(const HandlerPort& port);
  /// What the handler of a port that Mount() gave was given.
  static const ::HandlerServices* DosOf(const HandlerPort& port);
  /// Takes every function out of the table of `port`.
  static void ClearTable(const HandlerPort& port);
  /// An Unmount() of a handler that gives nothing back.
  static void Forget(::FileSystemVectorPort* port);
  /// A complete table; without a state to record into until one is attached as FSPrivate.
  static ::FileSystemVectors FullTable();

  // What is answered.
  std::int64_t result = 0;  ///< cut to the function's type, or a pointer
  std::int32_t res2 = 0;    ///< written by every function
  std::intptr_t packet_res1 = 0;
  std::int64_t packet_res64 = 0;
  std::int32_t packet_res2 = 0;
  const char* packet_shape = "#####";

  // What was seen.
  std::vector<Called> calls;
  std::vector<std::string> packets;  ///< ShownPacket() of what the packet function got
  bool res2_was_zero = true;

  // What the handler has from AllocDosObject() as long as the port of the last Mount() is mounted.
  ::Lock* locks[3] = {};
  ::ExamineData* record = nullptr;
  const ::HandlerServices* dos = nullptr;

  ::Handler handler{};
  FixedClock clock;
};

}  // namespace quorle
