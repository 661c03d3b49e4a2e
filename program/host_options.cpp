#include "program/host_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <memory>
#include <string_view>
#include <utility>

namespace quorle {
namespace {

constexpr const char* kAbout =
    "Runs the filesystem conformance tester on Linux, with handlers mounted as devices.";
constexpr const char* kVersionText = "quorle 53.24 for Linux";
constexpr const char* kUsage =
    "Usage: quorle [host options] DEVICE [NI] [NW] [NR] [AOE] [FTN n] [LTN n] [TN n]\n";
constexpr const char* kFooter =
    "What follows the host options is the tester's own command line; without a device it lists its "
    "tests.\nTests are selected by the numbers 1 to 46: TN 47 is refused, FTN 46 runs the last two.\n"
    "Always mounted: RAM:, ENV:, NIL:. Exit status: 0 all passed, 10 some failed, 20 not "
    "run.";

constexpr const char* kTraceOption = "--trace";
constexpr const char* kDosVersionOption = "--dos-version";
/// What the tester asks for when it opens dos.library. With an older one it ends without a word, as
/// programs do that have no console yet.
constexpr std::uint16_t kOldestDosVersion = 50;
constexpr const char* kLimitOption = "--limit";
constexpr std::uint32_t kLongestLimit = 24 * 60 * 60;

/// The options as text, before their values are looked at.
struct OptionTexts {
  std::vector<std::string> mounts;
  std::string trace_file;
  std::string dos_version;
  std::string limit;
  bool no_delay = false;
  bool workbench = false;
  bool list_deviations = false;
};

/// The help text with our own line of usage.
class HelpFormatter final : public CLI::Formatter {
 public:
  std::string make_usage(const CLI::App*, std::string) const override { return kUsage; }
};

void Declare(CLI::App& app, OptionTexts& texts) {
  app.set_help_flag("--help", "Tells about the host program.");
  app.set_version_flag("--version", kVersionText, "Shows the version of the host program.");
  app.formatter(std::make_shared<HelpFormatter>());
  app.footer(kFooter);
  app.add_option(
         "--mount", texts.mounts,
         "Mounts one more device: NAME=HANDLER[,key=value...]. Keys for every handler: "
         "port=vector or packet, volume, dostype, version, state, deviate; of plugins isolate, limit, "
         "restart. Repeatable.")
      ->type_name("SPEC")
      ->expected(1)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_option(kTraceOption, texts.trace_file, "Writes every platform call to a file.")
      ->type_name("FILE")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_flag("--no-delay", texts.no_delay, "Makes Delay() return at once.");
  app.add_option(kDosVersionOption, texts.dos_version,
                 "What dos.library reports itself as; 53.113 unless given.")
      ->type_name("V.R")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_option(kLimitOption, texts.limit,
                 "How long the handlers may take for one test group, 1 to 86400; 60 unless given.")
      ->type_name("SECONDS")
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.add_flag("--list-deviations", texts.list_deviations,
               "Lists the ways to misbehave that a mount's key deviate=NAME[+NAME...] knows.");
  app.add_flag("--workbench", texts.workbench, "Starts as from the desktop.");
}

/// Moves the host's words from the front of `words` to `host`; a lone "--" behind them goes. False,
/// with `problem` filled, when one of them is no option or has not what it needs. (CLI11 would go on
/// behind a word that it does not know, and take the next word for a value that is empty.)
bool TakeHostWords(const CLI::App& app, std::span<const char* const>& words,
                   std::vector<std::string>& host, std::string& problem) {
  while (!words.empty() && std::string_view(words.front()).starts_with("--")) {
    const std::string word = words.front();
    words = words.subspan(1);
    if (word == "--") return true;
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const bool has_value = equals != std::string::npos;
    const CLI::Option* const option = app.get_option_no_throw(name);
    if (option == nullptr) {
      problem = name + " is not an option; --help lists them";
      return false;
    }
    const bool wants_value = option->get_items_expected_max() > 0;
    if (has_value && !wants_value) {
      problem = name + " takes no value";
      return false;
    }
    host.push_back(word);
    if (wants_value && !has_value && !words.empty()) {
      host.emplace_back(words.front());
      words = words.subspan(1);
    } else if (wants_value && (!has_value || equals + 1 == word.size())) {
      problem = name + " needs a value";
      return false;
    }
  }
  return true;
}

template <class Number>
bool ReadNumber(std::string_view text, Number& number) {
  const char* const end = text.data() + text.size();
  const auto [stop, problem] = std::from_chars(text.data(), end, number);
  return problem == std::errc() && stop == end;
}

bool ReadVersion(std::string_view text, HostOptions& options) {
  const std::size_t point = text.find('.');
  return point != std::string_view::npos &&
         ReadNumber(text.substr(0, point), options.dos_version) &&
         ReadNumber(text.substr(point + 1), options.dos_revision);
}

bool ReadLimit(std::string_view text, HostOptions& options) {
  std::uint32_t seconds = 0;
  if (!ReadNumber(text, seconds) || seconds == 0 || seconds > kLongestLimit) return false;
  options.limit = std::chrono::seconds(seconds);
  return true;
}

HostCommand Refused(std::string text) {
  while (text.ends_with('\n')) text.pop_back();
  return {.type = HostCommand::Type::kRefused, .options = {}, .text = std::move(text)};
}

HostCommand Answer(std::string text) {
  if (!text.ends_with('\n')) text += '\n';
  return {.type = HostCommand::Type::kAnswer, .options = {}, .text = std::move(text)};
}

HostCommand ReadValues(const OptionTexts& texts, const CLI::App& app) {
  const auto given = [&app](const char* option) { return app.count(option) > 0; };
  HostCommand command;
  HostOptions& options = command.options;
  for (const std::string& text : texts.mounts) {
    MountSpec spec;
    std::string problem;
    if (!ParseMountSpec(text, spec, problem)) return Refused("--mount: " + problem);
    options.mounts.push_back(std::move(spec));
  }
  if (given(kTraceOption)) options.trace_file = texts.trace_file;
  if (given(kDosVersionOption) && !ReadVersion(texts.dos_version, options)) {
    return Refused("--dos-version: \"" + texts.dos_version +
                   "\" is not a version and a revision, such as 53.113");
  }
  if (options.dos_version < kOldestDosVersion) {
    return Refused("--dos-version: " + texts.dos_version +
                   " is too old, the tester opens no dos.library below version " +
                   std::to_string(kOldestDosVersion));
  }
  if (given(kLimitOption) && !ReadLimit(texts.limit, options)) {
    return Refused("--limit: \"" + texts.limit + "\" is not a number of seconds, 1 to " +
                   std::to_string(kLongestLimit));
  }
  options.delays = !texts.no_delay;
  options.workbench = texts.workbench;
  return command;
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

HostCommand ReadHostCommand(std::span<const char* const> words) {
  OptionTexts texts;
  CLI::App app(kAbout, "quorle");
  Declare(app, texts);

  std::vector<std::string> host_words;
  std::string problem;
  if (!TakeHostWords(app, words, host_words, problem)) return Refused(std::move(problem));
  try {
    std::reverse(host_words.begin(), host_words.end());  // CLI11 takes them from the end
    app.parse(std::move(host_words));
  } catch (const CLI::CallForHelp&) {
    return Answer(app.help());
  } catch (const CLI::CallForVersion& version) {
    return Answer(version.what());
  } catch (const CLI::ParseError& error) {
    return Refused(error.what());
  }
  for (const char* const name : {kTraceOption, kDosVersionOption, kLimitOption}) {
    if (app.count(name) > 1) return Refused(std::string(name) + " is given twice");
  }
  if (texts.list_deviations) {
    return {.type = HostCommand::Type::kListDeviations, .options = {}, .text = {}};
  }
  HostCommand command = ReadValues(texts, app);
  if (command.type == HostCommand::Type::kRun) command.options.arguments = JoinArguments(words);
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
