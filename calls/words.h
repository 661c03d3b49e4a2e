#pragma once

#include <array>
#include <cstdint>
#include <type_traits>

#include "quorle/handler.h"

/// Arguments and results as 64-bit words, whatever their types.
namespace quorle::calls {

template <class Value>
std::int64_t ToWord(Value value) {
  if constexpr (std::is_pointer_v<Value>) {
    return reinterpret_cast<std::intptr_t>(value);
  } else {
    return static_cast<std::int64_t>(value);
  }
}

template <class Value>
Value FromWord(std::int64_t word) {
  if constexpr (std::is_pointer_v<Value>) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): words carry addresses
    return reinterpret_cast<Value>(static_cast<std::intptr_t>(word));
  } else {
    return static_cast<Value>(word);
  }
}

/// What came of a call. `result` is a number or an address; `res2` the error code.
struct Outcome {
  std::int64_t result = 0;
  std::int32_t res2 = 0;
};

/// Whether the results and some arguments of the packet `action` are 64 bits wide: the second and
/// the fifth argument and the result have fields of their own.
constexpr bool IsWidePacket(std::int32_t action) {
  return action >= 8000 && action <= 8999;
}

/// The six arguments of a packet: of the second and the fifth those that count.
using PacketWords = std::array<std::int64_t, 6>;

inline PacketWords WordsOf(const ::DosPacket& packet) {
  const bool wide = IsWidePacket(packet.dp_Type);
  return {packet.dp_Arg1, wide ? packet.dp_Arg2_64 : packet.dp_Arg2, packet.dp_Arg3,
          packet.dp_Arg4, wide ? packet.dp_Arg5_64 : packet.dp_Arg5, packet.dp_Arg6};
}

/// The packet `action` with the six `words` as its arguments.
inline ::DosPacket PacketOf(std::int32_t action, const std::int64_t* words) {
  ::DosPacket packet{};
  packet.dp_Type = action;
  packet.dp_Arg1 = static_cast<std::intptr_t>(words[0]);
  packet.dp_Arg3 = static_cast<std::intptr_t>(words[2]);
  packet.dp_Arg4 = static_cast<std::intptr_t>(words[3]);
  packet.dp_Arg6 = static_cast<std::intptr_t>(words[5]);
  if (IsWidePacket(action)) {
    packet.dp_Arg2_64 = words[1];
    packet.dp_Arg5_64 = words[4];
  } else {
    packet.dp_Arg2 = static_cast<std::intptr_t>(words[1]);
    packet.dp_Arg5 = static_cast<std::intptr_t>(words[4]);
  }
  return packet;
}

/// The results of a packet that was answered.
inline Outcome OutcomeOf(const ::DosPacket& packet) {
  return {IsWidePacket(packet.dp_Type) ? packet.dp_Res64 : packet.dp_Res1, packet.dp_Res2};
}

inline void SetOutcome(::DosPacket& packet, const Outcome& outcome) {
  packet.dp_Res2 = outcome.res2;
  if (IsWidePacket(packet.dp_Type)) {
    packet.dp_Res64 = outcome.result;
  } else {
    packet.dp_Res1 = static_cast<std::intptr_t>(outcome.result);
  }
}

}  // namespace quorle::calls
