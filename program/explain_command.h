#pragma once

#include <cstdint>
#include <span>

#include "hosted/dos/console.h"
#include "program/option_list.h"

namespace quorle {

/// `quorle explain ID`: prints what docs/tests.md says of a check, of a group, or of all checks that a
/// glob fits. See SubCommand::run.
std::int32_t ExplainCommand(std::span<const char* const> words, Console& console);

/// What may stand on its command line.
CommandSyntax ExplainSyntax();

}  // namespace quorle
