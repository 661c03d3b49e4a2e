#include "program/sub_commands.h"

#include <algorithm>
#include <array>

#include "program/compare_command.h"
#include "program/completions_command.h"
#include "program/explain_command.h"
#include "program/explore_command.h"
#include "program/explore_options.h"
#include "program/import_command.h"
#include "program/matrix/matrix_command.h"
#include "program/replay_command.h"
#include "program/report_command.h"

namespace quorle {
namespace {

constexpr auto kSubCommands = std::to_array<SubCommand>({
    {"report", "Shows runs from their event files: as text, TAP, JUnit, Markdown or HTML.",
     RunReport, ReportSyntax},
    {"compare", "How the checks of two event files differ: OLD NEW.", RunCompare, CompareSyntax},
    {"import", "Makes an event stream of what a run on a real machine printed.", ImportCommand,
     ImportSyntax},
    {"explain", "What a check calls and expects, and where authors go wrong.", ExplainCommand,
     ExplainSyntax},
    {"explore", "Compares random calls on a device with those on a volume in memory.", RunExplore,
     ExploreSyntax},
    {"replay", "Makes the calls of a file on a device, and compares what comes of them.", RunReplay,
     ReplaySyntax},
    {"matrix", "Runs many cells: mounts, settings, catalogues and seeds that a file names.",
     RunMatrix, MatrixSyntax},
    {"completions", "Prints what a shell needs to complete command lines: bash or zsh.",
     PrintCompletions, CompletionsSyntax},
});

}  // namespace

std::span<const SubCommand> SubCommands() {
  return kSubCommands;
}

const SubCommand* FindSubCommand(std::span<const char* const> words) {
  if (words.empty()) return nullptr;
  const auto found =
      std::find_if(kSubCommands.begin(), kSubCommands.end(),
                   [&](const SubCommand& command) { return command.name == words.front(); });
  return found == kSubCommands.end() ? nullptr : &*found;
}

}  // namespace quorle
