#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "explore/difference.h"
#include "hosted/calls/port_type.h"

namespace quorle::selftest {

/// What a replay of a file of calls came to.
struct ReplayVerdict {
  bool is_fine = true;             ///< all is as expected: `quorle replay` returns 0
  std::vector<std::string> wrong;  ///< what is not, and what the handler did wrong besides
};

/// Makes the calls of `text`, the content of `name`, on DH0:, mounted with `handler` on a port of that type.
ReplayVerdict ReplayText(const std::string& name, const std::string& text,
                         const std::string& handler, PortType port);

/// The file of calls that shows `difference`. `comments` are lines for its head.
std::string ReplayTextOf(const explore::Difference& difference, std::vector<std::string> comments);

/// The ports that each replay file is tried on.
inline constexpr PortType kReplayPorts[] = {PortType::kVector, PortType::kPacket};

}  // namespace quorle::selftest
