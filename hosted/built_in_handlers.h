#pragma once

#include <vector>

#include "hosted/machine.h"
#include "hosted/mount.h"

namespace quorle {

/// The handlers that the program was built with.
std::vector<NamedHandler> BuiltInHandlers();

/// The devices that are always there: RAM: and ENV:, two volumes in memory.
std::vector<MountSpec> StandardMounts();

}  // namespace quorle
