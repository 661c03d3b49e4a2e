#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "hosted/dos/console.h"
#include "program/option_list.h"

namespace quorle {

/// `quorle completions bash|zsh` (sub_commands.h): prints the script by which that shell completes the
/// command lines of this program. Its options and commands are those of the tables from which they are
/// parsed; the rest is a file of program/completions/.
std::int32_t PrintCompletions(std::span<const char* const> words, Console& console);

/// What may stand on its command line.
CommandSyntax CompletionsSyntax();

/// The files of program/completions/, which CMake puts into the program.
std::string_view BashCompletion();
std::string_view ZshCompletion();

}  // namespace quorle
