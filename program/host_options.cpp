#include "program/host_options.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

#include "program/catalogues.h"
#include "program/sub_commands.h"
#include "program/tester_line.h"

namespace quorle {
namespace {

constexpr const char* kAbout =
    "Runs the filesystem conformance tester on Linux, with handlers mounted as devices.";
constexpr const char* kUsage =
    "Usage: quorle [host options] DEVICE [NI] [NW] [NR] [AOE] [FTN n] [LTN n] [TN n]\n";
constexpr const char* kFooterStart =
    "What follows the host options is the tester's own command line; without a device it lists its "
    "tests.\nTests are selected by the numbers 1 to 46: TN 47 is refused, FTN 46 runs the last two.\n"
    "Always mounted: RAM:, ENV:, NIL:. Exit status: 0 all passed, 10 some failed, 20 not "
    "run.";

// ---- The options -------------------------------------------------------------------------------

/// What the tester asks for when it opens dos.library. With an older one it ends without a word, as
/// programs do that have no console yet.
constexpr std::uint16_t kOldestDosVersion = 50;
constexpr std::uint32_t kLongestLimit = 24 * 60 * 60;

// Each takes the value of one option into `options`, and returns why it cannot be, or nothing.

std::string ReadMount(const std::string& text, HostOptions& options) {
  MountSpec spec;
  std::string problem;
  if (ParseMountSpec(text, spec, problem)) options.mounts.push_back(std::move(spec));
  return problem;
}

std::string ReadTraceFile(const std::string& text, HostOptions& options) {
  options.trace_file = text;
  return {};
}

std::string ReadDosVersion(const std::string& text, HostOptions& options) {
  const std::string_view both = text;
  const std::size_t point = both.find('.');
  if (point == std::string_view::npos ||
      !ReadNumber(both.substr(0, point), options.exec.dos_version) ||
      !ReadNumber(both.substr(point + 1), options.exec.dos_revision)) {
    return "\"" + text + "\" is not a version and a revision, such as 53.113";
  }
  if (options.exec.dos_version >= kOldestDosVersion) return {};
  return text + " is too old, the tester opens no dos.library below version " +
         std::to_string(kOldestDosVersion);
}

std::string ReadLimit(const std::string& text, HostOptions& options) {
  std::uint32_t seconds = 0;
  if (!ReadNumber(std::string_view(text), seconds) || seconds == 0 || seconds > kLongestLimit) {
    return "\"" + text + "\" is not a number of seconds, 1 to " + std::to_string(kLongestLimit);
  }
  options.limit = std::chrono::seconds(seconds);
  return {};
}

std::string ReadRemount(const std::string& text, HostOptions& options) {
  options.remount.each = text == "each";
  if (options.remount.each) return {};
  return "\"" + text + "\" is not known; it is each";
}

template <std::optional<std::string> RemountOptions::*option>
std::string ReadCommand(const std::string& text, HostOptions& options) {
  if (text.empty()) return "it needs a command";
  options.remount.*option = text;
  return {};
}

template <std::optional<std::string> ResultOptions::*option>
std::string ReadResultText(const std::string& text, HostOptions& options) {
  if (text.empty()) return "it needs a name";
  options.results.*option = text;
  return {};
}

std::string ReadCatalogue(const std::string& text, HostOptions& options) {
  if (FindCatalogues(text).empty()) {
    return "\"" + text + "\" is not a catalogue; it is standard, further or all";
  }
  options.results.catalogue = text;
  return {};
}

std::string TakeAllowDestroy(const std::string&, HostOptions& options) {
  options.may_destroy = true;
  return {};
}

std::string ReadRepeat(const std::string& text, HostOptions& options) {
  constexpr std::int32_t kMost = 1'000'000;
  std::int32_t& repeat = options.results.repeat;
  if (ReadNumber(std::string_view(text), repeat) && repeat >= 1 && repeat <= kMost) return {};
  return "\"" + text + "\" is not a number of runs, 1 to " + std::to_string(kMost);
}

std::string TakeSummary(const std::string&, HostOptions& options) {
  options.results.summary = true;
  return {};
}

std::string TakeNoSummary(const std::string&, HostOptions& options) {
  options.results.summary = false;
  return {};
}

std::string TakeNoDelay(const std::string&, HostOptions& options) {
  options.dos.delays = false;
  return {};
}

std::string TakeWorkbench(const std::string&, HostOptions& options) {
  options.exec.workbench = true;
  return {};
}

/// One option of the host.
struct HostOption {
  const char* name;
  const char* type;  ///< of its value, as --help shows it; null: it takes none
  const char* help;
  /// Null: it asks for something else than a run.
  std::string (*read)(const std::string& text, HostOptions& options);
  bool is_repeatable = false;
  bool is_of_machine = false;  ///< sub-commands that have a machine take it, too
};

constexpr const char* kCatalogue = "--catalogue";
constexpr const char* kListChecks = "--list-checks";
constexpr const char* kListDeviations = "--list-deviations";
constexpr const char* kSummary = "--summary";
constexpr const char* kNoSummary = "--no-summary";
constexpr const char* kRepeat = "--repeat";
constexpr const char* kTrace = "--trace";

/// All of them, in the order of --help.
constexpr HostOption kOptions[] = {
    {"--mount", "SPEC",
     "Mounts one more device: NAME=HANDLER[,key=value...]. HANDLER is ram, dir:PATH, plugin:FILE, "
     "exec:COMMAND or connect:unix:PATH. Keys for every handler: "
     "port=vector, packet or classic, volume, dostype, version, state, deviate; of plugins, connect and exec isolate, limit, "
     "restart. Repeatable.",
     ReadMount, true, true},
    {kTrace, "FILE", "Writes every platform call to a file.", ReadTraceFile, false, true},
    {"--no-delay", nullptr, "Makes Delay() return at once.", TakeNoDelay},
    {"--dos-version", "V.R", "What dos.library reports itself as; 53.113 unless given.",
     ReadDosVersion},
    {"--limit", "SECONDS",
     "How long the handlers may take for one test group, and a command between groups, 1 to 86400; 60 unless given.",
     ReadLimit, false, true},
    {"--remount", "each",
     "Unmounts the device after each test group and mounts it again; the tree must be the same.",
     ReadRemount},
    {"--after-group", "CMD",
     "Runs a command of the shell while the device is unmounted after each group; $QUORLE_GROUP is "
     "the group, $QUORLE_DEVICE the device. A status other than 0 is a failure of the group.",
     ReadCommand<&RemountOptions::after_group>},
    {"--after-run", "CMD", "Runs one when the run is over and the device unmounted.",
     ReadCommand<&RemountOptions::after_run>},
    {kListDeviations, nullptr,
     "Lists the ways to misbehave that a mount's key deviate=NAME[+NAME...] knows.", nullptr},
    {"--workbench", nullptr, "Starts as from the desktop.", TakeWorkbench},
    {kCatalogue, "standard|further|all",
     "Which list of tests is run: standard, the default, further, or all, one after the other.",
     ReadCatalogue},
    {"--allow-destroy", nullptr,
     "Lets tests of the further catalogue format the volume, if it is empty.", TakeAllowDestroy},
    {"--select", "PATTERNS",
     "Runs these checks alone: ids such as Lock.MissingObject, groups, or globs of either, "
     "separated by commas.",
     ReadResultText<&ResultOptions::select>},
    {"--skip", "PATTERNS", "Leaves these checks out.", ReadResultText<&ResultOptions::skip>},
    {"--failed", "EVENTS", "Runs what was not as expected in the run that an event file is of.",
     ReadResultText<&ResultOptions::failed>},
    {kRepeat, "N", "Runs N times, and names the checks that do not come out the same each time.",
     ReadRepeat},
    {"--events", "FILE", "Writes what happens as JSON Lines; fd:N is a descriptor.",
     ReadResultText<&ResultOptions::events>},
    {"--expect", "FILE",
     "Compares the checks with what a TOML file expects of them; the exit status is 10 when they "
     "differ.",
     ReadResultText<&ResultOptions::expect>},
    {"--bless", "FILE", "Writes what came out into such a file, keeping what still holds.",
     ReadResultText<&ResultOptions::bless>},
    {kSummary, nullptr, "Ends with a summary on standard error; unless given on a terminal alone.",
     TakeSummary},
    {kNoSummary, nullptr, "Ends without one.", TakeNoSummary},
    {kListChecks, nullptr, "Lists the ids of all checks: id, catalogue, row, number, title.",
     nullptr},
};

/// What stands below the options.
std::string Footer() {
  std::string text = kFooterStart;
  text += "\n\nWithout a run, each with a --help of its own:\n";
  for (const SubCommand& command : SubCommands()) {
    std::string name = "  quorle " + std::string(command.name);
    constexpr std::size_t kColumn = 22;
    name.resize(std::max(name.size() + 1, kColumn), ' ');
    text += name + command.about + "\n";
  }
  return text;
}

HostCommand Refused(std::string text) {
  return {.type = HostCommand::Type::kRefused, .options = {}, .text = std::move(text)};
}

/// `option` with its value going to `options`, which must outlive it.
CommandOption BoundOption(const HostOption& option, HostOptions& options) {
  CommandOption bound{.name = option.name,
                      .type = option.type,
                      .help = option.help,
                      .read = nullptr,
                      .is_repeatable = option.is_repeatable};
  if (option.read != nullptr) {
    bound.read = [read = option.read, &options](const std::string& value) {
      return read(value, options);
    };
  }
  return bound;
}

constexpr std::string_view kBlanks = " \t\n";

bool IsLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// The length of "KEY=" at the start of `word`; 0 when it does not begin so.
std::size_t KeyLength(std::string_view word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string_view::npos || equals == 0) return 0;
  const std::string_view key = word.substr(0, equals);
  return std::all_of(key.begin(), key.end(), IsLetter) ? equals + 1 : 0;
}

void AppendQuoted(std::string_view text, std::string& line) {
  line += '"';
  for (const char c : text) {
    if (c == '\n') {
      line += "*N";
      continue;
    }
    if (c == '"' || c == '*') line += '*';
    line += c;
  }
  line += '"';
}

void AppendWord(std::string_view word, std::string& line) {
  const bool is_quoted = word.starts_with('"');
  const bool needs_quotes = word.empty() || word.find_first_of(kBlanks) != std::string_view::npos;
  if (is_quoted || !needs_quotes) {
    line += word;
    return;
  }
  const std::size_t key = KeyLength(word);
  line += word.substr(0, key);
  AppendQuoted(word.substr(key), line);
}

}  // namespace

std::vector<CommandOption> MachineOptionList(HostOptions& options) {
  std::vector<CommandOption> list;
  for (const HostOption& option : kOptions) {
    if (option.is_of_machine) list.push_back(BoundOption(option, options));
  }
  return list;
}

CommandSyntax RunSyntax() {
  HostOptions unused;
  std::vector<CommandOption> options;
  for (const HostOption& option : kOptions) options.push_back(BoundOption(option, unused));
  options.push_back(
      {.name = kVersionOption, .type = nullptr, .help = kVersionHelp, .read = nullptr});
  return {.options = WithoutReaders(std::move(options)),
          .operands = {"DEVICE", "NI|NW|NR|AOE|FTN|LTN|TN", "..."}};
}

HostCommand ReadHostCommand(std::span<const char* const> words) {
  HostCommand command;
  std::vector<CommandOption> options;
  for (const HostOption& option : kOptions) {
    options.push_back(BoundOption(option, command.options));
  }
  const CommandLine line =
      SeparateOptions(words, options,
                      {.name = "quorle",
                       .about = kAbout,
                       .usage = kUsage,
                       .footer = Footer(),
                       .version = "quorle " + std::string(kProgramVersion) + " for Linux"});
  if (line.type == CommandLine::Type::kAnswer) {
    return {.type = HostCommand::Type::kAnswer, .options = {}, .text = line.text};
  }
  if (line.type == CommandLine::Type::kRefused) return Refused(line.text);
  if (line.Has(kListDeviations)) {
    return {.type = HostCommand::Type::kListDeviations, .options = {}, .text = {}};
  }
  if (line.Has(kListChecks)) {
    return {.type = HostCommand::Type::kListChecks, .options = {}, .text = {}};
  }
  if (line.Has(kSummary) && line.Has(kNoSummary)) {
    return Refused(std::string(kSummary) + " and " + kNoSummary + " exclude each other");
  }
  std::string problem = ReadOptionValues(options, line);
  if (!problem.empty()) return Refused(std::move(problem));
  if (command.options.results.repeat > 1 && command.options.trace_file) {
    return Refused(std::string(kTrace) + " is of one run: it excludes " + kRepeat);
  }
  if (command.options.results.catalogue == "all") {
    if (command.options.trace_file) {
      return Refused(std::string(kTrace) + " is of one run: it excludes " + kCatalogue + " all");
    }
    if (ReadTesterLine(JoinArguments(line.rest)).has_numbers) {
      return Refused(std::string(kCatalogue) +
                     " all excludes TN, FTN and LTN: each catalogue has numbers of its own");
    }
  }
  command.options.arguments.assign(words.begin(), words.end());
  command.options.dos.arguments = JoinArguments(line.rest);
  return command;
}

std::string JoinArguments(std::span<const char* const> words) {
  std::string line;
  for (const std::string_view word : words) {
    if (!line.empty()) line += ' ';
    AppendWord(word, line);
  }
  return line;
}

}  // namespace quorle
