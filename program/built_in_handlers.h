#pragma once

#include <string>
#include <vector>

#include "hosted/dos/machine.h"
#include "hosted/dos/mount_spec.h"

namespace quorle {

/// The handlers that the program was built with.
std::vector<NamedHandler> BuiltInHandlers();

/// The layers that a mount can be covered with: "deviate", which makes a handler misbehave.
std::vector<NamedLayer> BuiltInLayers();

/// What --list-deviations prints: the names, what the filesystem then does, and who notices.
std::string DeviationList();

/// The devices that are always there: RAM: and ENV:, two volumes in memory.
std::vector<MountSpec> StandardMounts();

}  // namespace quorle
