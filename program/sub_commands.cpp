#include "program/sub_commands.h"

#include <algorithm>
#include <array>

#include "program/explain_command.h"
#include "program/import_command.h"

namespace quorle {
namespace {

constexpr std::array<SubCommand, 2> kSubCommands = {{
    {"explain", "what a check calls and expects, and where authors go wrong", ExplainCommand},
    {"import", "makes an event stream of what a run on a real machine printed", ImportCommand},
}};

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
