#pragma once

#include <cstdint>

namespace quorle {

/// How dos talks to a handler.
enum class PortType : std::uint8_t {
  kVector,   ///< by its table of functions, called in the caller's context
  kPacket,   ///< by packets alone
  kClassic,  ///< by packets alone, and none that is newer than classic handlers
  kNone,     ///< not at all: a device without a filesystem
};

}  // namespace quorle
