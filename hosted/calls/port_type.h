#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace quorle {

/// How dos talks to a handler.
enum class PortType : std::uint8_t {
  kVector,   ///< by its table of functions, called in the caller's context
  kPacket,   ///< by packets alone
  kClassic,  ///< by packets alone, and none that is newer than classic handlers
  kNone,     ///< not at all: a device without a filesystem
};

/// The kinds that a mount can ask for, by their names.
inline constexpr std::array<std::pair<std::string_view, PortType>, 3> kPortTypes = {
    {{"vector", PortType::kVector},
     {"packet", PortType::kPacket},
     {"classic", PortType::kClassic}}};

/// "vector", "packet" or "classic"; empty for kNone.
constexpr std::string_view NameOf(PortType type) {
  for (const auto& [name, named] : kPortTypes) {
    if (named == type) return name;
  }
  return {};
}

/// The kind called `name`; none when there is none.
constexpr std::optional<PortType> PortTypeOf(std::string_view name) {
  for (const auto& [named, type] : kPortTypes) {
    if (named == name) return type;
  }
  return std::nullopt;
}

}  // namespace quorle
