#pragma once

#include <cstdint>
#include <span>

#include "hosted/dos/console.h"

namespace quorle {

/// `quorle explore [options] DEVICE`: makes random calls on a device and on a volume in memory, and prints
/// where they differ. See SubCommand::run. docs/explore.md describes it.
std::int32_t RunExplore(std::span<const char* const> words, Console& console);

}  // namespace quorle
