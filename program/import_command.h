#pragma once

#include <cstdint>
#include <span>

#include "hosted/dos/console.h"
#include "program/option_list.h"

namespace quorle {

/// `quorle import LOG [-o FILE]`: makes an event stream of what a run printed. See SubCommand::run.
std::int32_t ImportCommand(std::span<const char* const> words, Console& console);

/// What may stand on its command line.
CommandSyntax ImportSyntax();

}  // namespace quorle
