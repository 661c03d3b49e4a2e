#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "hosted/dos/console.h"
#include "program/option_list.h"

namespace quorle {

/// What the program does besides a run, chosen by the first word of the command line:
/// `quorle report ...`.
struct SubCommand {
  std::string_view name;  ///< the word
  const char* about;      ///< one line, as --help lists it
  /// Gets the words behind the name; prints on the console. Returns the exit status: 0, 10 when what
  /// was looked at is not as it should be, 20 when it could not be done, which one line on standard
  /// error explains.
  std::int32_t (*run)(std::span<const char* const> words, Console& console);
  CommandSyntax (*syntax)();  ///< of the words behind the name
};

/// All of them, in the order of --help.
std::span<const SubCommand> SubCommands();

/// The sub-command that the words of a command line begin with, or null: the words are then a run's.
const SubCommand* FindSubCommand(std::span<const char* const> words);

}  // namespace quorle
