#pragma once

#include <cstdint>
#include <span>

#include "hosted/dos/console.h"
#include "program/option_list.h"

namespace quorle {

/// `quorle compare OLD NEW`: prints how the checks of the event file NEW differ from those of OLD.
/// Returns 10 when something got worse, 20 when a file cannot be read, else 0.
std::int32_t RunCompare(std::span<const char* const> words, Console& console);

/// What may stand on its command line.
CommandSyntax CompareSyntax();

}  // namespace quorle
