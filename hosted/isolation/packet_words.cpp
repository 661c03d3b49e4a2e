#include "hosted/isolation/packet_words.h"

#include "hosted/calls/packet_adapter.h"

namespace quorle::isolation {

PacketWords WordsOf(const ::DosPacket& packet) {
  const bool wide = IsWidePacket(packet.dp_Type);
  return {packet.dp_Arg1, wide ? packet.dp_Arg2_64 : packet.dp_Arg2, packet.dp_Arg3, packet.dp_Arg4,
          wide ? packet.dp_Arg5_64 : packet.dp_Arg5};
}

::DosPacket PacketOf(std::int32_t action, const std::int64_t* words) {
  ::DosPacket packet{};
  packet.dp_Type = action;
  packet.dp_Arg1 = static_cast<std::intptr_t>(words[0]);
  packet.dp_Arg3 = static_cast<std::intptr_t>(words[2]);
  packet.dp_Arg4 = static_cast<std::intptr_t>(words[3]);
  if (IsWidePacket(action)) {
    packet.dp_Arg2_64 = words[1];
    packet.dp_Arg5_64 = words[4];
  } else {
    packet.dp_Arg2 = static_cast<std::intptr_t>(words[1]);
    packet.dp_Arg5 = static_cast<std::intptr_t>(words[4]);
  }
  return packet;
}

Outcome OutcomeOf(const ::DosPacket& packet) {
  return {IsWidePacket(packet.dp_Type) ? packet.dp_Res64 : packet.dp_Res1, packet.dp_Res2};
}

void SetOutcome(::DosPacket& packet, const Outcome& outcome) {
  packet.dp_Res2 = outcome.res2;
  if (IsWidePacket(packet.dp_Type)) {
    packet.dp_Res64 = outcome.result;
  } else {
    packet.dp_Res1 = static_cast<std::intptr_t>(outcome.result);
  }
}

}  // namespace quorle::isolation
