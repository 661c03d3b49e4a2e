#include "program/import_command.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/constants.h"
#include "results/event_json.h"
#include "results/log_import.h"
#include "results/whole_file.h"
#include "tests/catalogue.h"

namespace quorle {
namespace {

constexpr const char* kImportUsage = "quorle import CONSOLE-LOG [-o FILE]";
constexpr const char* kOutputHelp =
    "Writes the stream to a file, whole or not at all; to standard output unless given.";

struct ImportOptions {
  std::string log;
  std::optional<std::string> output;  ///< none: standard output
};

/// Nothing when the words are no command line of this command.
std::optional<ImportOptions> ReadOptions(std::span<const char* const> words) {
  std::optional<std::string> log;
  std::optional<std::string> output;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string word = words[i];
    if (word == "-o") {
      if (output || ++i == words.size()) return std::nullopt;
      output = words[i];
    } else if (log || word.starts_with('-')) {
      return std::nullopt;
    } else {
      log = word;
    }
  }
  if (!log) return std::nullopt;
  return ImportOptions{.log = *log, .output = output};
}

std::string HelpText() {
  return std::string(
             "Makes an event stream of what a run on a real machine printed. Exit status: 0 the "
             "stream is\nwritten, 20 it is not.\nUsage: ") +
         kImportUsage + "\n\nOptions:\n" + "  --help                      " + kHelpHelp + "\n" +
         "  -o FILE                     " + kOutputHelp + "\n";
}

}  // namespace

CommandSyntax ImportSyntax() {
  return {.options = {{.name = "-o", .type = "FILE", .help = kOutputHelp, .read = nullptr}},
          .operands = {"LOG"},
          .is_option_anywhere = true};
}

std::int32_t ImportCommand(std::span<const char* const> words, Console& console) {
  if (words.size() == 1 && std::string_view(words.front()) == kHelpOption) {
    console.Print(HelpText());
    return RETURN_OK;
  }
  const std::optional<ImportOptions> options = ReadOptions(words);
  if (!options) {
    console.Report(std::string("usage: ") + kImportUsage);
    return RETURN_FAIL;
  }
  std::string problem;
  std::vector<Event> events;
  if (!ImportLogFile(options->log, kStandardCatalogue, events, problem)) {
    console.Report(problem);
    return RETURN_FAIL;
  }
  std::string stream;
  for (const Event& event : events) stream += ToJsonLine(event);
  if (!options->output) {
    console.Print(stream);
  } else if (!WriteWholeFile(*options->output, stream, problem)) {
    console.Report(problem);
    return RETURN_FAIL;
  }
  return RETURN_OK;
}

}  // namespace quorle
