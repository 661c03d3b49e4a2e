#pragma once

#include <cstdint>
#include <span>

#include "hosted/dos/console.h"
#include "program/option_list.h"

namespace quorle {

/// `quorle replay [options] FILE DEVICE`: makes the calls of a file on a device, in its root, and prints
/// what comes of them. See SubCommand::run; 10 when a call, the tree or the handler is not as it should be,
/// or the replay was interrupted. docs/explore.md describes the files.
std::int32_t RunReplay(std::span<const char* const> words, Console& console);

/// What may stand on its command line.
CommandSyntax ReplaySyntax();

}  // namespace quorle
