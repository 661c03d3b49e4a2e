#pragma once

#include <array>
#include <cstdint>

#include "hosted/isolation/remote_vectors.h"
#include "quorle/handler.h"

namespace quorle::isolation {

/// The arguments of a packet as ShapeOfPacket() has them: of the second and the fifth those that
/// count.
using PacketWords = std::array<std::int64_t, 5>;

PacketWords WordsOf(const ::DosPacket& packet);
/// The packet `action` with these arguments.
::DosPacket PacketOf(std::int32_t action, const std::int64_t* words);

/// The results of a packet that was answered.
Outcome OutcomeOf(const ::DosPacket& packet);
void SetOutcome(::DosPacket& packet, const Outcome& outcome);

}  // namespace quorle::isolation
