#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "explore/search.h"
#include "hosted/dos/console.h"
#include "program/host_options.h"
#include "program/option_list.h"

namespace quorle {

/// What `quorle explore` is asked for.
struct ExploreOptions {
  HostOptions host;  ///< with --remount, --after-run, --events and --expect
  explore::SearchSettings search;
  std::optional<std::string> out;       ///< a directory
  std::optional<std::string> traits;    ///< a file
  std::optional<std::string> coverage;  ///< a file
  std::optional<std::string> choices;   ///< a file; there is no search then
  std::string device;
  std::string machine_words;  ///< the options that make the machine, as a shell has them
};

/// Reads the words behind `quorle explore`. Returns the exit status when there is nothing to run: the help was
/// printed, or one line says what is wrong.
std::optional<std::int32_t> ReadExploreOptions(std::span<const char* const> words,
                                               ExploreOptions& options, Console& console);

/// What may stand on the command line of `quorle explore`.
CommandSyntax ExploreSyntax();

/// `word` as a shell takes it for one word.
std::string ShellWord(const std::string& word);

}  // namespace quorle
