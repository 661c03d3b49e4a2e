#include "program/explore_options.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/constants.h"

namespace quorle {
namespace {

constexpr std::int64_t kLongestSearch = 365 * 24 * 60 * 60;
constexpr std::int64_t kLongestSequence = 100'000;

constexpr const char* kExploreFooter =
    "Random calls are made on DEVICE and on a volume in memory, and compared after every call; what\n"
    "differs is shrunk to the fewest and plainest calls that still differ. docs/explore.md has more.\n"
    "Exit status: 0 nothing differs, or only what is expected, 10 something differs, 20 not run.";

/// `text` is a number from `least` to `most`; else why not.
template <class Number>
std::string ReadBetween(const std::string& text, std::int64_t least, std::int64_t most,
                        Number& number) {
  std::int64_t read = 0;
  if (!ReadNumber(std::string_view(text), read) || read < least || read > most) {
    return "\"" + text + "\" is not a number, " + std::to_string(least) + " to " +
           std::to_string(most);
  }
  number = static_cast<Number>(read);
  return {};
}

/// Reads "A..B" or "I/N".
template <class Number>
bool ReadPair(std::string_view text, std::string_view between, Number& first, Number& second) {
  const std::size_t at = text.find(between);
  return at != std::string_view::npos && ReadNumber(text.substr(0, at), first) &&
         ReadNumber(text.substr(at + between.size()), second);
}

std::string ReadSeeds(const std::string& text, explore::SearchSettings& search) {
  std::int64_t first = 0;
  std::int64_t last = 0;
  if (!ReadPair(text, "..", first, last) || first < 0 || last < first) {
    return "\"" + text + "\" is not a range of seeds such as 1..1000";
  }
  search.first_seed = static_cast<std::uint64_t>(first);
  search.last_seed = static_cast<std::uint64_t>(last);
  return {};
}

std::string ReadShard(const std::string& text, explore::SearchSettings& search) {
  if (!ReadPair(text, "/", search.shard, search.shards) || search.shard == 0 ||
      search.shard > search.shards) {
    return "\"" + text + "\" is not one of several shards such as 2/8";
  }
  return {};
}

/// An option whose value is a name.
CommandOption NameOption(const char* name, const char* type, const char* help,
                         std::optional<std::string>& value) {
  return {.name = name, .type = type, .help = help, .read = [&value](const std::string& text) {
            if (text.empty()) return std::string("it needs a value");
            value = text;
            return std::string();
          }};
}

std::vector<CommandOption> ExploreOptionList(ExploreOptions& options) {
  explore::SearchSettings& search = options.search;
  std::vector<CommandOption> list = MachineOptionList(options.host);
  const std::vector<CommandOption> own = {
      {"--seed", "N", "Runs the sequence of one seed: the same seed gives the same calls.",
       [&search](const std::string& text) {
         std::uint64_t seed = 0;
         std::string problem = ReadBetween(text, 0, INT64_MAX, seed);
         search.first_seed = seed;
         search.last_seed = seed;
         return problem;
       }},
      {"--seeds", "A..B", "Runs the sequences of all seeds from A to B.",
       [&search](const std::string& text) { return ReadSeeds(text, search); }},
      {"--seconds", "S", "Runs for as long; 10 without --seed, --seeds and --choices.",
       [&search](const std::string& text) {
         std::int64_t seconds = 0;
         std::string problem = ReadBetween(text, 1, kLongestSearch, seconds);
         search.time = std::chrono::seconds(seconds);
         return problem;
       }},
      {"--shard", "I/N", "Runs those of the seeds that belong to shard I of N.",
       [&search](const std::string& text) { return ReadShard(text, search); }},
      {"--calls", "N", "How many calls a sequence has; 200 unless given.",
       [&search](const std::string& text) {
         return ReadBetween(text, 1, kLongestSequence, search.calls);
       }},
      NameOption("--choices", "FILE", "Runs the sequence of the choices in a file, two bytes each.",
                 options.choices),
      NameOption("--out", "DIR", "Writes difference-ID.calls and .trace of each difference there.",
                 options.out),
      {"--remount", "each",
       "Unmounts the device after each sequence and mounts it again; the tree must be the same.",
       [&options](const std::string& text) {
         options.host.remount.each = text == "each";
         return options.host.remount.each ? std::string()
                                          : "\"" + text + "\" is not known; it is each";
       }},
      NameOption("--after-run", "CMD",
                 "Runs a command of the shell while the device is unmounted after each sequence; "
                 "$QUORLE_DEVICE is the device. A status other than 0 is a difference.",
                 options.host.remount.after_run),
      NameOption("--coverage", "FILE",
                 "Writes which calls came to what, and how often; adds to a file that is there.",
                 options.coverage),
      NameOption(
          "--traits", "FILE",
          "Writes what the filesystem can do to a file, or compares it with one that is there.",
          options.traits),
      NameOption(
          "--expect", "FILE",
          "Differences that a TOML file knows, as [[difference]] with id and reason, do not fail.",
          options.host.results.expect),
      NameOption("--events", "FILE", "Writes what is found as JSON Lines; fd:N is a descriptor.",
                 options.host.results.events),
  };
  list.insert(list.end(), own.begin(), own.end());
  return list;
}

std::string MachineWords(const CommandLine& line) {
  HostOptions unused;
  std::string words;
  for (const CommandOption& option : MachineOptionList(unused)) {
    const auto given = line.values.find(option.name);
    // A trace of the search would be written over.
    if (given == line.values.end() || std::string_view(option.name) == "--trace") continue;
    for (const std::string& value : given->second) {
      words += std::string(option.name) + " " + ShellWord(value) + " ";
    }
  }
  return words;
}

}  // namespace

std::optional<std::int32_t> ReadExploreOptions(std::span<const char* const> words,
                                               ExploreOptions& options, Console& console) {
  const std::vector<CommandOption> list = ExploreOptionList(options);
  const CommandLine line =
      SeparateOptions(words, list,
                      {.name = "quorle explore",
                       .about = "Compares random calls on a device with those on a reference.",
                       .usage = "Usage: quorle explore [options] DEVICE\n",
                       .footer = kExploreFooter,
                       .version = {}});
  if (line.type == CommandLine::Type::kAnswer) {
    console.Print(line.text);
    return RETURN_OK;
  }
  std::string problem = line.text;
  if (problem.empty()) problem = ReadOptionValues(list, line);
  const int sources = line.Has("--seed") + line.Has("--seeds") + line.Has("--choices");
  if (problem.empty() && sources > 1) {
    problem = "--seed, --seeds and --choices exclude each other";
  }
  if (problem.empty() && line.rest.size() != 1) {
    problem = "one device is needed: quorle explore [options] DEVICE";
  }
  if (!problem.empty()) {
    console.Report("explore: " + problem);
    return RETURN_FAIL;
  }
  if (sources == 0 && !options.search.time) options.search.time = std::chrono::seconds(10);
  options.device = line.rest[0];
  options.machine_words = MachineWords(line);
  options.host.arguments = {"explore"};
  options.host.arguments.insert(options.host.arguments.end(), words.begin(), words.end());
  return std::nullopt;
}

CommandSyntax ExploreSyntax() {
  ExploreOptions unused;
  return {.options = WithoutReaders(ExploreOptionList(unused)), .operands = {"DEVICE"}};
}

std::string ShellWord(const std::string& word) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:=,+-@%";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
  std::string quoted = "'";
  for (const char c : word) {
    if (c == '\'') quoted += "'\\'";
    quoted += c;
  }
  return quoted + "'";
}

}  // namespace quorle
